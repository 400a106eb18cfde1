// Fuzz target for the reader of variable files. The input is the file: it is
// written to an in-memory file and loaded through its /proc/self/fd path, as
// the reader opens any file. What the reader makes of it must be what a
// second, plain reading of the format gives: whether the header is
// recognised, the size and count read, whether there is a block, and the
// names and values that the loop walks; the lookups must find what a walk by
// count finds, and every pointer they give must lie in the block. A copy
// must walk alike.

#include <strings.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "survey/client/profile_vars.h"

namespace {

[[noreturn]] void Mismatch(char const* what) {
  std::fprintf(stderr, "variable file: %s\n", what);
  std::abort();
}

struct Expected {
  bool loaded = false;
  bool block = false;
  std::uint32_t size = 0;
  std::uint32_t count = 0;
  std::string bytes;  // the block
};

std::uint32_t Native(unsigned char const* at) {
  std::uint32_t number;
  std::memcpy(&number, at, sizeof number);
  return number;
}

// One bracketed string at `position`; false when it cannot be read. The
// text compares as C text: up to its first zero byte.
bool ReadBracketed(std::string const& file, std::size_t& position, std::string& text) {
  if (file.size() - position < 6) return false;
  auto const* at = reinterpret_cast<unsigned char const*>(file.data() + position);
  if (at[0] != '[' || at[5] != ']') return false;
  std::uint32_t const length = Native(at + 1);
  if (length >= 1024) return false;
  position += 6;
  if (file.size() - position < length) return false;
  text = length == 0 ? std::string() : file.substr(position, length - 1);
  text = text.substr(0, std::strlen(text.c_str()));
  position += length;
  return true;
}

Expected ReadAgain(std::string const& file) {
  Expected expected;
  std::size_t position = 0;
  std::string text;
  if (!ReadBracketed(file, position, text) || text != FILESTR_SITEVARS) return expected;
  if (!ReadBracketed(file, position, text) || text != FILESTR_SITEVARS_VERSION) return expected;
  auto const* at = reinterpret_cast<unsigned char const*>(file.data() + position);
  if (file.size() - position < 4) return expected;
  expected.size = Native(at);
  if (file.size() - position < 8) return expected;
  expected.count = Native(at + 4);
  expected.loaded = true;
  position += 8;
  if (expected.size != 0 && file.size() - position >= expected.size) {
    expected.block = true;
    expected.bytes = file.substr(position, expected.size);
  }
  return expected;
}

// The C text at `offset` of the block, ended by a zero byte or the block's
// end.
std::string TextAt(std::string const& block, std::size_t offset) {
  std::size_t end = offset;
  while (end < block.size() && block[end] != '\0') ++end;
  return block.substr(offset, end - offset);
}

// The loop's walk: name, then the value if the name leaves it in the block.
std::vector<std::pair<std::string, std::string>> Walk(std::string const& block) {
  std::vector<std::pair<std::string, std::string>> pairs;
  std::size_t offset = 0;
  while (offset < block.size()) {
    std::string const name = TextAt(block, offset);
    std::size_t const value = offset + name.size() + 1;
    pairs.emplace_back(name, value < block.size() ? TextAt(block, value) : std::string());
    offset = value;
    if (offset < block.size()) offset += TextAt(block, offset).size() + 1;
  }
  return pairs;
}

// The first value of a name by a walk of `count` pairs; false for none.
bool FirstValue(std::string const& block, std::uint32_t count, std::string const& name,
                std::string& value) {
  std::size_t at = 0;
  for (std::uint32_t i = 0; i < count && at < block.size(); ++i) {
    std::string const stored = TextAt(block, at);
    std::size_t const valueAt = at + stored.size() + 1;
    if (valueAt >= block.size()) return false;
    value = TextAt(block, valueAt);
    if (strcasecmp(stored.c_str(), name.c_str()) == 0) return true;
    at = valueAt + value.size() + 1;
  }
  return false;
}

void InBlock(ProfileVars const& vars, char const* pointer) {
  if (pointer < vars.Block() || pointer >= vars.Block() + vars.Size())
    Mismatch("a pointer lies outside the block");
}

void CheckWalks(ProfileVars& vars, Expected const& expected) {
  std::vector<std::pair<std::string, std::string>> const pairs =
      expected.block ? Walk(expected.bytes) : std::vector<std::pair<std::string, std::string>>();
  std::size_t index = 0;
  ProfileVarsLoop loop(vars);
  if (!expected.block && expected.size != 0) {
    // No block but a size: unfinished, empty, and done at the first step.
    if (loop.Finished() || *loop.Name() != '\0' || *loop.Value() != '\0')
      Mismatch("a loop without a block");
    ++loop;
  }
  for (; loop.Unfinished(); ++loop, ++index) {
    if (index >= pairs.size() || pairs[index].first != loop.Name() ||
        pairs[index].second != loop.Value())
      Mismatch("the loop walks other variables");
  }
  if (index != pairs.size()) Mismatch("the loop ends early");

  char const* name = nullptr;
  char const* value = nullptr;
  std::size_t found = 0;
  while (vars.GetNameAndValue(value, &name, &value)) {
    InBlock(vars, name);
    InBlock(vars, value);
    if (++found > pairs.size()) Mismatch("GetNameAndValue finds too many");
  }
}

void CheckLookups(ProfileVars const& vars, Expected const& expected) {
  if (!expected.block) return;
  for (auto const& [name, value] : Walk(expected.bytes)) {
    std::string first;
    bool const has = FirstValue(expected.bytes, expected.count, name, first);
    char const* const got = vars.GetValue(name.c_str());
    if (has != (got != nullptr) || (has && first != got)) Mismatch("GetValue differs");
    if (got != nullptr) InBlock(vars, got);
    char const* foundName = nullptr;
    char const* foundValue = nullptr;
    auto const* wanted = reinterpret_cast<unsigned char const*>(name.data());
    while (vars.GetNameAndValue(wanted, name.size(), foundValue, &foundName, &foundValue)) {
      InBlock(vars, foundName);
      InBlock(vars, foundValue);
      if (strcasecmp(foundName, name.c_str()) != 0) Mismatch("a filtered name differs");
    }
    (void)vars.MatchesMultiList(name.c_str(), value.c_str());
  }
}

int MemoryFile() {
  static int const descriptor = memfd_create("variable-file", 0);
  if (descriptor < 0) Mismatch("no in-memory file");
  return descriptor;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  int const descriptor = MemoryFile();
  if (ftruncate(descriptor, 0) != 0) Mismatch("cannot empty the in-memory file");
  if (size != 0 && pwrite(descriptor, data, size, 0) != static_cast<ssize_t>(size))
    Mismatch("cannot write the in-memory file");
  std::string const path = "/proc/self/fd/" + std::to_string(descriptor);

  std::string const file(reinterpret_cast<char const*>(data), size);
  Expected const expected = ReadAgain(file);
  ProfileVars vars{FileLocation(path.c_str())};
  if (vars.Loaded() != expected.loaded) Mismatch("loaded differs");
  if ((vars.Block() != nullptr) != expected.block) Mismatch("the block's presence differs");
  if (vars.Size() != expected.size) Mismatch("size differs");
  if (expected.loaded && vars.Count() != expected.count) Mismatch("count differs");
  if (expected.block && std::memcmp(vars.Block(), expected.bytes.data(), expected.size) != 0)
    Mismatch("the block differs");
  CheckWalks(vars, expected);
  CheckLookups(vars, expected);
  ProfileVars copy(vars);
  CheckWalks(copy, expected);
  return 0;
}
