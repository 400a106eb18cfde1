// Byte views, cursors and big-endian fields.

#include "survey/foundation/data.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

ConstData View(char const* text) { return ConstData(text); }

std::string Text(ConstData data) { return MakeString(data); }

TEST(ConstDataTest, ViewOfCTextExcludesTheTerminator) {
  ConstData const view = View("abc");
  EXPECT_EQ(3u, view.Length());
  EXPECT_EQ('a', view.begin[0]);
  EXPECT_EQ('c', view.end[-1]);
}

TEST(ConstDataTest, NullTextGivesAnEmptyViewWithNullBegin) {
  ConstData const view{static_cast<char const*>(nullptr)};
  EXPECT_TRUE(view.Empty());
  EXPECT_EQ(nullptr, view.begin);
}

TEST(ConstDataTest, EqualityNeedsSameLengthAndBytes) {
  EXPECT_TRUE(View("abc") == View("abc"));
  EXPECT_FALSE(View("abc") == View("abd"));
  EXPECT_FALSE(View("abc") == View("ab"));
  EXPECT_TRUE(ConstData() == View(""));
}

TEST(ConstDataTest, OrderIsUnsignedBytewiseThenShorterFirst) {
  unsigned char const high[] = {0x80};
  unsigned char const low[] = {0x7F};
  ConstData const h(high, high + 1);
  ConstData const l(low, low + 1);
  // 0x80 is greater as an unsigned byte, though it is negative as a char.
  EXPECT_TRUE(l < h);
  EXPECT_FALSE(h < l);
  EXPECT_TRUE(View("ab") < View("abc"));
  EXPECT_FALSE(View("abc") < View("ab"));
  EXPECT_TRUE(View("ab") <= View("ab"));
  EXPECT_FALSE(View("ab") < View("ab"));
  EXPECT_FALSE(View("b") <= View("abc"));
}

TEST(ConstDataTest, CompareOfATextAndItsPrefix) {
  EXPECT_EQ(1, Compare(View("abc"), View("ab")));
  EXPECT_EQ(-1, Compare(View("ab"), View("abc")));
  EXPECT_EQ(0, Compare(ConstData(), ConstData()));
  EXPECT_EQ(0, Compare(View(""), ConstData()));
}

TEST(ConstDataTest, CompareGivesTheNumericDifferenceNotItsSign) {
  // 'a' is 97 and 'e' is 101.
  EXPECT_EQ(-4, Compare(View("xa"), View("xe")));
  EXPECT_EQ(4, Compare(View("xe"), View("xa")));
  unsigned char const first[] = {0xFF, 1};
  unsigned char const second[] = {0x01, 200};
  EXPECT_EQ(254, Compare(ConstData(first, first + 2), ConstData(second, second + 2)));
}

TEST(ConstDataTest, CompareReversedStartsFromTheEnds) {
  // "b" against "b" first; then the first view is the longer.
  EXPECT_EQ(1, CompareReversed(View("ab"), View("b")));
  EXPECT_EQ(-1, CompareReversed(View("b"), View("ab")));
  // The last bytes decide: 'c' (99) against 'a' (97).
  EXPECT_EQ(2, CompareReversed(View("ac"), View("ca")));
  EXPECT_EQ(0, CompareReversed(View("same"), View("same")));
}

TEST(ConstDataTest, StartsWithAndEndsWith) {
  EXPECT_TRUE(View("abcdef").StartsWith(View("abc")));
  EXPECT_FALSE(View("abcdef").StartsWith(View("abd")));
  EXPECT_TRUE(View("abcdef").EndsWith(View("def")));
  EXPECT_FALSE(View("abcdef").EndsWith(View("cde")));
  // A longer argument is false without a compare.
  EXPECT_FALSE(View("ab").StartsWith(View("abc")));
  EXPECT_FALSE(View("bc").EndsWith(View("abc")));
  EXPECT_TRUE(View("ab").StartsWith(ConstData()));
  EXPECT_TRUE(ConstData().EndsWith(ConstData()));
}

TEST(ConstDataTest, ContainsScansEveryPosition) {
  EXPECT_TRUE(View("hello world").Contains(View("o w")));
  EXPECT_TRUE(View("hello world").Contains(View("world")));
  EXPECT_TRUE(View("hello world").Contains(View("hello")));
  EXPECT_FALSE(View("hello world").Contains(View("worlds")));
  EXPECT_FALSE(View("aab").Contains(View("abb")));
  EXPECT_FALSE(View("ab").Contains(View("abc")));
}

