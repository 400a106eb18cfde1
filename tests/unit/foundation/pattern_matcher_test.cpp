// The streaming substring search.

#include "survey/foundation/pattern_matcher.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

ConstData View(std::string const& text) { return ConstData(text.data(), text.size()); }

// The end offsets in the whole text of every match, found by feeding the
// text to a MatchLoop in blocks of the given sizes, used in turn.
std::vector<unsigned long> StreamMatches(std::string const& target, std::string const& text,
                                         std::vector<unsigned long> const& sizes) {
  PatternMatcher matcher(View(target));
  MatchLoop loop(matcher);
  std::vector<unsigned long> ends;
  unsigned long offset = 0;
  std::size_t turn = 0;
  bool first = true;
  do {
    unsigned long size = sizes[turn++ % sizes.size()];
    if (size > text.size() - offset) size = text.size() - offset;
    ConstData const block(text.data() + offset, size);
    if (first) {
      loop.Start(block);
      first = false;
    } else {
      loop.Continue(block);
    }
    for (; loop.Found(); ++loop) ends.push_back(offset + (loop.MatchEnd() - block.begin));
    offset += size;
  } while (offset < text.size());
  return ends;
}

// The same by the plain definition.
std::vector<unsigned long> NaiveMatches(std::string const& target, std::string const& text) {
  std::vector<unsigned long> ends;
  for (std::size_t at = text.find(target); at != std::string::npos; at = text.find(target, at + 1)) {
    ends.push_back(at + target.size());
  }
  return ends;
}

TEST(PatternMatcherTest, SkipTableTakesTheRightmostOccurrenceBeforeTheLastByte) {
  std::string const target = "abcab";
  PatternMatcher matcher(View(target));
  EXPECT_EQ(1, matcher.Skip('a'));  // at 3, one before the last byte
  EXPECT_EQ(3, matcher.Skip('b'));  // at 1; the last byte itself does not count
  EXPECT_EQ(2, matcher.Skip('c'));
  EXPECT_EQ(5, matcher.Skip('z'));
}

TEST(PatternMatcherTest, AllMatchesInOneBlock) {
  std::string const text = "xxabcabcabyy";
  std::string const target = "abcab";
  PatternMatcher matcher(View(target));
  MatchLoop loop(matcher, View(text));
  ASSERT_TRUE(loop.Found());
  EXPECT_EQ(7, loop.MatchEnd() - View(text).begin);
  ++loop;
  ASSERT_TRUE(loop.Found());
  EXPECT_EQ(10, loop.MatchEnd() - View(text).begin);
  ++loop;
  EXPECT_FALSE(loop.Found());
  // The block ends in "yy": nothing is carried.
  EXPECT_EQ(0u, loop.Carry());
}

TEST(PatternMatcherTest, PartialMatchAtTheEndIsCarried) {
  std::string const text = "zzzwor";
  std::string const target = "world";
  PatternMatcher matcher(View(target));
  MatchLoop loop(matcher, View(text));
  EXPECT_FALSE(loop.Found());
  EXPECT_EQ(3u, loop.Carry());
}

TEST(PatternMatcherTest, TargetSplitOverTwoBlocksIsFoundThroughContinue) {
  std::string const first = "hello wor";
  std::string const second = "ld!";
  std::string const target = "world";
  PatternMatcher matcher(View(target));
  MatchLoop loop(matcher, View(first));
  EXPECT_FALSE(loop.Found());
  loop.Continue(View(second));
  ASSERT_TRUE(loop.Found());
  EXPECT_EQ(2, loop.MatchEnd() - View(second).begin);
}

TEST(PatternMatcherTest, TargetSpanningThreeBlocksIsFound) {
  std::string const target = "world";
  PatternMatcher matcher(View(target));
  std::string const a = "xwo";
  std::string const b = "r";
  std::string const c = "ldx";
  MatchLoop loop(matcher, View(a));
  EXPECT_FALSE(loop.Found());
  loop.Continue(View(b));
  EXPECT_FALSE(loop.Found());
  EXPECT_EQ(3u, loop.Carry());
  loop.Continue(View(c));
  ASSERT_TRUE(loop.Found());
  EXPECT_EQ(2, loop.MatchEnd() - View(c).begin);
}

