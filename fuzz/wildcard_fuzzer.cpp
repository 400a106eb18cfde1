// The wildcard patterns of folder listings, against two oracles: the rules
// read literally as a recursion (on short inputs, where its cost is small),
// and the C library's fnmatch. Patterns have "*" for any run of bytes and
// "?" for any one byte, and every other byte stands for itself. A pattern
// byte equal to the name's byte is taken as that byte before anything else,
// so a "*" of the pattern that meets a "*" of the name is a literal; fnmatch
// has no such rule, and reads "[" and "\" as classes and quotes, so it is
// asked only about names without "*" and patterns without "[" or "\". The
// first input byte says where the rest is cut into a name and a pattern.

#include <fnmatch.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "survey/foundation/file_loop.h"

namespace {

bool Literal(char const* name, char const* pattern) {
  if (*name == '\0') {
    if (*pattern == '\0') return true;
    if (*pattern == '*') return Literal(name, pattern + 1);
    return false;
  }
  if (*pattern == '?' || *pattern == *name) return Literal(name + 1, pattern + 1);
  if (*pattern == '*') {
    if (pattern[1] == '\0') return true;
    for (char const* at = name; *at != '\0'; ++at)
      if (Literal(at, pattern + 1)) return true;
    return false;
  }
  return false;
}

void Differ(char const* oracle, std::string const& name, std::string const& pattern, bool ours,
            bool theirs) {
  std::fprintf(stderr, "name \"%s\" pattern \"%s\": ours %d, %s %d\n", name.c_str(),
               pattern.c_str(), ours, oracle, theirs);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0) return 0;
  std::size_t const cut = data[0] < size - 1 ? data[0] : size - 1;
  // Texts end at their first NUL, as names and patterns do.
  std::string name(reinterpret_cast<char const*>(data + 1), cut);
  std::string pattern(reinterpret_cast<char const*>(data + 1 + cut), size - 1 - cut);
  name = name.c_str();
  pattern = pattern.c_str();

  bool const ours = Match(name.c_str(), pattern.c_str());
  if (name.size() + pattern.size() <= 24) {
    bool const literal = Literal(name.c_str(), pattern.c_str());
    if (ours != literal) Differ("the rules", name, pattern, ours, literal);
  }
  if (name.find('*') == std::string::npos && pattern.find_first_of("[\\") == std::string::npos) {
    bool const theirs = fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
    if (ours != theirs) Differ("fnmatch", name, pattern, ours, theirs);
  }
  return 0;
}