TEST(ConstDataTest, EmptyViewIsContainedInAnything) {
  EXPECT_TRUE(View("abc").Contains(ConstData()));
  EXPECT_TRUE(ConstData().Contains(ConstData()));
  EXPECT_FALSE(ConstData().Contains(View("a")));
}

TEST(ConstDataTest, CopyOutTakesWhatBothSidesAllowAndReturnsTheRestOfTheSource) {
  char target[4] = {'.', '.', '.', '.'};
  ConstData const source = View("abcdef");
  ConstData const rest = source >> Data(target, 4);
  EXPECT_EQ(0, std::memcmp(target, "abcd", 4));
  EXPECT_EQ("ef", Text(rest));

  char big[8] = {};
  ConstData const none = View("xy") >> Data(big, 8);
  EXPECT_TRUE(none.Empty());
  EXPECT_EQ(std::string("xy"), std::string(big));
}

TEST(ConstDataTest, MakeStringOfANullViewIsEmpty) {
  EXPECT_EQ("", MakeString(ConstData()));
  EXPECT_EQ("abc", MakeString(View("abc")));
  unsigned char const withNul[] = {'a', 0, 'b'};
  EXPECT_EQ(std::string("a\0b", 3), MakeString(ConstData(withNul, withNul + 3)));
}

TEST(DataTest, CopyInTruncatesInSilenceAndReturnsTheRestOfTheDestination) {
  char target[6] = {'.', '.', '.', '.', '.', '.'};
  Data const rest = Data(target, 6) << View("abc");
  EXPECT_EQ(0, std::memcmp(target, "abc...", 6));
  EXPECT_EQ(3u, rest.Length());
  EXPECT_EQ(reinterpret_cast<unsigned char*>(target + 3), rest.begin);

  Data const full = Data(target, 2) << View("wxyz");
  EXPECT_EQ(0, std::memcmp(target, "wxc...", 6));
  EXPECT_TRUE(full.Empty());
}

TEST(DataTest, CopyIntoAZeroCapacityViewWritesNothing) {
  char target[2] = {'.', '.'};
  Data const empty(target, 0ul);
  Data const after = empty << View("abc");
  EXPECT_EQ(empty.begin, after.begin);
  EXPECT_EQ(empty.end, after.end);
  EXPECT_EQ('.', target[0]);
  Data const null;
  Data const nullAfter = null << View("abc");
  EXPECT_EQ(nullptr, nullAfter.begin);
}

TEST(DataTest, SourceBelowAndOverlappingTheDestinationIsCopiedBackward) {
  char bytes[] = "abcdefgh";
  unsigned char* const base = reinterpret_cast<unsigned char*>(bytes);
  // Move "abcdef" two places up, over itself.
  Data(base + 2, base + 8) << ConstData(base, base + 6);
  EXPECT_STREQ("ababcdef", bytes);
}

TEST(DataTest, SourceAboveAndOverlappingTheDestinationIsCopiedForward) {
  char bytes[] = "abcdefgh";
  unsigned char* const base = reinterpret_cast<unsigned char*>(bytes);
  Data(base, base + 6) << ConstData(base + 2, base + 8);
  EXPECT_STREQ("cdefghgh", bytes);
}

TEST(BufferTest, CursorKeepsItsStartAndMovesCurrent) {
  char target[8] = {};
  Buffer buffer(Data(target, 8));
  buffer << View("ab") << View("cd");
  EXPECT_EQ("abcd", Text(buffer.Processed()));
  EXPECT_EQ(4u, buffer.Remaining());
  EXPECT_EQ(reinterpret_cast<unsigned char*>(target), buffer.start);
}

TEST(BufferTest, AppendTruncatesAtTheEnd) {
  char target[3] = {};
  Buffer buffer(Data(target, 3));
  buffer << View("abcdef");
  EXPECT_EQ("abc", Text(buffer.Processed()));
  EXPECT_TRUE(buffer.Full());
  buffer << View("x");
  EXPECT_EQ("abc", Text(buffer.Processed()));
}

TEST(BufferTest, CursorToCursorMovesAsMuchAsFitsAndAdvancesBoth) {
  char target[4] = {};
  Buffer output(Data(target, 4));
  ConstBuffer input(View("abcdef"));
  output << input;
  EXPECT_EQ("abcd", Text(output.Processed()));
  EXPECT_EQ("abcd", Text(input.Processed()));
  EXPECT_EQ("ef", Text(input.Remainder()));

  char more[8] = {};
  Buffer second(Data(more, 8));
  second << input;
  EXPECT_EQ("ef", Text(second.Processed()));
  EXPECT_TRUE(input.Finished());
}

