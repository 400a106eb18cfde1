// Fuzz target for the reading of a process's start time from the text of its
// "stat" file, whose name field a process may set to any bytes, spaces and
// parentheses included. For any bytes, held in a heap block of exactly their
// size so that a read past them is caught, the reading must agree with a
// plain reading of the same rule: the words after the last ")", split at
// spaces, and the leading digits of the twentieth, or 0 when there is no ")"
// or fewer words.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "host/client/application_table.h"

namespace {

unsigned long long Expected(std::string const& text) {
  std::size_t const close = text.rfind(')');
  if (close == std::string::npos) return 0;
  std::vector<std::string> words;
  std::string word;
  for (char c : text.substr(close + 1)) {
    if (c == ' ') {
      if (!word.empty()) words.push_back(word);
      word.clear();
    } else {
      word += c;
    }
  }
  if (!word.empty()) words.push_back(word);
  if (words.size() < 20) return 0;
  unsigned long long value = 0;
  for (char c : words[19]) {
    if (c < '0' || c > '9') break;
    value = value * 10 + static_cast<unsigned long long>(c - '0');
  }
  return value;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::unique_ptr<char[]> const block(new char[size == 0 ? 1 : size]);
  if (size != 0) std::memcpy(block.get(), data, size);
  unsigned long long const read = survey::client::StartTimeOfStat(block.get(), size);
  unsigned long long const expected = Expected(std::string(block.get(), size));
  if (read != expected) {
    std::fprintf(stderr, "start time %llu, expected %llu\n", read, expected);
    std::abort();
  }
  return 0;
}
