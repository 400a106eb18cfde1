// Byte sets, case tables, the common sets and case-blind text operations.

#include "survey/foundation/ascii.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "survey/foundation/byte_set.h"

namespace {

ConstData View(char const* text) { return ConstData(text); }

ConstData Bytes(std::vector<unsigned char> const& bytes) {
  return ConstData(bytes.data(), bytes.size());
}

// The byte values of a set, listed in runs "a-b" and single values "c".
std::string Runs(ByteSet const& set) {
  std::string out;
  for (unsigned value = 0; value < 256; ++value) {
    if (!set.Contains(static_cast<unsigned char>(value))) continue;
    unsigned last = value;
    while (last + 1 < 256 && set.Contains(static_cast<unsigned char>(last + 1))) ++last;
    if (!out.empty()) out += ",";
    out += std::to_string(value);
    if (last != value) out += "-" + std::to_string(last);
    value = last;
  }
  return out;
}

TEST(ByteSetTest, ByteValueBIsBitBMod32OfWordBDiv32) {
  ByteSet set;
  set.Add(0);
  set.Add(33);
  set.Add(255);
  EXPECT_EQ(1u, set.words[0]);
  EXPECT_EQ(2u, set.words[1]);
  EXPECT_EQ(0x80000000u, set.words[7]);
  EXPECT_TRUE(set.Contains(33));
  EXPECT_FALSE(set.Contains(32));
  set.Remove(33);
  EXPECT_FALSE(set.Contains(33));
}

TEST(ByteSetTest, WholeSetOperations) {
  ByteSet set;
  EXPECT_TRUE(set.None());
  EXPECT_FALSE(set.All());
  set.AddAll();
  EXPECT_TRUE(set.All());
  set.RemoveAll();
  EXPECT_TRUE(set.None());
  set.Add('a');
  set.ChangeAll();
  EXPECT_FALSE(set.Contains('a'));
  EXPECT_TRUE(set.Contains('b'));
  EXPECT_EQ("0-96,98-255", Runs(set));
  ByteSet other;
  other.Complement(set);
  EXPECT_EQ("97", Runs(other));
}

TEST(ByteSetTest, SetAlgebra) {
  ByteSet low;
  low.AddRange(0, 9);
  ByteSet middle;
  middle.AddRange(5, 14);
  EXPECT_EQ("5-9", Runs(low & middle));
  EXPECT_EQ("0-14", Runs(low | middle));
  EXPECT_EQ("0-4,10-14", Runs(low ^ middle));
  EXPECT_EQ("0-4", Runs(low - middle));
  EXPECT_EQ("10-255", Runs(~low));
  ByteSet copy = low;
  copy -= middle;
  EXPECT_EQ("0-4", Runs(copy));
  copy |= middle;
  EXPECT_EQ("0-14", Runs(copy));
  copy &= low;
  EXPECT_TRUE(copy == low);
  copy ^= low;
  EXPECT_TRUE(copy.None());
}

TEST(ByteSetTest, SubsetOrder) {
  ByteSet small;
  small.AddRange(3, 4);
  ByteSet big;
  big.AddRange(0, 9);
  EXPECT_TRUE(small <= big);
  EXPECT_FALSE(big <= small);
  EXPECT_TRUE(big <= big);
  EXPECT_TRUE(ByteSet() <= small);
  EXPECT_TRUE(small != big);
}

TEST(ByteSetTest, ContainsAllIsTrueForAnEmptyView) {
  EXPECT_TRUE(Ascii::Numeric().ContainsAll(ConstData()));
  EXPECT_TRUE(Ascii::Numeric().ContainsAll(View("0123456789")));
  EXPECT_FALSE(Ascii::Numeric().ContainsAll(View("012a")));
  EXPECT_TRUE(ByteSet().ContainsAll(ConstData()));
}

TEST(AsciiTest, CaseTablesFollowTheirRule) {
  EXPECT_TRUE(Ascii::CheckCaseTables());
  EXPECT_TRUE(Ascii::CaseTablesAreCorrect());
  EXPECT_EQ('a', Ascii::lowercaseTable['A']);
  EXPECT_EQ('z', Ascii::lowercaseTable['Z']);
  EXPECT_EQ('@', Ascii::lowercaseTable['@']);
  EXPECT_EQ('[', Ascii::lowercaseTable['[']);
  EXPECT_EQ('A', Ascii::uppercaseTable['a']);
  EXPECT_EQ('`', Ascii::uppercaseTable['`']);
  EXPECT_EQ('{', Ascii::uppercaseTable['{']);
  EXPECT_EQ(0xC4, Ascii::lowercaseTable[0xC4]);
  EXPECT_EQ(0xE4, Ascii::uppercaseTable[0xE4]);
}

TEST(AsciiTest, TheCommonSets) {
  EXPECT_EQ("33-126", Runs(Ascii::Printable()));
  EXPECT_EQ("0-32,127-255", Runs(Ascii::Unprintable()));
  EXPECT_EQ("32-126", Runs(Ascii::PlainText()));
  EXPECT_EQ("0-31,127", Runs(Ascii::Control()));
  EXPECT_EQ("128-255", Runs(Ascii::High()));
  EXPECT_EQ("0-127", Runs(Ascii::Low()));
  EXPECT_EQ("9-10,13,32", Runs(Ascii::WhiteSpace()));
  EXPECT_EQ("9,32", Runs(Ascii::LinearWhiteSpace()));
  EXPECT_EQ("65-90,97-122", Runs(Ascii::Alphabetic()));
  EXPECT_EQ("48-57", Runs(Ascii::Numeric()));
  EXPECT_EQ("48-57,65-90,97-122", Runs(Ascii::Alphanumeric()));
  EXPECT_EQ("33-47,58-64,91-96,123-126", Runs(Ascii::Punctuation()));
  EXPECT_EQ("48-57,65-70,97-102", Runs(Ascii::HexDigits()));
  EXPECT_EQ("65-90,95,97-122", Runs(Ascii::Alphabetic_()));
  EXPECT_EQ("48-57,65-90,95,97-122", Runs(Ascii::Alphanumeric_()));
  EXPECT_EQ("97-122", Runs(Ascii::LowercaseAlphabet()));
  EXPECT_EQ("65-90", Runs(Ascii::UppercaseAlphabet()));
}

TEST(AsciiTest, SetsAreBuiltOnce) {
  EXPECT_EQ(&Ascii::HexDigits(), &Ascii::HexDigits());
  EXPECT_EQ(&Ascii::LowerCase(), &Ascii::LowerCase());
}

TEST(AsciiTest, CaseMappingOverCursorsTakesWhatTheOutputHolds) {
  char out[4] = {};
  ConstBuffer input(View("HeLLo"));
  Buffer output(Data(out, 4));
  Ascii::LowerCase(input, output);
  EXPECT_EQ("hell", MakeString(output.Processed()));
  EXPECT_EQ("o", MakeString(input.Remainder()));
}

TEST(AsciiTest, CaseMappingOverViews) {
  char out[8] = {};
  Data const rest = Ascii::RaiseCase(View("Mixed-1z"), Data(out, 8));
  EXPECT_TRUE(rest.Empty());
  EXPECT_EQ("MIXED-1Z", std::string(out, 8));
  Data const more = Ascii::LowerCase(View("AB"), Data(out, 8));
  EXPECT_EQ(6u, more.Length());
  EXPECT_EQ("abXED-1Z", std::string(out, 8));
}

TEST(AsciiTest, CaseFiltersAreDataFilters) {
  char out[6] = {};
  DataFilter& lower = Ascii::LowerCase();
  lower(View("QUERY!"), Data(out, 6));
  EXPECT_EQ("query!", std::string(out, 6));
  DataFilter& upper = Ascii::RaiseCase();
  upper(View("query!"), Data(out, 6));
  EXPECT_EQ("QUERY!", std::string(out, 6));
}

TEST(AsciiTest, IsLowercaseAndIsUppercase) {
  EXPECT_TRUE(Ascii::IsLowercase(View("abc 123 [_]")));
  EXPECT_FALSE(Ascii::IsLowercase(View("abC")));
  EXPECT_TRUE(Ascii::IsUppercase(View("ABC 123")));
  EXPECT_FALSE(Ascii::IsUppercase(View("aBC")));
  EXPECT_TRUE(Ascii::IsLowercase(ConstData()));
}

TEST(AsciiTest, EqualIgnoringCase) {
  EXPECT_TRUE(Ascii::EqualIgnoringCase(View("Hello"), View("hELLO")));
  EXPECT_FALSE(Ascii::EqualIgnoringCase(View("Hello"), View("Hell")));
  EXPECT_FALSE(Ascii::EqualIgnoringCase(View("[x"), View("{x")));
  EXPECT_TRUE(Ascii::EqualIgnoringCase(ConstData(), ConstData()));
}

TEST(AsciiTest, CompareLowercaseAndUppercaseDifferAgainstTheBytesBetweenTheCases) {
  // Through lower case "A" becomes 97, above "_" (95); through upper case it
  // stays 65, below it.
  EXPECT_EQ(2, Ascii::CompareLowercase(View("A"), View("_")));
  EXPECT_EQ(-30, Ascii::CompareUppercase(View("A"), View("_")));
  EXPECT_EQ(0, Ascii::CompareLowercase(View("MiXeD"), View("mixed")));
  EXPECT_EQ(0, Ascii::CompareUppercase(View("MiXeD"), View("mixed")));
  EXPECT_EQ(1, Ascii::CompareUppercase(View("abc"), View("AB")));
  EXPECT_EQ(-1, Ascii::CompareLowercase(View("AB"), View("abc")));
  EXPECT_EQ(-1, Ascii::CompareLowercase(View("a"), View("B")));
}

TEST(AsciiTest, HexDigitValueWithoutValidation) {
  EXPECT_EQ(0, Ascii::HexDigitValue('0'));
  EXPECT_EQ(9, Ascii::HexDigitValue('9'));
  EXPECT_EQ(10, Ascii::HexDigitValue('a'));
  EXPECT_EQ(15, Ascii::HexDigitValue('F'));
  // No validation: "g" gives 103 - 87.
  EXPECT_EQ(16, Ascii::HexDigitValue('g'));
}

TEST(AsciiTest, HexDigit) {
  EXPECT_EQ('0', Ascii::HexDigit(0));
  EXPECT_EQ('9', Ascii::HexDigit(9));
  EXPECT_EQ('a', Ascii::HexDigit(10));
  EXPECT_EQ('f', Ascii::HexDigit(15));
  EXPECT_EQ('z', Ascii::HexDigit(35));
}

TEST(AsciiTest, NonAsciiBytesAreLeftAlone) {
  std::vector<unsigned char> const bytes = {0xC3, 0x84, 'A'};
  unsigned char out[3];
  Ascii::LowerCase(Bytes(bytes), Data(out, 3));
  EXPECT_EQ(0xC3, out[0]);
  EXPECT_EQ(0x84, out[1]);
  EXPECT_EQ('a', out[2]);
}

}  // namespace
