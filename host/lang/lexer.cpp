#include "host/lang/lexer.h"

#include <limits>

#include "host/engine/errors.h"

namespace survey::lang {

namespace {

using survey::host::ErrorKind;
using survey::host::EvaluationError;

bool IsLetter(unsigned char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsDigit(unsigned char c) { return c >= '0' && c <= '9'; }
bool IsWordByte(unsigned char c) { return IsLetter(c) || IsDigit(c) || c == '_'; }
bool IsSpace(unsigned char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}
int HexValue(unsigned char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::vector<Token> Tokenize(std::string_view query) {
  std::vector<Token> tokens;
  std::size_t i = 0;
  std::size_t const n = query.size();
  auto at = [&](std::size_t k) -> unsigned char { return k < n ? query[k] : '\0'; };
  while (true) {
    while (i < n && IsSpace(at(i))) ++i;
    if (i + 1 < n && at(i) == '/' && at(i + 1) == '/') {
      while (i < n && at(i) != '\n') ++i;
      continue;
    }
    long const start = static_cast<long>(i);
    if (i >= n) {
      tokens.push_back(Token{TokenKind::kEnd, "", 0, start});
      return tokens;
    }
    unsigned char const c = at(i);
    if (c == '"') {
      // Bytes up to the closing quote; %XX stands for the byte XX, and a
      // % not followed by two hex digits stands for itself.
      std::string bytes;
      ++i;
      while (true) {
        if (i >= n) throw EvaluationError(ErrorKind::kSyntax, "unterminated string", start);
        unsigned char const b = at(i);
        if (b == '"') {
          ++i;
          break;
        }
        if (b == '%' && i + 2 < n && HexValue(at(i + 1)) >= 0 && HexValue(at(i + 2)) >= 0) {
          bytes.push_back(static_cast<char>(HexValue(at(i + 1)) * 16 + HexValue(at(i + 2))));
          i += 3;
          continue;
        }
        bytes.push_back(static_cast<char>(b));
        ++i;
      }
      tokens.push_back(Token{TokenKind::kString, std::move(bytes), 0, start});
      continue;
    }
    if (IsDigit(c)) {
      unsigned long long value = 0;
      unsigned long long const limit = std::numeric_limits<long long>::max();
      while (i < n && IsDigit(at(i))) {
        unsigned const digit = at(i) - '0';
        if (value > (limit - digit) / 10) {
          throw EvaluationError(ErrorKind::kSyntax,
                                "integer literal does not fit a signed 64-bit integer", start);
        }
        value = value * 10 + digit;
        ++i;
      }
      if (i < n && IsWordByte(at(i))) {
        throw EvaluationError(ErrorKind::kSyntax, "a number runs into a word",
                              static_cast<long>(i));
      }
      tokens.push_back(
          Token{TokenKind::kInteger, std::string(query.substr(start, i - start)),
                static_cast<long long>(value), start});
      continue;
    }
    if (IsLetter(c) || c == '_') {
      while (i < n && IsWordByte(at(i))) ++i;
      tokens.push_back(Token{TokenKind::kWord, std::string(query.substr(start, i - start)), 0,
                             start});
      continue;
    }
    // Punctuation: two-byte marks first.
    if ((c == '!' || c == '<' || c == '>') && at(i + 1) == '=') {
      tokens.push_back(Token{TokenKind::kPunct, std::string(query.substr(i, 2)), 0, start});
      i += 2;
      continue;
    }
    switch (c) {
      case '(': case ')': case ',': case ';': case '&': case '+': case '-': case '*':
      case '/': case '=': case '<': case '>':
        tokens.push_back(Token{TokenKind::kPunct, std::string(1, static_cast<char>(c)), 0, start});
        ++i;
        continue;
      default:
        break;
    }
    std::string shown = c >= 0x20 && c < 0x7f ? std::string(1, static_cast<char>(c))
                                              : "byte " + std::to_string(c);
    throw EvaluationError(ErrorKind::kSyntax, "unexpected character '" + shown + "'", start);
  }
}

}  // namespace survey::lang
