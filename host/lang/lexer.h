// The lexer of the query language: string and integer literals, words,
// punctuation, white space and `//` comments.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace survey::lang {

enum class TokenKind { kString, kInteger, kWord, kPunct, kEnd };

struct Token {
  TokenKind kind;
  std::string text;     // a word, a punctuation mark, or a string's bytes
  long long number = 0;  // an integer literal
  long position = 0;    // byte offset of the token in the query
};

// Splits a query into tokens, ending with one kEnd token. Throws
// EvaluationError of kind kSyntax with the position of the offending byte.
std::vector<Token> Tokenize(std::string_view query);

}  // namespace survey::lang
