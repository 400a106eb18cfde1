// Lines, contents, bytes and numeric values, called as the evaluator calls
// them, on files that each test writes.
#include "survey/files/lines.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "host/engine/registry.h"
#include "tests/unit/files/files_test_support.h"

namespace {

using survey::files::testing::Output;
using survey::files::testing::ScratchTree;
using survey::files::testing::ShellQuoted;

surveyor_string S(std::string const& text) {
  return surveyor_string{reinterpret_cast<unsigned char const*>(text.data()), text.size()};
}

std::string Text(file_line const& line) { return MakeString(line.Text()); }

// Every line of a file through the iterator, as the evaluator pulls them.
std::vector<file_line> AllLines(file const& object) {
  std::vector<file_line> lines;
  auto iterator = std::make_unique<line_iterator>();
  try {
    lines.push_back(iterator->First(object));
    for (int guard = 0; guard < 1000000; ++guard) lines.push_back(iterator->Next(object));
    ADD_FAILURE() << "the lines did not end";
  } catch (NoSuchObject const&) {
  }
  return lines;
}

std::vector<std::string> Texts(std::vector<file_line> const& lines) {
  std::vector<std::string> texts;
  for (auto const& line : lines) texts.push_back(Text(line));
  return texts;
}

class LinesTest : public ::testing::Test {
 protected:
  file Make(std::string const& name, std::string const& bytes) {
    tree.File(name, bytes);
    return file(FileLocation((tree / name).c_str()), false);
  }
  ScratchTree tree;
};

TEST_F(LinesTest, EndingsInAnyMixGiveTheirLines) {
  file const object = Make("mixed", "a\r\nb\n\rc\n\nd");
  std::vector<file_line> const lines = AllLines(object);
  EXPECT_EQ(Texts(lines), (std::vector<std::string>{"a", "b", "c", "", "d"}));
  for (std::size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i].index, static_cast<long long>(i));
    EXPECT_EQ(LineNumber(lines[i]).value, static_cast<long long>(i + 1));
  }
  // Ranges run from each line's first byte to the byte after its ending.
  std::vector<std::pair<unsigned long, unsigned long>> ranges;
  for (auto const& line : lines) ranges.emplace_back(line.range.begin, line.range.end);
  EXPECT_EQ(ranges, (std::vector<std::pair<unsigned long, unsigned long>>{
                        {0, 3}, {3, 6}, {6, 8}, {8, 9}, {9, 10}}));
}

TEST_F(LinesTest, OnlyALineFeedIsOneEmptyLineAndAnEmptyFileHasNone) {
  std::vector<file_line> const lines = AllLines(Make("lf", "\n"));
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(Text(lines[0]), "");
  EXPECT_EQ(LineNumber(lines[0]).value, 1);
  line_iterator iterator;
  file const empty = Make("empty", "");
  EXPECT_THROW(iterator.First(empty), NoSuchObject);
  EXPECT_THROW(NumberedLine(integer{1}, Of(0), empty), NoSuchObject);
}

// Some 300 KB of short and long lines in every mix of endings, with a word
// that now and then runs across a line ending: far more than one read ahead
// of the iteration, with line endings at the last byte of the line buffer.
std::string MixedText() {
  std::mt19937 random(20261123);
  char const* const words[] = {"alpha", "needle", "nee", "dle", "beta", "e", "gamma"};
  char const* const endings[] = {"\n", "\r", "\r\n", "\n\r", "\n\n", "\r\r"};
  std::string text;
  while (text.size() < 300000) {
    std::size_t const count = random() % 12 == 0 ? 600 + random() % 600 : random() % 9;
    for (std::size_t i = 0; i < count; ++i) {
      text += words[random() % 7];
      if (random() % 3 != 0) text += ' ';
    }
    text += endings[random() % 6];
  }
  return text;
}