TEST(BigEndianTest, FieldsAreWrittenMostSignificantByteFirst) {
  unsigned char bytes[11] = {};
  unsigned short const port = 0x1F90;
  unsigned long const address = 0xC0A80001ul;
  unsigned char const count = 7;
  Data rest(bytes, sizeof bytes);
  rest = rest << BigEndian<2>(port);
  rest = rest << BigEndian<4>(address);
  rest = rest << BigEndian<1>(count);
  EXPECT_EQ(4u, rest.Length());
  unsigned char const expected[] = {0x1F, 0x90, 0xC0, 0xA8, 0x00, 0x01, 0x07};
  EXPECT_EQ(0, std::memcmp(expected, bytes, sizeof expected));
}

TEST(BigEndianTest, FieldsAreReadMostSignificantByteFirst) {
  unsigned char const bytes[] = {0x12, 0x34, 0xDE, 0xAD, 0xBE, 0xEF, 0x05, 0x00, 0x09};
  unsigned short port = 0;
  unsigned long word = 0;
  unsigned char small = 0;
  unsigned short widened = 0;
  ConstData rest(bytes, bytes + sizeof bytes);
  rest = rest >> BigEndian<2>(port);
  rest = rest >> BigEndian<4>(word);
  rest = rest >> BigEndian<1>(small);
  rest = rest >> BigEndian<1>(widened);
  EXPECT_EQ(0x1234, port);
  EXPECT_EQ(0xDEADBEEFul, word);
  EXPECT_EQ(5, small);
  EXPECT_EQ(0, widened);
  EXPECT_EQ(1u, rest.Length());
}

TEST(BigEndianTest, AFourByteLongLongFieldKeepsOnlyTheLowThirtyTwoBits) {
  unsigned char bytes[4] = {};
  long long const seconds = 0x123456789ll;
  Data(bytes, 4) << BigEndian<4>(seconds);
  unsigned char const expected[] = {0x23, 0x45, 0x67, 0x89};
  EXPECT_EQ(0, std::memcmp(expected, bytes, 4));
  long long back = -1;
  ConstData(bytes, bytes + 4) >> BigEndian<4>(back);
  EXPECT_EQ(0x23456789ll, back);
}

TEST(BigEndianTest, ReadingFourBytesFromThreeThrowsAndMovesNothing) {
  unsigned char const bytes[] = {1, 2, 3};
  unsigned long value = 77;
  ConstBuffer cursor(ConstData(bytes, bytes + 3));
  EXPECT_THROW(cursor >> BigEndian<4>(value), ConstDataTooSmall);
  EXPECT_EQ(bytes, cursor.current);
  EXPECT_EQ(77ul, value);
  EXPECT_THROW(ConstData(bytes, bytes + 3) >> BigEndian<4>(value), ConstDataTooSmall);
}

TEST(BigEndianTest, WritingIntoTooLittleRoomThrowsAndWritesNothing) {
  unsigned char bytes[3] = {9, 9, 9};
  unsigned long const value = 0x01020304ul;
  Buffer cursor(Data(bytes, 3));
  EXPECT_THROW(cursor << BigEndian<4>(value), DataTooSmall);
  EXPECT_EQ(bytes, cursor.current);
  EXPECT_EQ(9, bytes[0]);
  EXPECT_THROW(ConstData() >> BigEndian<4>(*const_cast<unsigned long*>(&value)),
               ConstDataTooSmall);
}

TEST(BigEndianTest, CursorFormsMoveCurrentPastTheField) {
  unsigned char bytes[6] = {};
  unsigned short const first = 0xABCD;
  unsigned long const second = 0x00010203ul;
  Buffer out(Data(bytes, 6));
  out << BigEndian<2>(first) << BigEndian<4>(second);
  EXPECT_TRUE(out.Full());
  unsigned short a = 0;
  unsigned long b = 0;
  ConstBuffer in(out.Processed());
  in >> BigEndian<2>(a) >> BigEndian<4>(b);
  EXPECT_EQ(0xABCD, a);
  EXPECT_EQ(0x00010203ul, b);
  EXPECT_TRUE(in.Finished());
}

}  // namespace
