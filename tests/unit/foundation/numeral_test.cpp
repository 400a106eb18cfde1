// Number text in both directions.

#include "survey/foundation/numeral.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

namespace {

ConstData View(char const* text) { return ConstData(text); }

std::string Text(Numeral const& numeral) { return MakeString(static_cast<ConstData>(numeral)); }

template <unsigned long N>
std::string Text(NumeralText<N> const& text) {
  return MakeString(static_cast<ConstData>(text));
}

TEST(NumeralTest, DecimalTextOfEachType) {
  EXPECT_EQ("0", Text(Numeral(0u, 10)));
  EXPECT_EQ("-128", Text(Numeral(static_cast<signed char>(-128), 10)));
  EXPECT_EQ("255", Text(Numeral(static_cast<unsigned char>(255), 10)));
  EXPECT_EQ("-32768", Text(Numeral(static_cast<short>(-32768), 10)));
  EXPECT_EQ("65535", Text(Numeral(static_cast<unsigned short>(65535), 10)));
  EXPECT_EQ("-42", Text(Numeral(-42L, 10)));
  EXPECT_EQ("4294967295", Text(Numeral(4294967295ul, 10)));
  EXPECT_EQ("18446744073709551615", Text(Numeral(18446744073709551615ull, 10)));
}

TEST(NumeralTest, MostNegativeLongLongComesOutWhole) {
  EXPECT_EQ("-9223372036854775808", Text(Numeral(LLONG_MIN, 10)));
  EXPECT_EQ("-2147483648", Text(Numeral(static_cast<long>(INT_MIN), 10)));
}

TEST(NumeralTest, OtherBases) {
  EXPECT_EQ("ff", Text(Numeral(255u, 16)));
  EXPECT_EQ("-101", Text(Numeral(-5L, 2)));
  EXPECT_EQ("z", Text(Numeral(35u, 36)));
  EXPECT_EQ("10", Text(Numeral(36u, 36)));
  EXPECT_EQ(std::string(64, '1'), Text(Numeral(18446744073709551615ull, 2)));
  EXPECT_EQ("-1" + std::string(63, '0'), Text(Numeral(LLONG_MIN, 2)));
}

TEST(NumeralTest, BasesOutsideTwoToThirtySixAreRefused) {
  EXPECT_THROW(Numeral(5u, 1), NotANumeral);
  EXPECT_THROW(Numeral(5u, 0), NotANumeral);
  EXPECT_THROW(Numeral(5u, 37), NotANumeral);
}

TEST(NumeralTest, SignCharacters) {
  EXPECT_EQ('-', Numeral::Sign(-3));
  EXPECT_EQ('+', Numeral::Sign(3));
  EXPECT_EQ(' ', Numeral::Sign(0));
  EXPECT_EQ('+', Numeral::Sign(3u));
  EXPECT_EQ('-', Numeral(-7L, 10).SignCharacter());
  EXPECT_EQ(' ', Numeral(0L, 10).SignCharacter());
  // A positive number has no sign character in its text.
  EXPECT_EQ("7", Text(Numeral(7L, 10)));
}

TEST(NumeralTest, DigitCharacters) {
  EXPECT_EQ('0', Numeral::Digit(0));
  EXPECT_EQ('9', Numeral::Digit(9));
  EXPECT_EQ('a', Numeral::Digit(10));
  EXPECT_EQ('z', Numeral::Digit(35));
}

TEST(NumeralTest, PadToPutsZerosInFrontAndDoesNotCountTheSign) {
  Numeral negative(-42L, 10);
  negative.PadTo(5);
  EXPECT_EQ("-00042", Text(negative));
  Numeral wide(123456u, 10);
  wide.PadTo(3);
  EXPECT_EQ("123456", Text(wide));
  Numeral full(1u, 2);
  full.PadTo(100);
  EXPECT_EQ(64u, full.DigitCount());
}

TEST(NumeralTest, LengthPrefixedForm) {
  Numeral number(-1234L, 10);
  unsigned char const* const counted = number;
  ASSERT_EQ(5, counted[0]);
  EXPECT_EQ(0, std::memcmp(counted + 1, "-1234", 5));
  Numeral positive(99u, 10);
  unsigned char const* const two = positive;
  ASSERT_EQ(2, two[0]);
  EXPECT_EQ(0, std::memcmp(two + 1, "99", 2));
}

TEST(NumeralTest, ACopyKeepsItsText) {
  Numeral original(-77L, 10);
  Numeral const copy = original;
  original.PadTo(6);
  EXPECT_EQ("-77", Text(copy));
  EXPECT_EQ("-000077", Text(original));
}

TEST(ReadNumeralTest, LargestSixtyFourBitValueAndOneMore) {
  EXPECT_EQ(18446744073709551615ull, ReadAsciiDecimalNumeral64(View("18446744073709551615")));
  EXPECT_THROW(ReadAsciiDecimalNumeral64(View("18446744073709551616")), NumeralTooLarge);
}

TEST(ReadNumeralTest, ThirtyTwoBitReadStopsAtThirtyTwoBits) {
  EXPECT_EQ(4294967295ul, ReadAsciiDecimalNumeral(View("4294967295")));
  EXPECT_THROW(ReadAsciiDecimalNumeral(View("4294967296")), NumeralTooLarge);
  EXPECT_THROW(ReadAsciiDecimalNumeral(View("10000000000")), NumeralTooLarge);
}

TEST(ReadNumeralTest, LettersBehindDigitsAreNotANumeral) {
  EXPECT_THROW(ReadAsciiDecimalNumeral64(View("123abc")), NotANumeral);
  EXPECT_THROW(ReadAsciiDecimalNumeral(View("7x")), NotANumeral);
}

TEST(ReadNumeralTest, EmptyViewIsNotANumeral) {
  EXPECT_THROW(ReadAsciiDecimalNumeral64(ConstData()), NotANumeral);
  EXPECT_THROW(ReadAsciiDecimalNumeral(ConstData()), NotANumeral);
  EXPECT_THROW(ReadAsciiSignedDecimalNumeral64(ConstData()), NotANumeral);
  EXPECT_THROW(ReadAsciiHexNumeral64(ConstData()), NotANumeral);
  EXPECT_THROW(ReadAsciiSignedDecimalNumeral64(View("-")), NotANumeral);
}

TEST(ReadNumeralTest, NegativeNumberReadAsUnsignedIsNotANumeral) {
  EXPECT_THROW(ReadAsciiDecimalNumeral64(View("-5")), NotANumeral);
  EXPECT_THROW(ReadAsciiDecimalNumeral(View("-0")), NotANumeral);
}

TEST(ReadNumeralTest, PlusSignWhiteSpaceAndPrefixesAreNotDigits) {
  EXPECT_THROW(ReadAsciiDecimalNumeral64(View("+5")), NotANumeral);
  EXPECT_THROW(ReadAsciiDecimalNumeral64(View(" 5")), NotANumeral);
  EXPECT_THROW(ReadAsciiDecimalNumeral64(View("5 ")), NotANumeral);
  EXPECT_THROW(ReadAsciiHexNumeral64(View("0x1f")), NotANumeral);
  EXPECT_THROW(ReadAsciiSignedDecimalNumeral64(View("+5")), NotANumeral);
  EXPECT_THROW(ReadAsciiSignedDecimalNumeral64(View("--5")), NotANumeral);
}

TEST(ReadNumeralTest, TooLongWithABadCharacterAtItsEndIsTooLarge) {
  // The multiplication is tested before the character.
  EXPECT_THROW(ReadAsciiDecimalNumeral64(View("18446744073709551615x")), NumeralTooLarge);
  EXPECT_THROW(ReadAsciiDecimalNumeral(View("4294967295 ")), NumeralTooLarge);
  // A bad character before the value grows too large is reported as such.
  EXPECT_THROW(ReadAsciiDecimalNumeral(View("42949x67295")), NotANumeral);
}

TEST(ReadNumeralTest, LeadingZerosAreDigits) {
  EXPECT_EQ(7ull, ReadAsciiDecimalNumeral64(View("0000000000000000000000000007")));
  EXPECT_EQ(0ul, ReadAsciiDecimalNumeral(View("000")));
}

TEST(ReadNumeralTest, EmbeddedNulIsAStrayByte) {
  unsigned char const bytes[] = {'1', 0, '2'};
  EXPECT_THROW(ReadAsciiDecimalNumeral64(ConstData(bytes, bytes + 3)), NotANumeral);
  // The view's end is the end: bytes behind it are not read.
  EXPECT_EQ(1ull, ReadAsciiDecimalNumeral64(ConstData(bytes, bytes + 1)));
}

TEST(ReadNumeralTest, SignedSixtyFourBitLimits) {
  EXPECT_EQ(LLONG_MAX, ReadAsciiSignedDecimalNumeral64(View("9223372036854775807")));
  EXPECT_THROW(ReadAsciiSignedDecimalNumeral64(View("9223372036854775808")), NumeralTooLarge);
  EXPECT_EQ(LLONG_MIN, ReadAsciiSignedDecimalNumeral64(View("-9223372036854775808")));
  EXPECT_THROW(ReadAsciiSignedDecimalNumeral64(View("-9223372036854775809")), NumeralTooLarge);
  EXPECT_THROW(ReadAsciiSignedDecimalNumeral64(View("-18446744073709551616")), NumeralTooLarge);
  EXPECT_EQ(0ll, ReadAsciiSignedDecimalNumeral64(View("-0")));
  EXPECT_EQ(-12ll, ReadAsciiSignedDecimalNumeral64(View("-012")));
}

TEST(ReadNumeralTest, SignedThirtyTwoBitLimits) {
  EXPECT_EQ(2147483647L, ReadAsciiSignedDecimalNumeral(View("2147483647")));
  EXPECT_THROW(ReadAsciiSignedDecimalNumeral(View("2147483648")), NumeralTooLarge);
  EXPECT_EQ(-2147483647L - 1, ReadAsciiSignedDecimalNumeral(View("-2147483648")));
  EXPECT_THROW(ReadAsciiSignedDecimalNumeral(View("-2147483649")), NumeralTooLarge);
}

TEST(ReadNumeralTest, HexInBothCases) {
  EXPECT_EQ(0xDEADBEEFul, ReadAsciiHexNumeral(View("DeadBeef")));
  EXPECT_EQ(0xFFFFFFFFFFFFFFFFull, ReadAsciiHexNumeral64(View("ffffffffffffffff")));
  EXPECT_THROW(ReadAsciiHexNumeral64(View("10000000000000000")), NumeralTooLarge);
  EXPECT_THROW(ReadAsciiHexNumeral(View("100000000")), NumeralTooLarge);
  EXPECT_THROW(ReadAsciiHexNumeral(View("fg")), NotANumeral);
}

TEST(ReadNumeralTest, DefaultsReplaceAnyFailure) {
  EXPECT_EQ(9ul, ReadAsciiDecimalNumeral32WithDefault(View("x"), 9));
  EXPECT_EQ(9ul, ReadAsciiDecimalNumeral32WithDefault(View("4294967296"), 9));
  EXPECT_EQ(12ul, ReadAsciiDecimalNumeral32WithDefault(View("12"), 9));
  EXPECT_EQ(5ull, ReadAsciiDecimalNumeral64WithDefault(ConstData(), 5));
  EXPECT_EQ(-1L, ReadAsciiSignedDecimalNumeral32WithDefault(View("-2147483649"), -1));
  EXPECT_EQ(-3L, ReadAsciiSignedDecimalNumeral32WithDefault(View("-3"), -1));
  EXPECT_EQ(-1ll, ReadAsciiSignedDecimalNumeral64WithDefault(View("+3"), -1));
}

TEST(ReadNumeralTest, UTF8TextIsReadAsItsBytes) {
  EXPECT_EQ(1234ull, ReadUTF8DecimalNumeral64(UStringRef<UTF8>(View("1234"))));
  EXPECT_EQ(56ul, ReadUTF8DecimalNumeral(UStringRef<UTF8>(View("56"))));
  // A full-width digit is not an ASCII digit.
  EXPECT_THROW(ReadUTF8DecimalNumeral64(UStringRef<UTF8>(View("\xEF\xBC\x91"))), NotANumeral);
}

TEST(MakeNumeralTest, ZeroWithAMinimumOfNoDigitsIsEmpty) {
  auto const text = MakeAsciiDecimalNumeral64(0, 0);
  EXPECT_EQ(0u, text.length);
  EXPECT_STREQ("", text.CString());
  EXPECT_EQ("0", Text(MakeAsciiDecimalNumeral64(0, 1)));
}

TEST(MakeNumeralTest, MinimumDigitsPadWithZeros) {
  EXPECT_EQ("00042", Text(MakeAsciiDecimalNumeral64(42, 5)));
  EXPECT_EQ("42", Text(MakeAsciiDecimalNumeral64(42, 1)));
  EXPECT_EQ("00ff", Text(MakeAsciiHexNumeral64(255, 4)));
  EXPECT_EQ("ffffffffffffffff", Text(MakeAsciiHexNumeral64(~0ull, 0)));
  EXPECT_EQ("-007", Text(MakeAsciiSignedDecimalNumeral64(-7, 3)));
  EXPECT_EQ("-9223372036854775808", Text(MakeAsciiSignedDecimalNumeral64(LLONG_MIN, 0)));
  EXPECT_EQ("4294967295", Text(MakeAsciiDecimalNumeral(4294967295ul, 0)));
  EXPECT_EQ("-2147483648", Text(MakeAsciiSignedDecimalNumeral(-2147483647L - 1, 0)));
  EXPECT_EQ("beef", Text(MakeAsciiHexNumeral(0xBEEFul, 2)));
}

TEST(MakeNumeralTest, TextIsTerminatedAndCounted) {
  auto const text = MakeAsciiDecimalNumeral64(18446744073709551615ull, 0);
  EXPECT_EQ(20u, text.length);
  EXPECT_STREQ("18446744073709551615", text.CString());
}

TEST(MakeNumeralTest, MoreDigitsThanTheStoreHoldsAreRefused) {
  EXPECT_NO_THROW(MakeAsciiDecimalNumeral64(1, 20));
  EXPECT_THROW(MakeAsciiDecimalNumeral64(1, 21), ConstDataCapacityExceeded);
  EXPECT_NO_THROW(MakeAsciiHexNumeral64(1, 16));
  EXPECT_THROW(MakeAsciiHexNumeral64(1, 17), ConstDataCapacityExceeded);
  EXPECT_NO_THROW(MakeAsciiSignedDecimalNumeral64(-1, 19));
  EXPECT_THROW(MakeAsciiSignedDecimalNumeral64(-1, 20), ConstDataCapacityExceeded);
  constexpr unsigned long kLongHex = sizeof(unsigned long) * 2;
  EXPECT_NO_THROW(MakeAsciiHexNumeral(1, kLongHex));
  EXPECT_THROW(MakeAsciiHexNumeral(1, kLongHex + 1), ConstDataCapacityExceeded);
}

TEST(MakeNumeralTest, ThirtyTwoBitFormsHoldTheWidestValueOfTheirType) {
  // On a 32-bit machine an unsigned long has 10 decimal digits at most.
  constexpr unsigned long kDigits = sizeof(unsigned long) == 4 ? 10 : 20;
  EXPECT_NO_THROW(MakeAsciiDecimalNumeral(1, kDigits));
  EXPECT_THROW(MakeAsciiDecimalNumeral(1, kDigits + 1), ConstDataCapacityExceeded);
  constexpr unsigned long kSignedDigits = sizeof(long) == 4 ? 10 : 19;
  EXPECT_NO_THROW(MakeAsciiSignedDecimalNumeral(-1, kSignedDigits));
  EXPECT_THROW(MakeAsciiSignedDecimalNumeral(-1, kSignedDigits + 1), ConstDataCapacityExceeded);
}

}  // namespace