TEST_F(LinesTest, LinesContainingAreTheLinesThatTheHostsContainsKeeps) {
  file const object = Make("mixed", MixedText());
  std::vector<file_line> const lines = AllLines(object);
  ASSERT_GT(lines.size(), 1000u);
  for (std::string const sought :
       {"needle", "e", "dle nee", "needle\nalpha", "\r", "", "no such word"}) {
    // What the lines are by their definition: each line of the file, kept
    // when the host's comparison finds the string in its text.
    std::vector<file_line const*> expected;
    for (auto const& line : lines) {
      if (Contains(line.text, S(sought)).value) expected.push_back(&line);
    }
    std::vector<file_line> found;
    auto iterator = std::make_unique<line_iterator>();
    try {
      found.push_back(iterator->FirstContaining(S(sought), Of(0), object));
      for (std::size_t guard = 0; guard <= lines.size(); ++guard) {
        found.push_back(iterator->NextContaining(S(sought), Of(0), object));
      }
      ADD_FAILURE() << "the lines did not end";
    } catch (NoSuchObject const&) {
    }
    ASSERT_EQ(found.size(), expected.size()) << "sought: " << sought;
    for (std::size_t i = 0; i < found.size(); ++i) {
      EXPECT_EQ(found[i].index, expected[i]->index) << "sought: " << sought;
      EXPECT_EQ(Text(found[i]), Text(*expected[i])) << "sought: " << sought;
      EXPECT_EQ(found[i].range.begin, expected[i]->range.begin) << "sought: " << sought;
      EXPECT_EQ(found[i].range.end, expected[i]->range.end) << "sought: " << sought;
    }
  }
}

TEST_F(LinesTest, AnIterationGivesTheLinesThatLinesByNumberGive) {
  // Lines by number read the file refill by refill, from its start; an
  // iteration reads ahead. Both hand the bytes to the same line buffer.
  file const object = Make("mixed", MixedText());
  std::vector<file_line> const lines = AllLines(object);
  ASSERT_GT(lines.size(), 1000u);
  for (std::size_t i = 0; i < lines.size(); i += i + 97 < lines.size() ? 97 : 1) {
    file_line const numbered =
        NumberedLine(integer{static_cast<long long>(i + 1)}, Of(0), object);
    EXPECT_EQ(Text(numbered), Text(lines[i])) << "line " << i + 1;
    EXPECT_EQ(numbered.range.begin, lines[i].range.begin) << "line " << i + 1;
    EXPECT_EQ(numbered.range.end, lines[i].range.end) << "line " << i + 1;
  }
  EXPECT_THROW(NumberedLine(integer{static_cast<long long>(lines.size() + 1)}, Of(0), object),
               NoSuchObject);
}

