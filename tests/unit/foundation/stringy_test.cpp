// Owned text, borrowed C text, splitting, copying into allocator memory and
// reading stored strings.

#include "survey/foundation/stringy.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "survey/foundation/data_stream.h"

namespace {

std::string Of(Stringy const& value) { return MakeString(value.AsConstData()); }

TEST(StringyTest, DefaultValueHasNoArray) {
  Stringy const value;
  EXPECT_EQ(nullptr, value.Text());
  EXPECT_EQ(0u, value.Size());
  EXPECT_EQ(0u, value.GetLength());
  EXPECT_STREQ("", value.CString());
}

TEST(StringyTest, EmptyCTextHasSizeOneAndComparesEqualToTheDefault) {
  Stringy const fromEmpty("");
  Stringy const none;
  EXPECT_EQ(1u, fromEmpty.Size());
  EXPECT_EQ(0u, fromEmpty.GetLength());
  EXPECT_NE(nullptr, fromEmpty.Text());
  EXPECT_EQ(nullptr, none.Text());
  EXPECT_EQ(0, fromEmpty.Compare(none));
  EXPECT_EQ(0, none.Compare(fromEmpty));
  EXPECT_TRUE(fromEmpty == none);
}

TEST(StringyTest, NullCTextGivesTheEmptyValue) {
  Stringy const value(static_cast<char const*>(nullptr));
  EXPECT_EQ(nullptr, value.Text());
  EXPECT_EQ(0u, value.Size());
}

TEST(StringyTest, SizeCountsTheTerminator) {
  Stringy const value("abc");
  EXPECT_EQ(4u, value.Size());
  EXPECT_EQ(3u, value.GetLength());
  EXPECT_STREQ("abc", value.Text());
}

TEST(StringyTest, FromBytesAddsATerminator) {
  unsigned char const bytes[] = {'x', 'y', 'z', 'w'};
  Stringy const value(bytes, 3);
  EXPECT_EQ(4u, value.Size());
  EXPECT_STREQ("xyz", value.Text());
  Stringy const none(bytes, 0);
  EXPECT_EQ(nullptr, none.Text());
  Stringy const view(ConstData(bytes, bytes + 2));
  EXPECT_STREQ("xy", view.Text());
  Stringy const emptyView{ConstData()};
  EXPECT_EQ(nullptr, emptyView.Text());
}

TEST(StringyTest, ALengthThatCannotTakeItsTerminatorIsTooLong) {
  char const byte = 'a';
  EXPECT_THROW(Stringy const value(&byte, std::numeric_limits<unsigned long>::max()),
               StringyLengthTooLong);
}

TEST(StringyTest, NumbersInDecimal) {
  EXPECT_STREQ("-42", Stringy(-42).Text());
  EXPECT_STREQ("0", Stringy(0).Text());
  EXPECT_STREQ("4294967295", Stringy(4294967295ul).Text());
  EXPECT_STREQ("18446744073709551615", Stringy(18446744073709551615ull).Text());
  EXPECT_EQ(3u, Stringy(-42).Size() - 1);
}

TEST(StringyTest, CopiesAreDeepAndAssignmentReplaces) {
  Stringy original("abc");
  Stringy const copy(original);
  EXPECT_NE(original.Text(), copy.Text());
  original.MakeUpper();
  EXPECT_STREQ("abc", copy.Text());
  Stringy target("zz");
  target = copy;
  EXPECT_STREQ("abc", target.Text());
  target = "new";
  EXPECT_STREQ("new", target.Text());
  target = static_cast<char const*>(nullptr);
  EXPECT_EQ(nullptr, target.Text());
  target = target;
  EXPECT_EQ(nullptr, target.Text());
}

TEST(StringyTest, IndexWithinTheArray) {
  Stringy const value("ab");
  EXPECT_EQ('a', value[0]);
  EXPECT_EQ('b', value[1]);
  // The terminator lies within the array.
  EXPECT_EQ('\0', value[2]);
  EXPECT_EQ(0, Stringy()[0]);
}

TEST(StringyTest, IndexAtTheSizeDoesNotReadPastTheArray) {
  // Index 3 is one past the 3-byte array of "ab": it gives 0 rather than a
  // byte of memory that the value does not own.
  Stringy const value("ab");
  EXPECT_EQ(0, value[3]);
  EXPECT_EQ(0, value[100]);
}

TEST(StringyTest, AppendingMakesAnExactArray) {
  Stringy value("ab");
  value += Stringy("cd");
  EXPECT_STREQ("abcd", value.Text());
  EXPECT_EQ(5u, value.Size());
  value += "e";
  value += ConstData("fg");
  value += 'h';
  EXPECT_STREQ("abcdefgh", value.Text());
  EXPECT_EQ(9u, value.Size());
}

TEST(StringyTest, AppendingNothingChangesNothing) {
  Stringy value("ab");
  char const* const before = value.Text();
  value += Stringy();
  value += Stringy("");
  value += "";
  value += static_cast<char const*>(nullptr);
  value += ConstData();
  EXPECT_EQ(before, value.Text());
  EXPECT_EQ(3u, value.Size());
}

TEST(StringyTest, AppendingANulCharacterLeavesTheValueAsItWas) {
  Stringy value("ab");
  char const* const before = value.Text();
  value += '\0';
  EXPECT_EQ(before, value.Text());
  EXPECT_EQ(3u, value.Size());
  Stringy none;
  none += '\0';
  EXPECT_EQ(nullptr, none.Text());
}

TEST(StringyTest, AppendingToTheEmptyValues) {
  Stringy none;
  none += 'x';
  EXPECT_STREQ("x", none.Text());
  EXPECT_EQ(2u, none.Size());
  Stringy empty("");
  empty += "yz";
  EXPECT_STREQ("yz", empty.Text());
  EXPECT_EQ(3u, empty.Size());
}

TEST(StringyTest, AppendingItself) {
  Stringy value("ab");
  value += value;
  EXPECT_STREQ("abab", value.Text());
}

TEST(StringyTest, Concatenation) {
  EXPECT_STREQ("abcd", (Stringy("ab") + Stringy("cd")).Text());
  EXPECT_STREQ("abc", (Stringy("ab") + 'c').Text());
  EXPECT_STREQ("ab", (Stringy("ab") + '\0').Text());
}

TEST(StringyTest, CompareIsStrcmpWithEmptyValuesFirst) {
  EXPECT_EQ(-1, Stringy().Compare(Stringy("a")));
  EXPECT_EQ(1, Stringy("a").Compare(Stringy("")));
  EXPECT_LT(Stringy("abc").Compare(Stringy("abd")), 0);
  EXPECT_GT(Stringy("b").Compare(Stringy("abc")), 0);
  EXPECT_EQ(0, Stringy("same").Compare(Stringy("same")));
}

TEST(StringyTest, RelationsWithValuesAndCTextsInBothOrders) {
  Stringy const b("b");
  EXPECT_TRUE(b == "b");
  EXPECT_TRUE("b" == b);
  EXPECT_TRUE(b != "c");
  EXPECT_TRUE("a" != b);
  EXPECT_TRUE(b < "c");
  EXPECT_TRUE("a" < b);
  EXPECT_TRUE(b > "a");
  EXPECT_TRUE("c" > b);
  EXPECT_TRUE(b <= "b");
  EXPECT_TRUE("b" <= b);
  EXPECT_TRUE(b >= "b");
  EXPECT_TRUE("c" >= b);
  EXPECT_TRUE(Stringy("a") < b);
  EXPECT_TRUE(b > Stringy("a"));
  EXPECT_TRUE(Stringy() == "");
  EXPECT_TRUE(Stringy() < "a");
  EXPECT_FALSE(b <= Stringy("a"));
  EXPECT_FALSE(b >= Stringy("c"));
}

TEST(StringyTest, CompareNoCaseWorksOnTheWholeArrays) {
  EXPECT_EQ(0, Stringy("MiXed").CompareNoCase(Stringy("mixED")));
  EXPECT_EQ(0, Stringy().CompareNoCase(Stringy()));
  EXPECT_EQ(-1, Stringy().CompareNoCase(Stringy("")));
  EXPECT_EQ(1, Stringy("").CompareNoCase(Stringy()));
  // The terminator takes part: NUL against "A".
  EXPECT_EQ(-65, Stringy("").CompareNoCase(Stringy("a")));
  EXPECT_EQ(-65, Stringy("ab").CompareNoCase(Stringy("aBa")));
  // Through upper case, "_" (95) lies above the letters.
  EXPECT_EQ(-30, Stringy("a").CompareNoCase(Stringy("_")));
}

TEST(StringyTest, EqualIgnoringCaseCountsTheTerminator) {
  EXPECT_TRUE(Stringy("Hello").EqualIgnoringCase(Stringy("hELLO")));
  EXPECT_FALSE(Stringy("Hello").EqualIgnoringCase(Stringy("hELL")));
  EXPECT_TRUE(Stringy().EqualIgnoringCase(Stringy()));
  // One has an array of one byte, the other none.
  EXPECT_FALSE(Stringy("").EqualIgnoringCase(Stringy()));
}

TEST(StringyTest, Contains) {
  EXPECT_TRUE(Stringy("hello world").Contains("o w"));
  EXPECT_FALSE(Stringy("hello").Contains("world"));
  EXPECT_TRUE(Stringy("hello").Contains(""));
  EXPECT_TRUE(Stringy("hello").Contains(nullptr));
  EXPECT_TRUE(Stringy().Contains(nullptr));
  EXPECT_FALSE(Stringy().Contains(""));
  EXPECT_FALSE(Stringy().Contains("a"));
}

TEST(StringyTest, StartsWith) {
  EXPECT_TRUE(Stringy("prefix-rest").StartsWith("prefix"));
  EXPECT_FALSE(Stringy("prefix").StartsWith("prefix-rest"));
  EXPECT_FALSE(Stringy("Prefix").StartsWith("prefix"));
  EXPECT_TRUE(Stringy().StartsWith(nullptr));
  EXPECT_TRUE(Stringy().StartsWith(""));
  EXPECT_FALSE(Stringy().StartsWith("a"));
}

TEST(StringyTest, StartsWithIgnoringCase) {
  EXPECT_TRUE(Stringy("Prefix-rest").StartsWithIgnoringCase("pREFIX"));
  EXPECT_TRUE(Stringy("Prefix-rest").StartsWithIgnoringCase(Stringy("PREFIX-")));
  EXPECT_FALSE(Stringy("Pre").StartsWithIgnoringCase("prefix"));
  EXPECT_FALSE(Stringy("[a").StartsWithIgnoringCase("{"));
  EXPECT_TRUE(Stringy().StartsWithIgnoringCase(Stringy("")));
  EXPECT_TRUE(Stringy("x").StartsWithIgnoringCase(Stringy()));
  EXPECT_FALSE(Stringy().StartsWithIgnoringCase("a"));
}

TEST(StringyTest, FindFromEitherEnd) {
  Stringy const value("a/b/c");
  EXPECT_EQ(1, value.Find('/'));
  EXPECT_EQ(3, value.FindFromRight('/'));
  EXPECT_LT(value.Find('x'), 0);
  EXPECT_LT(value.FindFromRight('x'), 0);
  EXPECT_LT(Stringy().Find('a'), 0);
  // The terminator is not part of the text.
  EXPECT_LT(value.Find('\0'), 0);
}

TEST(StringyTest, MidTreatsNegativeArgumentsAsZero) {
  Stringy const value("abcdef");
  EXPECT_STREQ("ab", value.Mid(-3, 2).Text());
  EXPECT_EQ(nullptr, value.Mid(2, -1).Text());
  EXPECT_STREQ("cd", value.Mid(2, 2).Text());
}

TEST(StringyTest, MidBeyondTheEndIsEmptyAndALongCountIsCut) {
  Stringy const value("abc");
  EXPECT_EQ(nullptr, value.Mid(100, 2).Text());
  EXPECT_EQ(nullptr, value.Mid(3, 2).Text());
  EXPECT_STREQ("bc", value.Mid(1, 100).Text());
  EXPECT_STREQ("bc", value.Mid(1).Text());
  EXPECT_EQ(nullptr, value.Mid(7).Text());
  EXPECT_EQ(nullptr, Stringy().Mid(0, 5).Text());
}

TEST(StringyTest, LeftAndRightAreCappedToTheLength) {
  Stringy const value("abcdef");
  EXPECT_STREQ("abc", value.Left(3).Text());
  EXPECT_STREQ("def", value.Right(3).Text());
  EXPECT_STREQ("abcdef", value.Left(50).Text());
  EXPECT_STREQ("abcdef", value.Right(50).Text());
  EXPECT_EQ(nullptr, value.Left(-1).Text());
  EXPECT_EQ(nullptr, value.Right(0).Text());
  EXPECT_EQ(nullptr, Stringy().Right(4).Text());
}

TEST(StringyTest, SubstringAfterLastSeparatorIsStripped) {
  EXPECT_STREQ("value", Stringy("key = other = \t value \r\n").SubstringAfterLastSeparator('=')
                            .Text());
  EXPECT_EQ(nullptr, Stringy("no separator").SubstringAfterLastSeparator('=').Text());
  EXPECT_EQ(nullptr, Stringy("ends with=").SubstringAfterLastSeparator('=').Text());
  EXPECT_EQ(nullptr, Stringy("white=  \t").SubstringAfterLastSeparator('=').Text());
}

TEST(StringyTest, TrimLeftRemovesTheFourWhiteCharacters) {
  Stringy value(" \t\r\nword \t");
  value.TrimLeft();
  EXPECT_STREQ("word \t", value.Text());
  EXPECT_EQ(7u, value.Size());
  Stringy vertical("\vword");
  vertical.TrimLeft();
  EXPECT_STREQ("\vword", vertical.Text());
}

TEST(StringyTest, AllWhiteTextBecomesTheEmptyValueWithoutAnArray) {
  Stringy value(" \t\r\n ");
  value.TrimLeft();
  EXPECT_EQ(nullptr, value.Text());
  EXPECT_EQ(0u, value.Size());
  Stringy both("  \n");
  both.StripLeadingAndTrailingWhite();
  EXPECT_EQ(nullptr, both.Text());
  Stringy none;
  none.TrimLeft();
  none.StripLeadingAndTrailingWhite();
  EXPECT_EQ(nullptr, none.Text());
}

TEST(StringyTest, StripAtBothEnds) {
  Stringy value("\r\n  two words \t\n");
  value.StripLeadingAndTrailingWhite();
  EXPECT_STREQ("two words", value.Text());
  EXPECT_EQ(10u, value.Size());
}

TEST(StringyTest, ReplaceAndCaseChangesInPlace) {
  Stringy value("a-b-c");
  char const* const array = value.Text();
  value.Replace('-', '+');
  EXPECT_STREQ("a+b+c", value.Text());
  value.MakeUpper();
  EXPECT_STREQ("A+B+C", value.Text());
  value.MakeLower();
  EXPECT_STREQ("a+b+c", value.Text());
  EXPECT_EQ(array, value.Text());
  Stringy none;
  none.Replace('a', 'b');
  none.MakeUpper();
  EXPECT_EQ(nullptr, none.Text());
}

std::vector<std::string> Texts(std::vector<Stringy> const& values) {
  std::vector<std::string> texts;
  for (Stringy const& value : values) {
    texts.push_back(value.Text() == nullptr ? "<none>" : value.Text());
  }
  return texts;
}

TEST(SplitTest, RunsBetweenSeparators) {
  std::vector<Stringy> out;
  EXPECT_EQ(3u, SplitSeparatedStringsIntoArray("a,bc,d", ',', out, 10, false));
  EXPECT_EQ((std::vector<std::string>{"a", "bc", "d"}), Texts(out));
}

TEST(SplitTest, TwoSeparatorsInARowGiveAnEmptyValue) {
  std::vector<Stringy> out;
  EXPECT_EQ(4u, SplitSeparatedStringsIntoArray(",a,,b", ',', out, 10, false));
  EXPECT_EQ((std::vector<std::string>{"<none>", "a", "<none>", "b"}), Texts(out));
}

TEST(SplitTest, ATextEndingInTheSeparatorStopsAtTheTerminator) {
  std::vector<Stringy> out;
  EXPECT_EQ(2u, SplitSeparatedStringsIntoArray("a,b,", ',', out, 10, false));
  EXPECT_EQ((std::vector<std::string>{"a", "b"}), Texts(out));
}

TEST(SplitTest, NothingForAZeroMaximumOrAnEmptyText) {
  std::vector<Stringy> out;
  EXPECT_EQ(0u, SplitSeparatedStringsIntoArray("a,b", ',', out, 0, false));
  EXPECT_EQ(0u, SplitSeparatedStringsIntoArray("", ',', out, 5, false));
  EXPECT_EQ(0u, SplitSeparatedStringsIntoArray(nullptr, ',', out, 5, false));
  EXPECT_TRUE(out.empty());
}

TEST(SplitTest, StopsAtTheMaximum) {
  std::vector<Stringy> out;
  EXPECT_EQ(2u, SplitSeparatedStringsIntoArray("a,b,c,d", ',', out, 2, false));
  EXPECT_EQ((std::vector<std::string>{"a", "b"}), Texts(out));
}

TEST(SplitTest, StripsEachValue) {
  std::vector<Stringy> out;
  EXPECT_EQ(3u, SplitSeparatedStringsIntoArray(" a , b\t,  ", ',', out, 10, true));
  EXPECT_EQ((std::vector<std::string>{"a", "b", "<none>"}), Texts(out));
}

TEST(SplitTest, StripFindsTheValueCountingFromTheVectorsStart) {
  // With a value already in the vector, the first stripped value is the one
  // at position 0, not the one just added.
  std::vector<Stringy> out;
  out.push_back(Stringy("  old  "));
  EXPECT_EQ(1u, SplitSeparatedStringsIntoArray(" new ", ',', out, 10, true));
  EXPECT_EQ((std::vector<std::string>{"old", " new "}), Texts(out));
}

TEST(SplitTest, ANulSeparatorReadsASequenceEndedByAnEmptyString) {
  char const text[] = "first\0second\0third\0\0ignored";
  std::vector<Stringy> out;
  EXPECT_EQ(3u, SplitSeparatedStringsIntoArray(text, '\0', out, 10, false));
  EXPECT_EQ((std::vector<std::string>{"first", "second", "third"}), Texts(out));
}

TEST(CompareIgnoreCaseTest, AreStrcasecmpAndStrncasecmp) {
  EXPECT_EQ(0, CompareIgnoreCase("Hello", "hELLO"));
  EXPECT_LT(CompareIgnoreCase("abc", "ABD"), 0);
  EXPECT_GT(CompareIgnoreCase("b", "A"), 0);
  EXPECT_EQ(0, CompareIgnoreCaseN("HelloX", "hELLOy", 5));
  EXPECT_NE(0, CompareIgnoreCaseN("HelloX", "hELLOy", 6));
}

TEST(ConstCStringTest, Length) {
  EXPECT_EQ(5u, ConstCString("hello").Length());
  EXPECT_EQ(0u, ConstCString().Length());
}

TEST(ConstCStringTest, CompareWithAViewTakesZeroForTheViewsEnd) {
  EXPECT_EQ(0, Compare(ConstCString("abc"), ConstData("abc")));
  // The C text ends with bytes left in the view.
  EXPECT_EQ(-1, Compare(ConstCString("ab"), ConstData("abc")));
  // The view ends first: its zero against "c" (99).
  EXPECT_EQ(99, Compare(ConstCString("abc"), ConstData("ab")));
  EXPECT_EQ(-2, Compare(ConstCString("abc"), ConstData("abe")));
  unsigned char const withNul[] = {'a', 0};
  EXPECT_EQ(-1, Compare(ConstCString("a"), ConstData(withNul, withNul + 2)));
  EXPECT_EQ(0, Compare(ConstCString(""), ConstData()));
}

TEST(ConstCStringTest, TheSamePointerIsEqualWhateverTheLengths) {
  char const* const text = "abcdef";
  EXPECT_EQ(0, Compare(ConstCString(text), ConstData(text, 2ul)));
  EXPECT_TRUE(ConstCString(text) == ConstData(text, 3ul));
}

TEST(ConstCStringTest, RelationsWithViewsAndCTexts) {
  EXPECT_TRUE(ConstCString("abc") == ConstData("abc"));
  EXPECT_FALSE(ConstCString("abc") == ConstData("abcd"));
  EXPECT_TRUE(ConstCString("abd") >= ConstData("abc"));
  EXPECT_FALSE(ConstCString("ab") >= ConstData("abc"));
  std::string const copy = "same";
  EXPECT_TRUE(ConstCString("same") == ConstCString(copy.c_str()));
  EXPECT_TRUE(ConstCString("b") >= ConstCString("a"));
  EXPECT_FALSE(ConstCString("a") >= ConstCString("b"));
  EXPECT_LT(Compare(ConstCString("a"), ConstCString("ab")), 0);
  EXPECT_EQ(0, Compare(ConstCString(), ConstCString("")));
}

// An allocator that hands out blocks from a fixed store, and records the
// size asked for.
unsigned char store[64];
unsigned int asked = 0;
void* FromStore(unsigned int size) {
  asked = size;
  return size <= sizeof store ? store : nullptr;
}
void* Refusing(unsigned int) { return nullptr; }

TEST(AllocateConstDataTest, CopiesIntoTheAllocatorsMemory) {
  ConstData const copy = AllocateConstData(ConstData("payload"), FromStore);
  EXPECT_EQ(7u, asked);
  EXPECT_EQ(store, copy.begin);
  EXPECT_EQ("payload", MakeString(copy));
}

TEST(AllocateConstDataTest, NullAllocatorEmptySourceOrNullResultGiveAnEmptyView) {
  ConstData const a = AllocateConstData(ConstData("x"), nullptr);
  EXPECT_EQ(nullptr, a.begin);
  EXPECT_EQ(nullptr, a.end);
  asked = 99;
  ConstData const b = AllocateConstData(ConstData(), FromStore);
  EXPECT_EQ(nullptr, b.begin);
  EXPECT_EQ(99u, asked);
  ConstData const c = AllocateConstData(ConstData("x"), Refusing);
  EXPECT_EQ(nullptr, c.begin);
  EXPECT_EQ(nullptr, c.end);
}

// A reader over bytes in memory that throws when asked for more than is
// left, as a file reader does at the end of its file.
class BytesReader : public DataReader {
 public:
  explicit BytesReader(std::string bytes) : bytes_(std::move(bytes)) {}
  bool Unfinished() const override { return position_ < bytes_.size(); }
  void operator>>(Buffer& output) override {
    unsigned long count = bytes_.size() - position_;
    if (count > output.Remaining()) count = output.Remaining();
    output << ConstData(bytes_.data() + position_, count);
    position_ += count;
  }
  using DataReader::operator>>;
  std::size_t Position() const { return position_; }