TEST(PatternMatcherTest, AFalseStartAcrossTheBoundaryIsNotAMatch) {
  std::string const target = "abcd";
  PatternMatcher matcher(View(target));
  std::string const a = "xxab";
  std::string const b = "xd";
  MatchLoop loop(matcher, View(a));
  EXPECT_EQ(2u, loop.Carry());
  loop.Continue(View(b));
  EXPECT_FALSE(loop.Found());
  EXPECT_EQ(0u, loop.Carry());
}

TEST(PatternMatcherTest, TargetThatFillsABlockExactlyIsFoundAtItsEnd) {
  std::string const text = "needle";
  PatternMatcher matcher(View(text));
  MatchLoop loop(matcher, View(text));
  ASSERT_TRUE(loop.Found());
  EXPECT_EQ(View(text).end, loop.MatchEnd());
}

TEST(PatternMatcherTest, TargetLongerThan255BytesMatchesWithASmallerSkip) {
  std::string target;
  for (int i = 0; i < 300; ++i) target += static_cast<char>('a' + (i * 7) % 26);
  std::string const text = std::string(1000, '-') + target + std::string(10, '-');
  PatternMatcher matcher(View(target));
  for (int value = 0; value < 256; ++value) {
    EXPECT_LE(matcher.Skip(static_cast<unsigned char>(value)), 255);
  }
  EXPECT_EQ(255, matcher.Skip('-'));
  MatchLoop loop(matcher, View(text));
  ASSERT_TRUE(loop.Found());
  EXPECT_EQ(1300, loop.MatchEnd() - View(text).begin);
  ++loop;
  EXPECT_FALSE(loop.Found());
}

TEST(PatternMatcherTest, OverlappingMatchesAreAllFound) {
  std::string const text = "aaaaa";
  EXPECT_EQ((std::vector<unsigned long>{3, 4, 5}), StreamMatches("aaa", text, {100}));
  EXPECT_EQ((std::vector<unsigned long>{3, 4, 5}), StreamMatches("aaa", text, {1}));
  EXPECT_EQ((std::vector<unsigned long>{3, 4, 5}), StreamMatches("aaa", text, {2}));
}

TEST(PatternMatcherTest, AnEmptyBlockKeepsTheCarry) {
  std::string const target = "abc";
  PatternMatcher matcher(View(target));
  std::string const a = "ab";
  std::string const c = "c";
  MatchLoop loop(matcher, View(a));
  loop.Continue(ConstData());
  EXPECT_EQ(2u, loop.Carry());
  loop.Continue(View(c));
  EXPECT_TRUE(loop.Found());
}

TEST(PatternMatcherTest, StreamedSearchAgreesWithThePlainDefinition) {
  std::mt19937 random(20240611);
  std::vector<std::string> const targets = {"a",    "ab",   "aa",    "aba",   "abab",
                                            "aab",  "baa",  "abba",  "aaaab", "babab",
                                            "abaababaab"};
  std::vector<std::vector<unsigned long>> const splits = {{1}, {2}, {3}, {1, 4}, {5, 2, 1}, {7},
                                                          {64}};
  int compared = 0;
  for (int round = 0; round < 200; ++round) {
    std::string text;
    std::size_t const length = 1 + random() % 60;
    for (std::size_t i = 0; i < length; ++i) text += "ab"[random() % 2];
    for (std::string const& target : targets) {
      std::vector<unsigned long> const expected = NaiveMatches(target, text);
      for (auto const& sizes : splits) {
        EXPECT_EQ(expected, StreamMatches(target, text, sizes))
            << "target " << target << " in " << text << " split by " << sizes[0];
        ++compared;
      }
    }
  }
  EXPECT_EQ(200 * 11 * 7, compared);
}

}  // namespace