TEST_F(LinesTest, ALongLineComesInPiecesOfTheBufferSize) {
  std::string line;
  for (int i = 0; i < 5000; ++i) line += static_cast<char>('a' + i % 26);
  file const object = Make("long", line);
  std::vector<file_line> const lines = AllLines(object);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(Text(lines[0]), line.substr(0, 2048));
  EXPECT_EQ(Text(lines[1]), line.substr(2048, 2048));
  EXPECT_EQ(Text(lines[2]), line.substr(4096));
  EXPECT_EQ(Text(lines[2]).size(), 904u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(LineNumber(lines[i]).value, i + 1);
  EXPECT_EQ(Text(NumberedLine(integer{3}, Of(0), object)), line.substr(4096));
}

TEST_F(LinesTest, LineZeroIsNoValueAndANegativeNumberIsTheFirstLine) {
  file const object = Make("three", "one\ntwo\nthree\n");
  EXPECT_THROW(NumberedLine(integer{0}, Of(0), object), NoSuchObject);
  EXPECT_THROW(NumberedLine(integer{4}, Of(0), object), NoSuchObject);
  file_line const first = NumberedLine(integer{-1}, Of(0), object);
  EXPECT_EQ(Text(first), "one");
  EXPECT_EQ(LineNumber(first).value, -1);
  EXPECT_EQ(Text(NumberedLine(integer{-50}, Of(0), object)), "one");
  EXPECT_EQ(Text(NumberedLine(integer{3}, Of(0), object)), "three");
}

TEST_F(LinesTest, NeighboursAgreeWithNumberedLines) {
  file const object = Make("n", "one\r\ntwo\nthree");
  file_line const one = NumberedLine(integer{1}, Of(0), object);
  file_line const two = NumberedLine(integer{2}, Of(0), object);
  file_line const next = NextLine(one);
  EXPECT_EQ(Text(next), Text(two));
  EXPECT_EQ(LineNumber(next).value, LineNumber(two).value);
  EXPECT_EQ(next.range, two.range);
  file_line const previous = PreviousLine(two);
  EXPECT_EQ(LineNumber(previous).value, 1);
  EXPECT_EQ(Text(previous), "one");
  EXPECT_EQ(previous.range, one.range);
  EXPECT_THROW(PreviousLine(one), NoSuchObject);
  file_line const three = NextLine(two);
  EXPECT_EQ(Text(three), "three");
  EXPECT_THROW(NextLine(three), NoSuchObject);
}

TEST_F(LinesTest, NeighboursOutliveTheirIteratorOnTheSharedFile) {
  file const object = Make("shared", "a\nb\nc\n");
  std::vector<file_line> lines;
  {
    line_iterator iterator;
    lines.push_back(iterator.First(object));
    lines.push_back(iterator.Next(object));
  }
  EXPECT_TRUE(lines[1].path->IsOpen());
  EXPECT_EQ(Text(NextLine(lines[1])), "c");
  EXPECT_EQ(Text(PreviousLine(lines[1])), "a");
}

TEST_F(LinesTest, APreviousLineLongerThanTheBufferComesBackCutAtItsFront) {
  file const object = Make("prev", std::string(3000, 'x') + "\r\nshort\r\n");
  std::vector<file_line> const lines = AllLines(object);
  ASSERT_EQ(Texts(lines).back(), "short");
  ASSERT_EQ(lines.back().range.begin, 3002u);
  // The walk starts 2048 bytes back: 2046 bytes of text and the pair.
  file_line const previous = PreviousLine(lines.back());
  EXPECT_EQ(Text(previous), std::string(2046, 'x'));
  EXPECT_EQ(previous.range.begin, 954u);
  EXPECT_EQ(previous.range.end, 3002u);
  EXPECT_EQ(previous.index, lines.back().index - 1);
}

TEST_F(LinesTest, APreviousLineEndedByOneByteIsReadWhole) {
  // The walk starts 2048 bytes back, where the previous line's LF is the
  // 2048th byte; the line comes back whole, with its own range.
  std::string const before(2040, 'p');
  std::string const head(100, 'h');
  file const object = Make("lf", head + "\n" + before + "\nnext\n");
  std::vector<file_line> const lines = AllLines(object);
  ASSERT_EQ(Texts(lines), (std::vector<std::string>{head, before, "next"}));
  ASSERT_EQ(lines[2].range.begin, 2142u);
  file_line const previous = PreviousLine(lines[2]);
  EXPECT_EQ(Text(previous), before);
  EXPECT_EQ(previous.range, lines[1].range);
  EXPECT_EQ(LineNumber(previous).value, 2);
  // A previous line longer than 2048 bytes, ended by an LF, comes back cut
  // at its front to the 2047 bytes in front of its LF.
  file const longer = Make("longer", std::string(3000, 'q') + "\nlast\n");
  std::vector<file_line> const two = AllLines(longer);
  ASSERT_EQ(Texts(two).back(), "last");
  file_line const cut = PreviousLine(two.back());
  EXPECT_EQ(Text(cut), std::string(2047, 'q'));
  EXPECT_EQ(cut.range.begin, 953u);
  EXPECT_EQ(cut.range.end, 3001u);
}

TEST_F(LinesTest, LinesStartingWithAndContainingTestEachLine) {
  file const object = Make("f", "apple pie\nbanana\napricot\ncherry apple\n");
  line_iterator starting;
  std::vector<std::string> found;
  try {
    found.push_back(Text(starting.FirstStartingWith(S("ap"), Of(0), object)));
    for (;;) found.push_back(Text(starting.NextStartingWith(S("ap"), Of(0), object)));
  } catch (NoSuchObject const&) {
  }
  EXPECT_EQ(found, (std::vector<std::string>{"apple pie", "apricot"}));

  line_iterator containing;
  found.clear();
  file_line first = containing.FirstContaining(S("apple"), Of(0), object);
  EXPECT_EQ(LineNumber(first).value, 1);
  file_line second = containing.NextContaining(S("apple"), Of(0), object);
  EXPECT_EQ(Text(second), "cherry apple");
  EXPECT_EQ(LineNumber(second).value, 4);
  EXPECT_EQ(second.range.begin, 25u);
  EXPECT_THROW(containing.NextContaining(S("apple"), Of(0), object), NoSuchObject);

  line_iterator none;
  EXPECT_THROW(none.FirstContaining(S("\n"), Of(0), object), NoSuchObject);
}

TEST_F(LinesTest, AFileThatCannotBeOpenedRaisesItsFileError) {
  file const object = Make("gone", "x\n");
  ASSERT_EQ(0, ::unlink((tree / "gone").c_str()));
  line_iterator iterator;
  EXPECT_THROW(iterator.First(object), FileNotFoundError);
  EXPECT_THROW(NumberedLine(integer{1}, Of(0), object), FileNotFoundError);
  EXPECT_THROW(Contains(content_of(object), S("x")), FileNotFoundError);
  EXPECT_TRUE(Contains(content_of(object), S("")).value);
  EXPECT_THROW(byte_of(0, object), NoSuchObject);
}

TEST_F(LinesTest, KmsgIsRefusedAsAFileError) {
  if (Output("test -f /proc/kmsg && echo yes || true") != "yes\n") {
    GTEST_SKIP() << "/proc/kmsg is not a file here";
  }
  file const kmsg(FileLocation("/proc/kmsg"), false);
  line_iterator iterator;
  EXPECT_THROW(iterator.First(kmsg), FileIOError);
  EXPECT_THROW(Contains(content_of(kmsg), S("x")), FileIOError);
}

TEST_F(LinesTest, ProcFilesWithoutALengthAreReadToTheirEnd) {
  file const status(FileLocation("/proc/self/status"), false);
  std::vector<std::string> const texts = Texts(AllLines(status));
  std::vector<std::string> names;
  for (auto const& text : texts) names.push_back(text.substr(0, text.find(':')));
  std::vector<std::string> expected = survey::files::testing::Split(
      Output("cut -d: -f1 /proc/self/status"), '\n');
  EXPECT_EQ(names, expected);
  EXPECT_TRUE(Contains(content_of(status), S("VmRSS:")).value);
  EXPECT_FALSE(Contains(content_of(status), S("no such name in there")).value);
}

TEST_F(LinesTest, ContainsFindsAStringAcrossTheWindowBorder) {
  std::string bytes(40000, '.');
  bytes.replace(32768 - 3, 6, "needle");
  file const object = Make("straddle", bytes);
  EXPECT_TRUE(Contains(content_of(object), S("needle")).value);
  EXPECT_FALSE(Contains(content_of(object), S("needles")).value);
  EXPECT_TRUE(Contains(content_of(object), S("..needle..")).value);
  // At the very end and the very start.
  file const ends = Make("ends", "start" + std::string(100000, ' ') + "finish");
  EXPECT_TRUE(Contains(content_of(ends), S("start")).value);
  EXPECT_TRUE(Contains(content_of(ends), S("finish")).value);
  EXPECT_FALSE(Contains(content_of(Make("short", "fin")), S("finish")).value);
  EXPECT_FALSE(Contains(content_of(Make("none", "")), S("x")).value);
}

TEST_F(LinesTest, TheEmptyStringIsInEveryFileAndOverlongStringsAreNoValue) {
  file const object = Make("any", "whatever");
  EXPECT_TRUE(Contains(content_of(object), S("")).value);
  EXPECT_TRUE(Contains(AsUppercase(content_of(object)), S("")).value);
  EXPECT_THROW(Contains(content_of(object), S(std::string(32769, 'w'))), NoSuchObject);
  EXPECT_FALSE(Contains(content_of(object), S(std::string(32768, 'w'))).value);
  file const big = Make("big", std::string(70000, 'w'));
  EXPECT_TRUE(Contains(content_of(big), S(std::string(32768, 'w'))).value);
}

TEST_F(LinesTest, CaseModesFoldTheFileButNotTheString) {
  file const object = Make("cased", "Hello World abc");
  content const plain = content_of(object);
  EXPECT_EQ(plain.mode, 0);
  EXPECT_FALSE(Contains(plain, S("hello")).value);
  EXPECT_TRUE(Contains(AsLowercase(plain), S("hello")).value);
  EXPECT_FALSE(Contains(AsLowercase(plain), S("Hello")).value);
  EXPECT_TRUE(Contains(AsUppercase(plain), S("HELLO WORLD ABC")).value);
  // Folded text has no lower-case letters, so a lower-case string is never
  // found.
  EXPECT_FALSE(Contains(AsUppercase(plain), S("abc")).value);
  // A later mode replaces an earlier one.
  EXPECT_EQ(AsUppercase(AsLowercase(plain)).mode, 2);
  EXPECT_EQ(AsLowercase(AsUppercase(plain)).mode, 1);
  EXPECT_EQ(AsLowercase(plain).object, &object);
}

TEST_F(LinesTest, BytesAreReadAtTheirOffsets) {
  std::string bytes;
  for (int i = 0; i < 300; ++i) bytes += static_cast<char>(i * 7);
  file const object = Make("bytes", bytes);
  for (unsigned long long i : {0ull, 1ull, 150ull, 299ull}) {
    std::string const od = Output("od -An -tu1 -j" + std::to_string(i) + " -N1 " +
                                  ShellQuoted(tree / "bytes") + " | tr -d ' \\n'");
    EXPECT_EQ(std::to_string(byte_of(i, object).value), od) << i;
  }
  EXPECT_THROW(byte_of(300, object), NoSuchObject);
  EXPECT_THROW(byte_of(1ull << 33, object), NoSuchObject);
  // The size is the one the object's look gave.
  file const grown = Make("grown", "ab");
  tree.File("grown", "abcdef");
  EXPECT_THROW(byte_of(3, grown), NoSuchObject);
}

TEST_F(LinesTest, NumericValuesReadTheFirstRunOfDigits) {
  EXPECT_EQ(numeric_value_of(S("v12.7")).value, 12);
  EXPECT_EQ(numeric_value_of(S("-5")).value, 5);
  EXPECT_EQ(numeric_value_of(S("007")).value, 7);
  EXPECT_EQ(numeric_value_of(S("abc 42 17")).value, 42);
  EXPECT_EQ(numeric_value_of(S("9223372036854775807")).value, 9223372036854775807LL);
  EXPECT_THROW(numeric_value_of(S("9223372036854775808")), NoSuchObject);
  EXPECT_THROW(numeric_value_of(S("21000000000000000000")), NoSuchObject);
  EXPECT_THROW(numeric_value_of(S("99999999999999999999999")), NoSuchObject);
  EXPECT_THROW(numeric_value_of(S("no digits")), NoSuchObject);
  EXPECT_THROW(numeric_value_of(S("")), NoSuchObject);
  EXPECT_EQ(numeric_value_of(S(std::string("\0" "3", 2))).value, 3);
}

TEST_F(LinesTest, AFileThatShrinksWhileItIsReadEndsItsLines) {
  std::string text;
  for (int i = 0; i < 2000; ++i) text += "line number " + std::to_string(i) + "\n";
  file const object = Make("shrinks", text);
  line_iterator iterator;
  file_line first = iterator.First(object);
  ASSERT_EQ(0, ::truncate((tree / "shrinks").c_str(), 3000));
  int count = 1;
  try {
    for (; count < 100000; ++count) iterator.Next(object);
  } catch (NoSuchObject const&) {
  }
  EXPECT_LT(count, 2000);
  EXPECT_FALSE(Contains(content_of(object), S("line number 1999")).value);
}

// Bytes of lines of random lengths, up to past twice the buffer, each ended
// by one of the endings or by none where it is the last; among them lines
// that end exactly on a 2048-byte border.
std::string RandomLines(unsigned seed, int count, bool finalEnding,
                        std::vector<std::string> const& endings = {"\n", "\r\n", "\n\r", "\r",
                                                                   "\r\r", "\n\n"}) {
  std::mt19937 random(seed);
  std::string text;
  for (int i = 0; i < count; ++i) {
    std::size_t length = random() % 8 == 0 ? random() % 5000 : random() % 80;
    // Now and then a line whose ending lands on the last byte of a
    // 2048-byte block of the file.
    if (random() % 16 == 0) length = 2047 - text.size() % 2048;
    for (std::size_t k = 0; k < length; ++k) text += static_cast<char>('a' + random() % 26);
    if (i + 1 < count || finalEnding) text += endings[random() % endings.size()];
  }
  return text;
}

// The file's lines as Next gives them, then a pass over `skip` of them
// from the first on, and the line Next gives after that pass.
void ExpectPassAsNext(file const& object, unsigned long skip) {
  std::vector<file_line> const lines = AllLines(object);
  ASSERT_FALSE(lines.empty());
  line_iterator iterator;
  iterator.First(object);
  unsigned long const passed = iterator.PassOver(skip, object);
  unsigned long const left = lines.size() - 1;
  EXPECT_EQ(skip < left ? skip : left, passed) << skip;
  if (passed < skip) {
    EXPECT_THROW(iterator.Next(object), NoSuchObject);
    EXPECT_EQ(0u, iterator.PassOver(skip, object));
    return;
  }
  if (1 + passed == lines.size()) {
    EXPECT_THROW(iterator.Next(object), NoSuchObject);
    return;
  }
  file_line const after = iterator.Next(object);
  file_line const& expected = lines[1 + passed];
  EXPECT_EQ(Text(expected), Text(after)) << skip;
  EXPECT_EQ(expected.index, after.index) << skip;
  EXPECT_EQ(expected.range.begin, after.range.begin) << skip;
  EXPECT_EQ(expected.range.end, after.range.end) << skip;
}

TEST_F(LinesTest, APassOverLinesMovesOnAsNextDoes) {
  // Every ending in any mix; LF alone, which the pass searches for alone
  // in a buffer without CR; and LF with a CR LF now and then, so that some
  // buffers hold a CR and others none.
  std::vector<std::string> const lineFeeds{"\n", "\n\n"};
  std::vector<std::string> rareReturns(200, "\n");
  rareReturns.push_back("\r\n");
  for (unsigned seed = 1; seed <= 10; ++seed) {
    std::string const text = seed <= 6   ? RandomLines(seed, 3000, seed % 2 == 0)
                             : seed <= 8 ? RandomLines(seed, 3000, seed % 2 == 0, lineFeeds)
                                         : RandomLines(seed, 3000, seed % 2 == 0, rareReturns);
    file const object = Make("random" + std::to_string(seed), text);
    unsigned long const count = AllLines(object).size();
    for (unsigned long skip : {0UL, 1UL, 2UL, 17UL, 1000UL, count - 2, count - 1, count, 1UL << 30}) {
      ExpectPassAsNext(object, skip);
    }
  }
}

TEST_F(LinesTest, APassCountsCutLinesAndEndingsOnTheBufferBorder) {
  // A line of 5000 bytes comes in three pieces; an LF as the last byte of
  // the first buffer is dropped and runs the next line on.
  file const longLine = Make("long", std::string(5000, 'a') + "\nb\n");
  file const border = Make("border", std::string(2040, 'a') + "\n" + "bbbbbb\ncccc\ndd\n");
  file const open = Make("open", "a\r\nb");
  file const crlf = Make("crlf", "a\r\n\r\nb\r\n");
  for (file const* object : {&longLine, &border, &open, &crlf}) {
    std::size_t const count = AllLines(*object).size();
    line_iterator iterator;
    iterator.First(*object);
    EXPECT_EQ(count - 1, iterator.PassOver(1000, *object));
  }
  EXPECT_EQ(4u, AllLines(longLine).size());
  EXPECT_EQ(3u, AllLines(border).size());
  EXPECT_EQ(2u, AllLines(open).size());
  EXPECT_EQ(3u, AllLines(crlf).size());
}

// A line as the rules of the 2048-byte buffer give it, worked out here on
// the whole text in memory, step by step as those rules say: the buffer is
// filled from the file; a line runs to the first CR or LF; its ending is
// that byte, or with the next one a pair when that differs and is CR or LF,
// or nothing when the byte is the buffer's last and the file goes on; a
// line without an ending that starts at the buffer's start, or the file's
// last, stays as it is; any other moves its text to the buffer's start and
// the buffer is filled again behind it.
struct ModelLine {
  std::string text;
  unsigned long begin;
  unsigned long end;
};

// `borders`, when given, gets for each fill the place in the file where
// the buffer's room ends: where its bytes end, unless the file ends first.
std::vector<ModelLine> ModelLines(std::string const& file,
                                  std::vector<std::size_t>* borders = nullptr) {
  constexpr std::size_t kSize = 2048;
  std::string buffer;
  std::size_t read = 0;
  auto fill = [&](std::string const& kept) {
    if (borders != nullptr) borders->push_back(read + kSize - kept.size());
    std::string const more = file.substr(read, kSize - kept.size());
    read += more.size();
    buffer = kept + more;
  };
  auto isEnd = [](char c) { return c == '\r' || c == '\n'; };
  // The present line: from `start` to `stop`, then `ending` bytes.
  std::size_t start = 0;
  std::size_t stop = 0;
  std::size_t ending = 0;
  auto scan = [&](std::size_t lineStart, std::size_t from) {
    start = lineStart;
    stop = from;
    while (stop < buffer.size() && !isEnd(buffer[stop])) ++stop;
    std::size_t const rest = buffer.size() - stop;
    if (rest == 0) {
      ending = 0;
    } else if (rest == 1) {
      ending = read == file.size() ? 1 : 0;
    } else {
      char const first = buffer[stop];
      char const second = buffer[stop + 1];
      ending = second != first && isEnd(second) ? 2 : 1;
    }
  };
  fill("");
  scan(0, 0);
  std::vector<ModelLine> lines;
  unsigned long offset = 0;
  while (stop != start || ending != 0) {
    unsigned long const count = stop + ending - start;
    lines.push_back({buffer.substr(start, stop - start), offset, offset + count});
    offset += count;
    scan(stop + ending, stop + ending);
    if (ending == 0 && start != 0 && read != file.size()) {
      std::string const kept = buffer.substr(start, stop - start);
      fill(kept);
      scan(0, kept.size());
    }
  }
  return lines;
}

// Lines whose endings land on or next to the last byte of the buffer as it
// is refilled, wherever the refills fall, with every kind of ending: the
// model above tells where they fall.
std::string BorderLines(unsigned seed, std::size_t size) {
  std::mt19937 random(seed);
  std::vector<std::string> const endings{"\n", "\r\n", "\n\r", "\r", "\r\r", "\n\n"};
  std::string text;
  while (text.size() < size) {
    std::size_t length = random() % 8 == 0 ? 2048 + random() % 3000 : random() % 60;
    if (random() % 3 == 0) {
      // Where the buffer's room ends after its last fill over the text so
      // far; a line aimed at it ends two or one bytes before its last
      // byte, on it, or just past it.
      std::vector<std::size_t> borders;
      ModelLines(text, &borders);
      std::size_t const target = borders.back() - 1 - random() % 3 + random() % 2;
      if (target > text.size()) length = target - text.size();
    }
    for (std::size_t k = 0; k < length; ++k) text += static_cast<char>('a' + random() % 26);
    text += endings[random() % endings.size()];
  }
  return text;
}

TEST_F(LinesTest, LinesAreThoseOfTheBufferRulesWhereverItsRefillsFall) {
  // Files over many read-ahead blocks: lines of random lengths in every
  // ending, long lines that are cut, and endings aimed at the buffer's
  // borders; each line, its text and range, as the model of the buffer
  // gives it, through Next and through passes of many sizes.
  std::vector<std::string> texts;
  for (unsigned seed = 1; seed <= 4; ++seed) texts.push_back(RandomLines(seed, 1500, seed % 2 == 0));
  for (unsigned seed = 5; seed <= 8; ++seed) texts.push_back(BorderLines(seed, 150000));
  texts.push_back(std::string(70000, '\n'));
  texts.push_back(std::string(2047, 'a') + "\n" + std::string(2046, 'b') + "\r\n" + "c");
  for (std::size_t i = 0; i < texts.size(); ++i) {
    std::string const& text = texts[i];
    file const object = Make("model" + std::to_string(i), text);
    std::vector<ModelLine> const model = ModelLines(text);
    std::vector<file_line> const lines = AllLines(object);
    if (i >= 4 && i < 8) {
      // The endings aimed at the borders dropped a byte many times: the
      // last line ends that many bytes short of the file's end.
      EXPECT_LT(model.back().end + 20, text.size()) << i;
    }
    ASSERT_EQ(model.size(), lines.size()) << i;
    for (std::size_t k = 0; k < lines.size(); ++k) {
      ASSERT_EQ(model[k].text, Text(lines[k])) << i << " line " << k;
      ASSERT_EQ(model[k].begin, lines[k].range.begin) << i << " line " << k;
      ASSERT_EQ(model[k].end, lines[k].range.end) << i << " line " << k;
    }
    // Passes of odd sizes, then Next, land on the model's lines.
    for (unsigned long step : {1UL, 7UL, 31UL, 33UL, 1000UL}) {
      line_iterator iterator;
      iterator.First(object);
      unsigned long at = 0;
      for (;;) {
        unsigned long const passed = iterator.PassOver(step, object);
        at += passed;
        if (passed < step) break;
        if (at + 1 >= model.size()) continue;
        file_line const next = iterator.Next(object);
        ++at;
        ASSERT_EQ(model[at].text, Text(next)) << i << " step " << step << " line " << at;
        ASSERT_EQ(model[at].begin, next.range.begin) << i << " step " << step << " line " << at;
        ASSERT_EQ(static_cast<long long>(at), next.index) << i << " step " << step;
      }
      EXPECT_EQ(model.size(), at + 1) << i << " step " << step;
    }
  }
}

TEST_F(LinesTest, APassOverAFileThatChangesSeesWhatNextSees) {
  // Files larger than the read-ahead, changed after the first line: the
  // pass ends where Next ends, whether the file shrank or grew.
  std::string text;
  for (int i = 0; i < 30000; ++i) text += "line number " + std::to_string(i) + "\n";
  ASSERT_GT(text.size(), 4u * 0x10000);
  for (long size : {3000L, 200000L, static_cast<long>(text.size()) * 2}) {
    std::vector<unsigned long> counts;
    for (bool pass : {false, true}) {
      std::string const name = "changes" + std::to_string(size) + (pass ? "pass" : "next");
      file const object = Make(name, text);
      line_iterator iterator;
      iterator.First(object);
      ASSERT_EQ(0, ::truncate((tree / name).c_str(), size));
      // A file that grew also takes more lines at its end.
      if (size > static_cast<long>(text.size())) {
        std::FILE* const out = std::fopen((tree / name).c_str(), "ab");
        ASSERT_NE(nullptr, out);
        std::fputs("one more line\r\nand another\n", out);
        std::fclose(out);
      }
      unsigned long count = 1;
      if (pass) {
        count += iterator.PassOver(1UL << 30, object);
      } else {
        try {
          for (; count < 1000000; ++count) iterator.Next(object);
        } catch (NoSuchObject const&) {
        }
      }
      counts.push_back(count);
    }
    EXPECT_EQ(counts[0], counts[1]) << size;
  }
}

}  // namespace

