// The host's SHA-1, both ways of compressing, against sha1sum on files of
// sizes around the 64-byte block and its padding, added in pieces of
// several sizes.
#include "host/client/sha1.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "tests/support/shell.h"

namespace {

using survey::client::Sha1;
using survey::testing::Output;
using survey::testing::ScratchFolder;

std::string Hex(Sha1::Digest const& digest) {
  static char const kDigits[] = "0123456789abcdef";
  std::string text;
  for (unsigned char const byte : digest) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

// Bytes that vary in every bit position.
std::string Bytes(std::size_t size) {
  std::string bytes;
  bytes.reserve(size);
  std::uint32_t x = 2463534242u;
  for (std::size_t i = 0; i < size; ++i) {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    bytes += static_cast<char>(x >> 24);
  }
  return bytes;
}

std::string Digest(std::string const& bytes, Sha1::Way way, std::size_t piece) {
  Sha1 hash(way);
  for (std::size_t at = 0; at < bytes.size(); at += piece) {
    hash.Add(bytes.data() + at, bytes.size() - at < piece ? bytes.size() - at : piece);
  }
  return Hex(hash.Finish());
}

TEST(Sha1Test, AgreesWithSha1sumAroundTheBlockAndThePadding) {
  ScratchFolder folder;
  std::vector<std::size_t> sizes = {0, 1, 3, 55, 56, 57, 63, 64, 65, 119, 120, 127, 128, 129, 1000};
  sizes.push_back(100003);
  for (std::size_t const size : sizes) {
    std::string const bytes = Bytes(size);
    std::string const path = folder.Path() + "/bytes";
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    std::string const line = Output("sha1sum '" + path + "'");
    std::string const expected = line.substr(0, line.find(' '));
    ASSERT_EQ(40u, expected.size()) << line;
    for (Sha1::Way const way : {Sha1::Way::kBest, Sha1::Way::kPortable}) {
      for (std::size_t const piece : {std::size_t{1}, std::size_t{7}, std::size_t{64},
                                      std::size_t{65}, size + 1}) {
        EXPECT_EQ(expected, Digest(bytes, way, piece))
            << size << " bytes in pieces of " << piece
            << (way == Sha1::Way::kBest ? ", best way" : ", portable way");
      }
    }
  }
}

TEST(Sha1Test, UsesTheProcessorsInstructionsWhereTheKernelSeesThem) {
#if defined(__x86_64__) || defined(__i386__)
  // The kernel lists the SHA extensions as the flag "sha_ni".
  bool const listed =
      Output("grep -m1 -w -o sha_ni /proc/cpuinfo 2>/dev/null").find("sha_ni") != std::string::npos;
  EXPECT_EQ(listed, Sha1::ProcessorHasShaInstructions());
#else
  EXPECT_FALSE(Sha1::ProcessorHasShaInstructions());
#endif
}

}  // namespace