 private:
  std::string bytes_;
  std::size_t position_ = 0;
};

// The stored form: "[", the size as a native 32-bit number, "]", the bytes.
std::string Stored(std::uint32_t size, std::string const& bytes) {
  std::string stored = "[";
  stored.append(reinterpret_cast<char const*>(&size), sizeof size);
  stored += "]";
  return stored + bytes;
}

TEST(ReadStringyTest, ReadsTheTextAndItsTerminator) {
  BytesReader reader(Stored(6, std::string("hello\0", 6)) + Stored(3, std::string("hi\0", 3)));
  Stringy first;
  ReadStringy(first, reader);
  EXPECT_STREQ("hello", first.Text());
  EXPECT_EQ(6u, first.Size());
  Stringy second;
  ReadStringy(second, reader);
  EXPECT_STREQ("hi", second.Text());
  EXPECT_FALSE(reader.Unfinished());
}

TEST(ReadStringyTest, SizeZeroReadsNoTextAndGivesTheEmptyValue) {
  BytesReader reader(Stored(0, "") + "next");
  Stringy value("old");
  ReadStringy(value, reader);
  EXPECT_EQ(nullptr, value.Text());
  EXPECT_EQ(6u, reader.Position());
}

TEST(ReadStringyTest, SizeOfExactly1024IsAFormatErrorAnd1023IsRead) {
  std::string const text(1022, 'x');
  BytesReader good(Stored(1023, text + std::string(1, '\0')));
  Stringy value;
  ReadStringy(value, good);
  EXPECT_EQ(1022u, value.GetLength());
  EXPECT_EQ(text, Of(value));

  BytesReader bad(Stored(1024, std::string(1023, 'x') + std::string(1, '\0')));
  Stringy untouched("keep");
  EXPECT_THROW(ReadStringy(untouched, bad), FormatError);
  EXPECT_STREQ("keep", untouched.Text());
}

TEST(ReadStringyTest, WrongBracketsAreFormatErrors) {
  std::string wrongOpen = Stored(2, std::string("a\0", 2));
  wrongOpen[0] = '(';
  std::string wrongClose = Stored(2, std::string("a\0", 2));
  wrongClose[5] = ')';
  Stringy value("keep");
  BytesReader open(wrongOpen);
  EXPECT_THROW(ReadStringy(value, open), FormatError);
  BytesReader close(wrongClose);
  EXPECT_THROW(ReadStringy(value, close), FormatError);
  EXPECT_STREQ("keep", value.Text());
}

TEST(ReadStringyTest, TheReadersOwnErrorsPassThroughAndLeaveTheValue) {
  Stringy value("keep");
  BytesReader shortHeader("[ab");
  EXPECT_THROW(ReadStringy(value, shortHeader), NoMoreData);
  BytesReader shortText(Stored(10, "abc"));
  EXPECT_THROW(ReadStringy(value, shortText), NoMoreData);
  EXPECT_STREQ("keep", value.Text());
}

}  // namespace