// ---------------------------------------------------------------------------
// Registration: the two types, then every row in table order, with the
// marker on the rows whose result follows from their operands alone.

namespace {

using survey::host::PropertyEntry;
using survey::host::PropertyKind;
using survey::host::RecordKind;
using survey::host::Registry;
using survey::host::RegistryEvent;

TEST(LinesRegistrationTest, TypesAndRowsComeInTableOrder) {
  std::vector<RegistryEvent> events;
  for (RegistryEvent const& event : Registry::Default().Journal()) {
    if (events.empty() && !(event.kind == RecordKind::kType && event.name == "file line")) continue;
    if (events.size() == 15) break;
    events.push_back(event);
  }
  ASSERT_EQ(15u, events.size());
  struct Expected {
    RecordKind kind;
    char const* name;
  };
  std::vector<Expected> const order = {
      {RecordKind::kType, "file line"},          {RecordKind::kType, "file content"},
      {RecordKind::kProperty, "line number"},    {RecordKind::kProperty, "previous line"},
      {RecordKind::kProperty, "next line"},      {RecordKind::kProperty, "line"},
      {RecordKind::kProperty, "line"},           {RecordKind::kProperty, "line starting with"},
      {RecordKind::kProperty, "line containing"}, {RecordKind::kProperty, "content"},
      {RecordKind::kCast, "uppercase"},          {RecordKind::kCast, "lowercase"},
      {RecordKind::kOperator, "operator 11"},    {RecordKind::kProperty, "byte"},
      {RecordKind::kProperty, "numeric value"}};
  for (std::size_t i = 0; i < order.size(); ++i) {
    EXPECT_EQ(order[i].kind, events[i].kind) << i;
    EXPECT_EQ(order[i].name, events[i].name) << i;
  }

  auto property = [](void* record) -> PropertyEntry const* {
    for (PropertyEntry const* each : Registry::Default().Properties()) {
      if (each->record == record) return each;
    }
    return nullptr;
  };
  struct Row {
    std::size_t event;
    char const* plural;
    char const* index;
    char const* object;
    char const* result;
    PropertyKind kind;
    bool marked;
  };
  PropertyKind const simple = PropertyKind::kSimple;
  PropertyKind const iterated = PropertyKind::kIterated;
  std::vector<Row> const rows = {
      {2, "line numbers", "", "file line", "integer", simple, true},
      {3, "previous lines", "", "file line", "file line", simple, false},
      {4, "next lines", "", "file line", "file line", simple, false},
      {5, "lines", "integer", "file", "file line", simple, false},
      {6, "lines", "", "file", "file line", iterated, false},
      {7, "lines starting with", "string", "file", "file line", iterated, false},
      {8, "lines containing", "string", "file", "file line", iterated, false},
      {9, "contents", "", "file", "file content", simple, false},
      {13, "bytes", "integer", "file", "integer", simple, true},
      {14, "numeric values", "", "string", "integer", simple, true}};
  for (Row const& row : rows) {
    PropertyEntry const* const entry = property(events[row.event].record);
    ASSERT_NE(nullptr, entry) << row.plural;
    EXPECT_EQ(row.plural, entry->plural);
    EXPECT_EQ(row.index, entry->index) << row.plural;
    EXPECT_EQ(row.object, entry->object) << row.plural;
    EXPECT_EQ(row.result, entry->result) << row.plural;
    EXPECT_EQ(row.kind, entry->kind) << row.plural;
    EXPECT_EQ(row.marked, entry->dependency == &DependsOnlyOnParameters) << row.plural;
  }
  EXPECT_EQ(sizeof(line_iterator), property(events[6].record)->stateSize);

  survey::host::TypeEntry const* const line = Registry::Default().FindType("file line");
  ASSERT_NE(nullptr, line);
  EXPECT_EQ("string", line->baseName);
  EXPECT_NE(nullptr, line->fingerprint);
  survey::host::TypeEntry const* const content = Registry::Default().FindType("file content");
  ASSERT_NE(nullptr, content);
  EXPECT_EQ("", content->baseName);
  EXPECT_NE(nullptr, content->fingerprint);
  // A line reads as a string: its text comes first.
  EXPECT_EQ(0u, offsetof(file_line, text));
}

}  // namespace
