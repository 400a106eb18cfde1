// The readers of structure fields and strings, on structures built here
// byte by byte, and the refusals of the structure lookup that come before
// any snapshot is read.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "survey/dmi/dmi_structures.h"

namespace {

using Bytes = std::vector<unsigned char>;

std::string Text(surveyor_string const& value) {
  return std::string(reinterpret_cast<char const*>(value.data), value.length);
}

// A structure: type, the formatted area of `length` bytes whose bytes from
// offset 4 on are given (the rest zero), then the string block as given.
Bytes Structure(unsigned char type, unsigned char length, Bytes const& fields,
                std::string const& block) {
  Bytes bytes(length, 0);
  bytes[0] = type;
  if (length > 1) bytes[1] = length;
  for (std::size_t i = 0; i < fields.size() && 4 + i < length; ++i) bytes[4 + i] = fields[i];
  bytes.insert(bytes.end(), block.begin(), block.end());
  return bytes;
}

std::uint32_t Size(Bytes const& bytes) { return static_cast<std::uint32_t>(bytes.size()); }

TEST(DmiReaders, AByteIsReadBelowTheLengthByteOnly) {
  Bytes const s = Structure(1, 8, {0x11, 0x22, 0x33, 0x44}, std::string("\0\0", 2));
  EXPECT_EQ(0x11, GetBYTE(s.data(), Size(s), 4).value);
  EXPECT_EQ(0x44, GetBYTE(s.data(), Size(s), 7).value);
  EXPECT_EQ(8, GetBYTE(s.data(), Size(s), 1).value);
  EXPECT_THROW(GetBYTE(s.data(), Size(s), 8), NoSuchObject);
}

TEST(DmiReaders, TheLengthFieldIsAbsentWhenTheLengthByteIsOneOrLess) {
  for (unsigned char length : {0, 1}) {
    Bytes s = {5, length, 0, 0, 0, 0};
    EXPECT_THROW(GetBYTE(s.data(), Size(s), 1), NoSuchObject) << int(length);
  }
  Bytes const two = {5, 2, 0, 0, 0, 0};
  EXPECT_EQ(2, GetBYTE(two.data(), Size(two), 1).value);
}

TEST(DmiReaders, AWordAtTheLengthTakesItsSecondByteFromBehindTheFormattedArea) {
  Bytes const s = Structure(9, 10, {0, 0, 0, 0, 0x34, 0x12}, "AB\0\0");
  EXPECT_EQ(0x1234, GetWORD(s.data(), Size(s), 8).value);
  EXPECT_EQ(0x4100 | 0x12, GetWORD(s.data(), Size(s), 9).value);  // 0x12, then 'A'
  EXPECT_EQ(0x4241, GetWORD(s.data(), Size(s), 10).value);        // offset L: 'A', 'B'
  EXPECT_THROW(GetWORD(s.data(), Size(s), 11), NoSuchObject);
}

TEST(DmiReaders, WideFieldsWidenTheirTestWithTheirWidth) {
  Bytes const s = Structure(4, 8, {1, 2, 3, 4}, std::string("0123456789ABCDEF\0\0", 18));
  // A double word may start up to L + 2, a quad word up to L + 6.
  EXPECT_EQ(0x33323130, GetDWORD(s.data(), Size(s), 8).value);
  EXPECT_NO_THROW(GetDWORD(s.data(), Size(s), 10));
  EXPECT_THROW(GetDWORD(s.data(), Size(s), 11), NoSuchObject);
  EXPECT_EQ(0x3736353433323130LL, GetQWORD(s.data(), Size(s), 8).value);
  EXPECT_NO_THROW(GetQWORD(s.data(), Size(s), 14));
  EXPECT_THROW(GetQWORD(s.data(), Size(s), 15), NoSuchObject);
}

TEST(DmiReaders, FieldsAreLittleEndianAndUnaligned) {
  Bytes const s =
      Structure(0, 24, {0, 0, 0, 0, 0, 0, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08},
                std::string("\0\0", 2));
  EXPECT_EQ(0x0201, GetWORD(s.data(), Size(s), 10).value);
  EXPECT_EQ(0x04030201, GetDWORD(s.data(), Size(s), 10).value);
  EXPECT_EQ(0x0807060504030201LL, GetQWORD(s.data(), Size(s), 10).value);
  EXPECT_EQ(0x03020100, GetDWORD(s.data(), Size(s), 9).value);
}

TEST(DmiReaders, AQuadWordWithTheTopBitSetKeepsAllSixtyFourBits) {
  Bytes const s = Structure(0, 18, {0, 0, 0, 0, 0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0xF1},
                            std::string("\0\0", 2));
  EXPECT_EQ(0xF1234567'89ABCDEFull,
            static_cast<unsigned long long>(GetQWORD(s.data(), Size(s), 8).value));
  Bytes const ones = Structure(0, 18, {0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
                               std::string("\0\0", 2));
  EXPECT_EQ(~0ull, static_cast<unsigned long long>(GetQWORD(ones.data(), Size(ones), 8).value));
  // Narrower fields are zero-extended, never sign-extended.
  EXPECT_EQ(0xFF, GetBYTE(ones.data(), Size(ones), 8).value);
  EXPECT_EQ(0xFFFF, GetWORD(ones.data(), Size(ones), 8).value);
  EXPECT_EQ(0xFFFFFFFFLL, GetDWORD(ones.data(), Size(ones), 8).value);
}

TEST(DmiReaders, AFieldThatWouldRunPastTheStoredBytesIsAbsent) {
  // The length byte would allow a quad word at 8, but only 10 bytes are stored.
  Bytes const s = {4, 8, 0, 0, 1, 2, 3, 4, 0, 0};
  EXPECT_THROW(GetQWORD(s.data(), Size(s), 8), NoSuchObject);
  EXPECT_THROW(GetDWORD(s.data(), Size(s), 8), NoSuchObject);
  EXPECT_EQ(0, GetWORD(s.data(), Size(s), 8).value);
  // A length byte that claims more than was stored.
  Bytes const claims = {4, 200, 0, 0, 7};
  EXPECT_EQ(7, GetBYTE(claims.data(), Size(claims), 4).value);
  EXPECT_THROW(GetBYTE(claims.data(), Size(claims), 5), NoSuchObject);
  EXPECT_THROW(GetString(claims.data(), Size(claims), 100), NoSuchObject);
  EXPECT_THROW(GetStringBlockString(claims.data(), Size(claims), 1), NoSuchObject);
}

TEST(DmiReaders, NullDataIsAbsentForEveryReader) {
  EXPECT_THROW(GetBYTE(nullptr, 0, 1), NoSuchObject);
  EXPECT_THROW(GetWORD(nullptr, 0, 1), NoSuchObject);
  EXPECT_THROW(GetDWORD(nullptr, 0, 1), NoSuchObject);
  EXPECT_THROW(GetQWORD(nullptr, 0, 1), NoSuchObject);
  EXPECT_THROW(GetString(nullptr, 0, 4), NoSuchObject);
  EXPECT_THROW(GetStringBlockString(nullptr, 0, 1), NoSuchObject);
  EXPECT_THROW(DmiDeviceType(nullptr, 0, 1), NoSuchObject);
  EXPECT_THROW(DmiDeviceDescription(nullptr, 0, 1), NoSuchObject);
}

TEST(DmiStrings, StringsAreFoundByNumber) {
  Bytes const s = Structure(1, 8, {2, 1, 3, 0}, std::string("first\0second\0third\0\0", 20));
  EXPECT_EQ("first", Text(GetStringBlockString(s.data(), Size(s), 1)));
  EXPECT_EQ("second", Text(GetStringBlockString(s.data(), Size(s), 2)));
  EXPECT_EQ("third", Text(GetStringBlockString(s.data(), Size(s), 3)));
  EXPECT_EQ("second", Text(GetString(s.data(), Size(s), 4)));
  EXPECT_EQ("first", Text(GetString(s.data(), Size(s), 5)));
  EXPECT_EQ("third", Text(GetString(s.data(), Size(s), 6)));
}

TEST(DmiStrings, NumberZeroAndNumbersPastTheLastStringAreAbsentNotEmpty) {
  Bytes const s = Structure(1, 8, {0, 4, 2, 255}, std::string("one\0two\0\0", 9));
  EXPECT_THROW(GetString(s.data(), Size(s), 4), NoSuchObject);  // number 0: unset
  EXPECT_THROW(GetString(s.data(), Size(s), 5), NoSuchObject);  // number 4 of 2
  EXPECT_EQ("two", Text(GetString(s.data(), Size(s), 6)));
  EXPECT_THROW(GetString(s.data(), Size(s), 7), NoSuchObject);  // number 255
  EXPECT_THROW(GetStringBlockString(s.data(), Size(s), 0), NoSuchObject);
  EXPECT_THROW(GetStringBlockString(s.data(), Size(s), 3), NoSuchObject);
  EXPECT_THROW(GetStringBlockString(s.data(), Size(s), 256), NoSuchObject);
  EXPECT_THROW(GetStringBlockString(s.data(), Size(s), 1ull << 40), NoSuchObject);
}

TEST(DmiStrings, TheFieldOfAStringNumberMustLieBelowTheLength) {
  Bytes const s = Structure(1, 5, {1}, std::string("one\0\0", 5));
  EXPECT_EQ("one", Text(GetString(s.data(), Size(s), 4)));
  EXPECT_THROW(GetString(s.data(), Size(s), 5), NoSuchObject);
}

TEST(DmiStrings, AnEmptyBlockHasNoStrings) {
  Bytes const s = Structure(1, 6, {1, 1}, std::string("\0\0", 2));
  EXPECT_THROW(GetString(s.data(), Size(s), 4), NoSuchObject);
  EXPECT_THROW(GetStringBlockString(s.data(), Size(s), 1), NoSuchObject);
}

TEST(DmiStrings, ABlockWithoutItsEndStopsAtTheStoredBytes) {
  Bytes const s = Structure(1, 6, {1, 2}, "unending");
  EXPECT_EQ("unending", Text(GetStringBlockString(s.data(), Size(s), 1)));
  EXPECT_THROW(GetStringBlockString(s.data(), Size(s), 2), NoSuchObject);
  Bytes const two = Structure(1, 6, {1, 2}, std::string("one\0tw", 6));
  EXPECT_EQ("tw", Text(GetStringBlockString(two.data(), Size(two), 2)));
  EXPECT_THROW(GetStringBlockString(two.data(), Size(two), 3), NoSuchObject);
  Bytes const endsOnNul = Structure(1, 6, {1, 2}, std::string("one\0", 4));
  EXPECT_THROW(GetStringBlockString(endsOnNul.data(), Size(endsOnNul), 2), NoSuchObject);
}

// The readers that answer false, which the string fields' adaptors use,
// must find exactly what the throwing readers find, and refuse exactly
// where they throw.
TEST(DmiStrings, TheReadersThatAnswerFalseAgreeWithThoseThatThrow) {
  std::vector<Bytes> const structures = {
      Structure(1, 8, {2, 1, 3, 0}, std::string("first\0second\0third\0\0", 20)),
      Structure(1, 8, {0, 4, 2, 255}, std::string("one\0two\0\0", 9)),
      Structure(1, 6, {1, 2}, "unending"),
      Structure(1, 6, {1, 2}, std::string("one\0tw", 6)),
      Structure(1, 6, {1, 2}, std::string("\0\0", 2)),
      {4, 200, 0, 0, 7},
      {4},
  };
  for (Bytes const& s : structures) {
    for (unsigned long offset = 0; offset < s.size() + 3; ++offset) {
      surveyor_string found{};
      bool const answered = FindString(s.data(), Size(s), offset, found);
      try {
        surveyor_string const thrown = GetString(s.data(), Size(s), offset);
        EXPECT_TRUE(answered) << offset;
        EXPECT_EQ(Text(thrown), Text(found)) << offset;
      } catch (NoSuchObject const&) {
        EXPECT_FALSE(answered) << offset;
      }
    }
    for (std::uint64_t number : {0ull, 1ull, 2ull, 3ull, 4ull, 5ull, 255ull, 256ull, 1ull << 40}) {
      surveyor_string found{};
      bool const answered = FindStringBlockString(s.data(), Size(s), number, found);
      try {
        surveyor_string const thrown = GetStringBlockString(s.data(), Size(s), number);
        EXPECT_TRUE(answered) << number;
        EXPECT_EQ(Text(thrown), Text(found)) << number;
      } catch (NoSuchObject const&) {
        EXPECT_FALSE(answered) << number;
      }
    }
  }
  surveyor_string found{};
  EXPECT_FALSE(FindString(nullptr, 0, 4, found));
  EXPECT_FALSE(FindStringBlockString(nullptr, 0, 1, found));
}

TEST(DmiDevices, TypesAndDescriptionsAreReadAsTwoRuns) {
  // L = 10: three entries; types at 4, 5, 6 and string numbers at 7, 8, 9.
  Bytes const s =
      Structure(10, 10, {0x83, 0x85, 0x07, 2, 1, 3}, std::string("first\0second\0third\0\0", 20));
  EXPECT_EQ(0x83, DmiDeviceType(s.data(), Size(s), 1).value);
  EXPECT_EQ(0x85, DmiDeviceType(s.data(), Size(s), 2).value);
  EXPECT_EQ(0x07, DmiDeviceType(s.data(), Size(s), 3).value);
  EXPECT_EQ("second", Text(DmiDeviceDescription(s.data(), Size(s), 1)));
  EXPECT_EQ("first", Text(DmiDeviceDescription(s.data(), Size(s), 2)));
  EXPECT_EQ("third", Text(DmiDeviceDescription(s.data(), Size(s), 3)));
  EXPECT_THROW(DmiDeviceType(s.data(), Size(s), 4), NoSuchObject);
  EXPECT_THROW(DmiDeviceDescription(s.data(), Size(s), 4), NoSuchObject);
  EXPECT_THROW(DmiDeviceType(s.data(), Size(s), 0), NoSuchObject);
  EXPECT_THROW(DmiDeviceDescription(s.data(), Size(s), 0), NoSuchObject);
}

TEST(DmiDevices, AnOddLengthRoundsTheCountTowardsZero) {
  // L = 9: (9 - 4) / 2 = 2 entries; the description numbers stand at 6 and 7.
  Bytes const s = Structure(10, 9, {0x81, 0x82, 2, 1, 0x55}, std::string("a\0b\0\0", 5));
  EXPECT_EQ(0x82, DmiDeviceType(s.data(), Size(s), 2).value);
  EXPECT_EQ("b", Text(DmiDeviceDescription(s.data(), Size(s), 1)));
  EXPECT_EQ("a", Text(DmiDeviceDescription(s.data(), Size(s), 2)));
  EXPECT_THROW(DmiDeviceType(s.data(), Size(s), 3), NoSuchObject);
}

TEST(DmiDevices, ALengthBelowFourLetsAnyNumberThroughUpToTheStoredBytes) {
  // L = 2: the count is -1, which lets every number pass its test.
  Bytes const s = {10, 2, 'x', 0, 0, 0};
  EXPECT_EQ(0, DmiDeviceType(s.data(), Size(s), 1).value);  // offset 4
  EXPECT_EQ(0, DmiDeviceType(s.data(), Size(s), 2).value);  // offset 5
  EXPECT_THROW(DmiDeviceType(s.data(), Size(s), 3), NoSuchObject);
  EXPECT_THROW(DmiDeviceType(s.data(), Size(s), 1ull << 62), NoSuchObject);
  // The description of 2 takes its number from offset 2 + (-1) + 3 = 4.
  Bytes const t = {10, 2, 'x', 0, 1, 0, 0};
  EXPECT_EQ("x", Text(DmiDeviceDescription(t.data(), Size(t), 2)));
  // L = 3 rounds to a count of 0: no number passes.
  Bytes const u = {10, 3, 0, 0, 0, 0};
  EXPECT_THROW(DmiDeviceType(u.data(), Size(u), 1), NoSuchObject);
}

TEST(DmiLookup, AnIndexOfZeroOrAboveThirtyTwoBitsIsRefused) {
  unsigned char const* data = nullptr;
  std::uint32_t size = 0;
  for (std::uint8_t type : {0, 1, 17, 126, 127}) {
    EXPECT_THROW(GetDMIStructure(type, 0, &data, &size), NoSuchObject) << int(type);
    EXPECT_THROW(GetDMIStructure(type, 0x100000000ull, &data, &size), NoSuchObject);
    EXPECT_FALSE(FindDMIStructure(type, 0, &data, &size)) << int(type);
    EXPECT_FALSE(FindDMIStructure(type, 0x100000000ull, &data, &size)) << int(type);
  }
  EXPECT_EQ(nullptr, data);
}

TEST(DmiLookup, TypesWithoutARowAreRefused) {
  unsigned char const* data = nullptr;
  std::uint32_t size = 0;
  for (int type : {38, 39, 100, 125, 128, 200, 255}) {
    EXPECT_THROW(GetDMIStructure(static_cast<std::uint8_t>(type), 1, &data, &size), NoSuchObject)
        << type;
    EXPECT_FALSE(FindDMIStructure(static_cast<std::uint8_t>(type), 1, &data, &size)) << type;
    EXPECT_THROW(GetStringBlockStringFromPosAndType(1, static_cast<std::uint8_t>(type)),
                 NoSuchObject);
  }
  EXPECT_THROW(GetStringBlockStringFromPosAndType(0, 11), NoSuchObject);
  EXPECT_EQ(nullptr, data);
}

}  // namespace
