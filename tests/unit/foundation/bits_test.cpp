// Table-driven bit operations and checked arithmetic.

#include "survey/foundation/bits.h"

#include <gtest/gtest.h>

#include <climits>
#include <limits>

#include "survey/foundation/checked.h"

namespace {

constexpr unsigned long kLongBits = sizeof(unsigned long) * CHAR_BIT;

TEST(BitsTest, TablesForSomeBytes) {
  EXPECT_EQ(0, Bits::count[0x00]);
  EXPECT_EQ(8, Bits::count[0xFF]);
  EXPECT_EQ(4, Bits::count[0xA5]);
  EXPECT_EQ(0, Bits::firstZero[0x00]);
  EXPECT_EQ(3, Bits::firstZero[0x07]);
  EXPECT_EQ(7, Bits::lastZero[0x00]);
  EXPECT_EQ(6, Bits::lastZero[0x80]);
  EXPECT_EQ(0x80, Bits::reverse[0x01]);
  EXPECT_EQ(0x0F, Bits::reverse[0xF0]);
  EXPECT_EQ(0xA5, Bits::reverse[0xA5]);
  EXPECT_EQ(0x2C, Bits::reverse[0x34]);
}

TEST(BitsTest, TablesAgreeWithBitByBitRules) {
  for (unsigned value = 0; value < 256; ++value) {
    unsigned count = 0;
    unsigned mirrored = 0;
    for (unsigned bit = 0; bit < 8; ++bit) {
      if (value & (1u << bit)) {
        ++count;
        mirrored |= 0x80u >> bit;
      }
    }
    EXPECT_EQ(count, Bits::count[value]) << value;
    EXPECT_EQ(mirrored, Bits::reverse[value]) << value;
    if (value != 0xFF) {
      EXPECT_EQ(0u, value & (1u << Bits::firstZero[value])) << value;
      EXPECT_EQ(0u, value & (1u << Bits::lastZero[value])) << value;
      for (unsigned below = 0; below < Bits::firstZero[value]; ++below) {
        EXPECT_NE(0u, value & (1u << below)) << value;
      }
      for (unsigned above = Bits::lastZero[value] + 1; above < 8; ++above) {
        EXPECT_NE(0u, value & (1u << above)) << value;
      }
    }
  }
}

TEST(BitsTest, CountOverWiderValues) {
  EXPECT_EQ(8u, Bits::Count(static_cast<unsigned short>(0xF0F0)));
  EXPECT_EQ(16u, Bits::Count(static_cast<unsigned short>(0xFFFF)));
  EXPECT_EQ(32u, Bits::Count(0xFFFFFFFFul));
  EXPECT_EQ(2u, Bits::Count(0x80000001ul));
  EXPECT_EQ(0u, Bits::Count(0ul));
}

TEST(BitsTest, FirstAndLastZeroOverWiderValues) {
  EXPECT_EQ(8u, Bits::FirstZero(static_cast<unsigned short>(0x00FF)));
  EXPECT_EQ(15u, Bits::LastZero(static_cast<unsigned short>(0x7FFF)));
  EXPECT_EQ(0u, Bits::FirstZero(0ul));
  EXPECT_EQ(kLongBits - 1, Bits::LastZero(0ul));
  EXPECT_EQ(20u, Bits::FirstZero(0xFFFFFul));
}

TEST(BitsTest, LastZeroOfTheComplementIsTheHighestSetBit) {
  EXPECT_EQ(0u, Bits::LastZero(~1ul));
  EXPECT_EQ(1u, Bits::LastZero(~3ul));
  EXPECT_EQ(4u, Bits::LastZero(~16ul));
  EXPECT_EQ(4u, Bits::LastZero(~31ul));
  EXPECT_EQ(31u, Bits::LastZero(~0x80000000ul));
  EXPECT_EQ(9u, Bits::LastZero(static_cast<unsigned short>(~0x0200u)));
}

TEST(BitsTest, ReverseMirrorsTheWholeWidth) {
  EXPECT_EQ(0x8000, Bits::Reverse(static_cast<unsigned short>(0x0001)));
  EXPECT_EQ(0x0F00, Bits::Reverse(static_cast<unsigned short>(0x00F0)));
  EXPECT_EQ(1ul << (kLongBits - 1), Bits::Reverse(1ul));
  EXPECT_EQ(1ul, Bits::Reverse(1ul << (kLongBits - 1)));
  EXPECT_EQ(0x3ul << (kLongBits - 10), Bits::Reverse(0x300ul));
}

TEST(CheckedArithmeticTest, AddAtTheLimitsOfUnsignedTypes) {
  constexpr unsigned int kMax32 = std::numeric_limits<unsigned int>::max();
  EXPECT_TRUE(CanAdd(kMax32 - 1, 1u));
  EXPECT_FALSE(CanAdd(kMax32, 1u));
  EXPECT_FALSE(CanAdd(2u, kMax32 - 1));
  EXPECT_TRUE(CanAdd(18446744073709551614ull, 1ull));
  EXPECT_FALSE(CanAdd(18446744073709551615ull, 1ull));
}

TEST(CheckedArithmeticTest, AddAtTheLimitsOfSignedTypes) {
  EXPECT_TRUE(CanAdd(2147483646, 1));
  EXPECT_FALSE(CanAdd(2147483647, 1));
  EXPECT_TRUE(CanAdd(-2147483647, -1));
  EXPECT_FALSE(CanAdd(-2147483647 - 1, -1));
  EXPECT_TRUE(CanAdd(2147483647, -2147483647 - 1));
  EXPECT_FALSE(CanAdd(9223372036854775807ll, 1ll));
  EXPECT_TRUE(CanAdd(-9223372036854775807ll, -1ll));
  EXPECT_FALSE(CanAdd(-9223372036854775807ll - 1, -1ll));
}

TEST(CheckedArithmeticTest, Subtract) {
  EXPECT_TRUE(CanSubtract(5u, 5u));
  EXPECT_FALSE(CanSubtract(5u, 6u));
  EXPECT_TRUE(CanSubtract(-2147483647, 1));
  EXPECT_FALSE(CanSubtract(-2147483647, 2));
  EXPECT_FALSE(CanSubtract(0, -2147483647 - 1));
  EXPECT_TRUE(CanSubtract(-1, -2147483647 - 1));
  EXPECT_FALSE(CanSubtract(9223372036854775807ll, -1ll));
}

TEST(CheckedArithmeticTest, Multiply) {
  EXPECT_TRUE(CanMultiply(65535u, 65537u));    // 4294967295
  EXPECT_FALSE(CanMultiply(65536u, 65536u));   // 4294967296
  EXPECT_TRUE(CanMultiply(0u, 4294967295u));
  EXPECT_TRUE(CanMultiply(1844674407370955161ull, 10ull));
  EXPECT_FALSE(CanMultiply(1844674407370955162ull, 10ull));
  EXPECT_TRUE(CanMultiply(-1073741824, 2));    // -2147483648
  EXPECT_FALSE(CanMultiply(1073741824, 2));    // 2147483648
  EXPECT_FALSE(CanMultiply(-2147483647 - 1, -1));
  EXPECT_TRUE(CanMultiply(-46340, -46340));    // 2147395600
  EXPECT_FALSE(CanMultiply(-46341, -46341));   // 2147488281
  EXPECT_TRUE(CanMultiply(46341, -46340));     // -2147441940
  EXPECT_FALSE(CanMultiply(-2, 1073741825));   // -2147483650
}

TEST(CheckedArithmeticTest, MixedPairs) {
  EXPECT_TRUE(CanAddSigned(5u, -5));
  EXPECT_FALSE(CanAddSigned(5u, -6));
  EXPECT_TRUE(CanAddSigned(4294967290u, 5));
  EXPECT_FALSE(CanAddSigned(4294967290u, 6));
  EXPECT_TRUE(CanAddSigned(2147483648u, -2147483647 - 1));

  EXPECT_TRUE(CanAddUnsigned(-2147483647 - 1, 4294967295u));  // 2147483647
  EXPECT_TRUE(CanAddUnsigned(0, 2147483647u));
  EXPECT_FALSE(CanAddUnsigned(0, 2147483648u));
  EXPECT_FALSE(CanAddUnsigned(1, 2147483647u));

  EXPECT_TRUE(CanSubtractSigned(0u, -1));
  EXPECT_FALSE(CanSubtractSigned(4294967295u, -1));
  EXPECT_TRUE(CanSubtractSigned(5u, 5));
  EXPECT_FALSE(CanSubtractSigned(5u, 6));

  EXPECT_TRUE(CanSubtractUnsigned(0, 2147483648u));   // -2147483648
  EXPECT_FALSE(CanSubtractUnsigned(0, 2147483649u));
  EXPECT_TRUE(CanSubtractUnsigned(2147483647, 4294967295u));  // -2147483648
  EXPECT_FALSE(CanSubtractUnsigned(-1, 2147483648u));
  EXPECT_TRUE(CanSubtractUnsigned(-9223372036854775807ll, 1ull));
  EXPECT_FALSE(CanSubtractUnsigned(-9223372036854775807ll, 2ull));
}

}  // namespace
