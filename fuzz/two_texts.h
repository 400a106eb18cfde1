// What the fuzz targets that compare two texts share: the input cut in two
// by its first byte, each part also up to its first NUL in a heap block of
// exactly its size (so that a read past the NUL is caught), and the report
// of a mismatch with the texts shown byte by byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace fuzz_texts {

// The text with every byte that is not printable ASCII as \xNN.
inline std::string Shown(std::string const& text) {
  std::string shown;
  for (unsigned char c : text) {
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, c >= 32 && c < 127 ? "%c" : "\\x%02x", c);
    shown += buffer;
  }
  return shown;
}

[[noreturn]] inline void Mismatch(std::string const& left, std::string const& right,
                                  std::string const& what) {
  std::fprintf(stderr, "\"%s\" against \"%s\": %s\n", Shown(left).c_str(), Shown(right).c_str(),
               what.c_str());
  std::abort();
}

inline int Sign(int value) { return value < 0 ? -1 : value > 0 ? 1 : 0; }

// A copy of the text and its NUL in a block of exactly that size.
inline std::unique_ptr<char[]> ExactBlock(std::string const& text) {
  std::unique_ptr<char[]> block(new char[text.size() + 1]);
  std::memcpy(block.get(), text.c_str(), text.size() + 1);
  return block;
}

// The input cut in two: the rest of the input after its first byte, cut at
// that byte modulo the rest's length plus one.
struct TwoTexts {
  TwoTexts(std::uint8_t const* data, std::size_t size)  // size at least 1
      : wholeA(reinterpret_cast<char const*>(data + 1), data[0] % size),
        wholeB(reinterpret_cast<char const*>(data + 1 + wholeA.size()), size - 1 - wholeA.size()),
        a(wholeA.c_str()),
        b(wholeB.c_str()),
        blockA(ExactBlock(a)),
        blockB(ExactBlock(b)) {}

  std::string const wholeA;  // NULs and all
  std::string const wholeB;
  std::string const a;  // up to the first NUL
  std::string const b;
  std::unique_ptr<char[]> const blockA;
  std::unique_ptr<char[]> const blockB;
};

}  // namespace fuzz_texts
