// Fuzz target for the readers of configuration files: keys, sections and
// variables over a stream of any bytes. The first byte says how long the key
// (and section name) is; the key follows, and the rest is the file. The key
// search must agree with a plain reading of its rules over the whole text,
// the variables with a plain reading of theirs, and a section's range must
// lie within the file, after its header.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "survey/files/keys.h"

namespace {

bool Blank(char c) { return c == ' ' || c == '\t'; }

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// The lines as the key reader cuts them: at LF, CR and CR LF, and in pieces
// of at most `limit` bytes.
std::vector<std::string> KeyLines(std::string const& text, std::size_t limit) {
  std::vector<std::string> lines;
  std::string line;
  std::size_t i = 0;
  bool open = false;
  while (i < text.size()) {
    char const c = text[i++];
    if (c == '\n' || c == '\r') {
      if (c == '\r' && i < text.size() && text[i] == '\n') ++i;
      lines.push_back(line);
      line.clear();
      open = false;
      continue;
    }
    line += c;
    open = true;
    if (line.size() == limit) {
      lines.push_back(line);
      line.clear();
      open = false;
    }
  }
  if (open) lines.push_back(line);
  return lines;
}

// The value of the first line that holds the key, as its rules read it.
std::optional<std::string> ExpectedKey(std::string const& text, std::string const& key) {
  for (std::string const& line : KeyLines(text, kKeyLineBufferSize - 1)) {
    std::size_t at = 0;
    while (at < line.size() && Blank(line[at])) ++at;
    if (line.size() - at < key.size()) continue;
    // Compared as C texts: a NUL on both sides ends the comparison.
    bool same = true;
    for (std::size_t k = 0; k < key.size(); ++k) {
      char const a = line[at + k];
      char const b = key[k];
      if (Lower(a) != Lower(b)) {
        same = false;
        break;
      }
      if (a == '\0') break;
    }
    if (!same) continue;
    at += key.size();
    while (at < line.size() && Blank(line[at])) ++at;
    if (at >= line.size() || (line[at] != '=' && line[at] != ':')) continue;
    ++at;
    while (at < line.size() && Blank(line[at])) ++at;
    std::string value = line.substr(at);
    value = value.substr(0, value.find('\0'));
    value = value.substr(0, value.find(';'));
    while (!value.empty() && (Blank(value.back()) || value.back() == '\r' || value.back() == '\n')) {
      value.pop_back();
    }
    return value;
  }
  return std::nullopt;
}

std::string Stripped(std::string text) {
  auto white = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!text.empty() && white(text.back())) text.pop_back();
  std::size_t start = 0;
  while (start < text.size() && white(text[start])) ++start;
  return text.substr(start);
}

// The variables as their rules read them: lines cut at LF, in pieces of at
// most 2046 bytes, each read as a C text.
std::vector<std::string> ExpectedVariables(std::string const& text) {
  std::vector<std::string> variables;
  std::string section;
  std::size_t i = 0;
  while (i < text.size()) {
    std::string piece;
    while (i < text.size() && piece.size() < kVariableLineBufferSize - 1) {
      piece += text[i++];
      if (piece.back() == '\n') break;
    }
    std::string line = piece.substr(0, piece.find('\0'));
    while (!line.empty() && (Blank(line.back()) || line.back() == '\r' || line.back() == '\n')) {
      line.pop_back();
    }
    if (line.empty()) continue;
    if (line[0] == '[') {
      std::size_t const close = line.find(']');
      if (close != std::string::npos) section = line.substr(0, close + 1);
      continue;
    }
    std::size_t const equals = line.find('=');
    if (equals == std::string::npos) continue;
    std::size_t start = 0;
    while (Blank(line[start])) ++start;
    if (start >= equals) continue;
    variables.push_back(section + "." + Stripped(line.substr(start, equals - start)) + "=" +
                        Stripped(line.substr(equals + 1)));
  }
  return variables;
}

struct Closer {
  void operator()(FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<FILE, Closer>;

Stream Open(std::string& text) {
  if (text.empty()) return Stream(std::fopen("/dev/null", "r"));
  return Stream(fmemopen(text.data(), text.size(), "r"));
}

[[noreturn]] void Fail(char const* what) {
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0) return 0;
  std::size_t const keyLength = std::min<std::size_t>(data[0], size - 1);
  std::string const key(reinterpret_cast<char const*>(data + 1), keyLength);
  std::string text(reinterpret_cast<char const*>(data + 1 + keyLength), size - 1 - keyLength);
  std::unique_ptr<char[]> const buffer(new char[kKeyLineBufferSize]);

  {
    Stream stream = Open(text);
    if (!stream) return 0;
    char const* value = nullptr;
    unsigned long length = 0;
    bool const found =
        FindKeyInStream(stream.get(), buffer.get(), key.c_str(), key.size(), 0, &value, &length);
    std::optional<std::string> const expected = ExpectedKey(text, key);
    if (found != expected.has_value()) Fail("the key was found by one reading only");
    if (found && std::string(value, length) != *expected) Fail("the key's value differs");
  }

  {
    Stream stream = Open(text);
    if (!stream) return 0;
    long start = 0;
    long end = 0;
    if (FindSectionInStream(stream.get(), buffer.get(), key.c_str(), key.size(), &start, &end)) {
      if (start <= 0 || start > static_cast<long>(text.size())) Fail("start outside the file");
      if (end < start || end > static_cast<long>(text.size())) Fail("end outside the section");
      file_section const section("x", start, end);
      if (section.end != 0 && section.end <= section.start) Fail("an empty section has an end");
      // A key within the section's range.
      if (std::fseek(stream.get(), start, SEEK_SET) != 0) Fail("cannot seek to the start");
      char const* value = nullptr;
      unsigned long length = 0;
      FindKeyInStream(stream.get(), buffer.get(), key.c_str(), key.size(), section.end, &value,
                      &length);
    }
  }

  {
    Stream stream = Open(text);
    if (!stream) return 0;
    Stringy section;
    Stringy element;
    std::vector<std::string> read;
    while (NextVariableInStream(stream.get(), section, element)) {
      read.emplace_back(element.CString(), element.GetLength());
    }
    if (read != ExpectedVariables(text)) Fail("the variables differ");
  }
  return 0;
}
