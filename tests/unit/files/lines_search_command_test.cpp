// Lines tested against a regular expression through the survey command, on
// generated files: the counts and line numbers grep, awk and fold give, and
// those of the same test written so that it is evaluated for every line
// ("true and ..."), which no search for the pattern's bytes can take up.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/repeatable_random.h"
#include "tests/unit/files/files_test_support.h"

namespace {

using survey::files::testing::Answer;
using survey::files::testing::Ask;
using survey::files::testing::One;
using survey::files::testing::Output;
using survey::files::testing::QueryString;
using survey::files::testing::ScratchTree;
using survey::files::testing::ShellQuoted;
using survey::files::testing::Tool;

std::string Q(std::string const& text) { return QueryString(text); }

// Lines of exactly 37 bytes, endings included (so that no line ending falls
// on the last byte of a 2048-byte window), with the endings cycling through
// `endings`. Of five lines: one holds "warning" and a number, one "Warn" and
// a number, one an "x", one ends in "wa" and the next starts with "rn" and a
// number, so that "warn" runs across the line ending; the bytes sit at
// places in the line that move from line to line, and so across the places
// where the file is read in pieces.
std::string Generated(int count, std::vector<std::string> const& endings) {
  constexpr std::size_t kPeriod = 37;
  std::string text;
  for (int i = 0; i < count; ++i) {
    std::string const& ending = endings[static_cast<std::size_t>(i) % endings.size()];
    std::size_t const room = kPeriod - ending.size();
    char const fill = static_cast<char>('b' + i % 20);
    std::string const pad(static_cast<std::size_t>(i % 9), fill);
    std::string const number = std::to_string(i);
    std::string line;
    switch (i % 5) {
      case 0:
        line = pad + "warning" + number;
        break;
      case 1:
        line = pad + "Warn" + number;
        break;
      case 2:
        line = pad + "x " + number;
        break;
      case 3:
        line = number + " ";
        line.resize(room - 2, fill);
        line += "wa";
        break;
      default:
        line = "rn" + number + " warn";
        break;
    }
    line.resize(room, fill);
    text += line + ending;
  }
  return text;
}

// The patterns tried: one with a required literal, one without, one with an
// alternative, one whose literal is optional, one with "warn" across groups.
std::vector<std::string> const kPatterns = {"warn(ing)?[0-9]+", "[0-9]+", "warn|x", "(warn)?x",
                                            "wa(rn)[0-9]"};

class LinesSearchCommandTest : public ::testing::Test {
 protected:
  std::string Make(std::string const& name, std::string const& bytes) {
    tree.File(name, bytes);
    return tree / name;
  }

  // The count of lines that hold the pattern, through the filter that a
  // search can take up; checked against the filter that it cannot.
  static std::string Count(std::string const& path, std::string const& relation) {
    std::string const file = " of file " + Q(path);
    std::string const searched = One("number of lines whose (it " + relation + ")" + file);
    EXPECT_EQ(One("number of lines whose (true and it " + relation + ")" + file), searched)
        << relation;
    return searched;
  }

  // The numbers of those lines, one a line, checked likewise.
  static std::string Numbers(std::string const& path, std::string const& relation) {
    std::string const file = " of file " + Q(path);
    Answer const searched = Ask("line numbers of lines whose (it " + relation + ")" + file);
    Answer const tested = Ask("line numbers of lines whose (true and it " + relation + ")" + file);
    EXPECT_EQ("", searched.error) << relation;
    EXPECT_EQ(tested.values, searched.values) << relation;
    std::string joined;
    for (auto const& value : searched.values) joined += value + "\n";
    return joined;
  }

  // The count and the numbers of the lines that hold the pattern, against
  // those that the shell commands `count` and `numbers` print (a count; the
  // numbers, one a line).
  static void ExpectAsTools(std::string const& path, std::string const& pattern,
                            std::string const& count, std::string const& numbers) {
    EXPECT_EQ(Tool(count), Count(path, "contains regex " + Q(pattern))) << pattern;
    EXPECT_EQ(Output(numbers), Numbers(path, "contains regex " + Q(pattern))) << pattern;
  }

  // The answers of `form` + the relation + `file`, checked against those of
  // the same query with "true and" before the relation, which is tested for
  // every line; and that there are more than `least` of them.
  static void ExpectAsEachTested(std::string const& form, std::string const& relation,
                                 std::string const& file, std::size_t least) {
    Answer const searched = Ask(form + relation + ")" + file);
    Answer const tested = Ask(form + "true and " + relation + ")" + file);
    EXPECT_EQ("", searched.error) << form << relation;
    EXPECT_GT(searched.values.size(), least) << form << relation;
    EXPECT_EQ(tested.values, searched.values) << form << relation;
  }

  ScratchTree tree;
};

TEST_F(LinesSearchCommandTest, LineFeedLinesAgreeWithGrep) {
  std::string const path = Make("lf", Generated(9000, {"\n"}));
  for (std::string const& pattern : kPatterns) {
    std::string const grep = "grep -E " + ShellQuoted(pattern) + " ";
    ExpectAsTools(path, pattern, grep + "-c " + ShellQuoted(path) + " || true",
                  grep + "-n " + ShellQuoted(path) + " | cut -d: -f1");
    EXPECT_EQ(Tool(grep + "-c " + ShellQuoted(path) + " || true"),
              Count(path, "contains regular expression " + Q(pattern)))
        << pattern;
    EXPECT_EQ(Tool(grep + "-c -i " + ShellQuoted(path) + " || true"),
              Count(path, "contains case insensitive regex " + Q(pattern)))
        << pattern;
  }
  // Lines that do not hold it are not searched for at all.
  EXPECT_EQ(Tool("grep -E -v -c 'warn(ing)?[0-9]+' " + ShellQuoted(path)),
            Count(path, "does not contain regex " + Q("warn(ing)?[0-9]+")));
}

TEST_F(LinesSearchCommandTest, EveryLineEndingAgreesWithAwk) {
  std::string const path = Make("mixed", Generated(6000, {"\r\n", "\n", "\n\r", "\r"}));
  std::string const awk = "awk 'BEGIN{RS=\"\\r\\n|\\n\\r|\\r|\\n\"} ";
  for (std::string const& pattern : kPatterns) {
    ExpectAsTools(path, pattern, awk + "/" + pattern + "/{n++} END{print n+0}' " + ShellQuoted(path),
                  awk + "/" + pattern + "/{print NR}' " + ShellQuoted(path));
  }
}

TEST_F(LinesSearchCommandTest, LinesLongerThanTheBufferAreSearchedInTheirPieces) {
  // Each 5000-byte line holds "warning" and a number three times: inside
  // its first piece, across the end of that piece, and inside its second;
  // every other line has one letter changed in the last two.
  std::string text;
  for (int i = 0; i < 30; ++i) {
    std::string line(5000, static_cast<char>('b' + i % 20));
    std::string const word = i % 2 == 0 ? "warning77" : "warninf77";
    line.replace(100, 9, "warning77");
    line.replace(2044, 9, word);
    line.replace(3000, 9, word);
    text += line + "\n";
  }
  std::string const path = Make("long", text);
  std::string const fold = "fold -b -w 2048 " + ShellQuoted(path);
  for (std::string const& pattern : kPatterns) {
    ExpectAsTools(path, pattern, fold + " | grep -E -c " + ShellQuoted(pattern) + " || true",
                  fold + " | grep -E -n " + ShellQuoted(pattern) + " | cut -d: -f1");
  }
}

TEST_F(LinesSearchCommandTest, LinesWithNulBytesAgreeWithGrepReadingText) {
  std::string text;
  for (int i = 0; i < 3000; ++i) {
    std::string line = "n" + std::to_string(i);
    if (i % 3 == 0) line += std::string(1, '\0') + "warning" + std::to_string(i);
    if (i % 3 == 1) line += std::string(1, '\0') + "warn" + std::string(1, '\0') + "7";
    if (i % 7 == 0) line += std::string(2, '\0');
    line.resize(36, '.');
    text += line + "\n";
  }
  std::string const path = Make("nul", text);
  for (std::string const& pattern : kPatterns) {
    std::string const grep = "grep -a -E " + ShellQuoted(pattern) + " ";
    ExpectAsTools(path, pattern, grep + "-c " + ShellQuoted(path) + " || true",
                  grep + "-n " + ShellQuoted(path) + " | cut -d: -f1");
  }
}

TEST_F(LinesSearchCommandTest, TheLastLineWithoutAnEndingIsSearched) {
  std::string const path = Make("open", "first\nwarn\nsecond 12\nwarning12");
  std::string const pattern = "warn(ing)?[0-9]+";
  ExpectAsTools(path, pattern, "grep -E -c " + ShellQuoted(pattern) + " " + ShellQuoted(path),
                "grep -E -n " + ShellQuoted(pattern) + " " + ShellQuoted(path) + " | cut -d: -f1");
  std::string const none = Make("none", "first\nwarn\nsecond 12\nwarning");
  EXPECT_EQ(Tool("grep -E -c " + ShellQuoted(pattern) + " " + ShellQuoted(none) + " || true"),
            Count(none, "contains regex " + Q(pattern)));
}

TEST_F(LinesSearchCommandTest, TheLinesFoundShowWhatTheyWouldShowWhenEachIsTested) {
  // What a line found shows of its place: its text, its neighbours, and
  // the byte offsets that its number leads to, as sed prints them.
  std::string const path = Make("places", Generated(3000, {"\r\n", "\n"}));
  std::string const relation = "it contains regex " + Q("warn(ing)?[0-9]+");
  std::string const file = " of file " + Q(path);
  Answer const texts = Ask("lines whose (" + relation + ")" + file);
  Answer const tested = Ask("lines whose (true and " + relation + ")" + file);
  EXPECT_EQ(tested.values, texts.values);
  Answer const after = Ask("next lines of lines whose (" + relation + ")" + file);
  EXPECT_EQ(Ask("next lines of lines whose (true and " + relation + ")" + file).values,
            after.values);
  Answer const numbers = Ask("line numbers of lines whose (" + relation + ")" + file);
  ASSERT_EQ(texts.values.size(), numbers.values.size());
  ASSERT_FALSE(numbers.values.empty());
  for (std::size_t k = 0; k < numbers.values.size(); k += 97) {
    EXPECT_EQ(Tool("sed -n " + numbers.values[k] + "p " + ShellQuoted(path) + " | tr -d '\\r'"),
              texts.values[k])
        << numbers.values[k];
  }
}

// The matches of a pattern in the lines of a file, beside grep's, and
// beside those in the same lines taken through a filter that lets every
// line through, which the search for the pattern's bytes does not reach.
TEST_F(LinesSearchCommandTest, MatchesInLinesAgreeWithGrepAndWithEveryLineSearched) {
  for (auto const& endings :
       std::vector<std::vector<std::string>>{{"\n"}, {"\r\n", "\n", "\n\r", "\r"}}) {
    std::string const path =
        Make("matches" + std::to_string(endings.size()), Generated(6000, endings));
    std::string const of = " of lines of file " + Q(path);
    std::string const ofEvery = " of lines whose (true) of file " + Q(path);
    std::string const warn = "warn(ing)?[0-9]+";
    if (endings.size() == 1) {
      // No line holds two matches of it, nor a match that another starts
      // inside.
      EXPECT_EQ(Tool("grep -E -o " + ShellQuoted(warn) + " " + ShellQuoted(path) + " | wc -l"),
                One("number of matches (regex " + Q(warn) + ")" + of));
    }
    for (std::string const& pattern : kPatterns) {
      for (std::string const phrase :
           {"matches (regex ", "matches (regular expression ", "first matches (regex ",
            "matches (case insensitive regex "}) {
        std::string const matches = phrase + Q(pattern) + ")";
        EXPECT_EQ(One("number of " + matches + ofEvery), One("number of " + matches + of))
            << matches;
        Answer const searched = Ask(matches + of);
        EXPECT_EQ("", searched.error) << matches;
        EXPECT_EQ(Ask(matches + ofEvery).values, searched.values) << matches;
      }
    }
    // The parts of the matches found, and the lines they were found in.
    std::string const parts =
        "parenthesized parts of matches (regex " + Q("wa(rn)(ing)?([0-9]+)") + ")";
    Answer const searched = Ask(parts + of);
    EXPECT_FALSE(searched.values.empty());
    EXPECT_EQ(Ask(parts + ofEvery).values, searched.values);
  }
}

// Lines of random lengths (short, around the 64-byte blocks, around and
// past the 2048-byte buffer), in stretches of LF endings alone between
// stretches of every ending, with "warning" and a number at random places,
// and "warn" split across line endings: the lines found by the search for
// the pattern's bytes, their numbers, and the lines before and after them
// (which are found from each line's byte offsets) are those found when
// every line is tested.
TEST_F(LinesSearchCommandTest, RandomLinesFoundBySearchAreThoseFoundByTestingEachLine) {
  survey::testing::RepeatableRandom next(99);
  char const* const endings[] = {"\n", "\r\n", "\n\r", "\r", "\r\r", "\n\n"};
  std::string text;
  for (int i = 0; i < 7000; ++i) {
    bool const lineFeeds = (i / 700) % 2 == 0;
    unsigned const kind = next() % 100;
    unsigned const length = kind < 2    ? 2040 + next() % 16
                            : kind < 4  ? 2048 + next() % 3000
                            : kind < 20 ? 50 + next() % 30
                                        : next() % 60;
    std::string line;
    for (unsigned k = 0; k < length; ++k) line += static_cast<char>('a' + next() % 26);
    unsigned const mark = next() % 12;
    if (mark == 0) {
      line.insert(next() % (line.size() + 1), "warning" + std::to_string(next() % 1000));
    } else if (mark == 1) {
      line += "warn";
    } else if (mark == 2) {
      line = "ing" + std::to_string(next() % 10) + line;
    }
    text += line + (lineFeeds ? "\n" : endings[next() % 6]);
  }
  text += "warning1";
  std::string const path = Make("random", text);
  std::string const file = " of file " + Q(path);
  for (std::string const& relation :
       {"it contains regex " + Q("warn(ing)?[0-9]+"), "it contains " + Q("warning"),
        "it contains regex " + Q("g[0-9]")}) {
    for (std::string const form :
         {"lines whose (", "line numbers of lines whose (", "next lines of lines whose (",
          "previous lines of lines whose ("}) {
      ExpectAsEachTested(form, relation, file, 300);
    }
  }
  // The lines containing a string, and the matches in lines.
  for (std::string const& form : {"line numbers of lines containing " + Q("warning"),
                                  "previous lines of lines containing " + Q("warning")}) {
    Answer const searched = Ask(form + file);
    std::string const every = form.substr(0, form.find("lines containing")) +
                              "lines whose (true and it contains " + Q("warning") + ")";
    EXPECT_EQ(Ask(every + file).values, searched.values) << form;
    EXPECT_GT(searched.values.size(), 300u) << form;
  }
  std::string const matches = "matches (regex " + Q("warn(ing)?[0-9]+") + ")";
  EXPECT_EQ(Ask(matches + " of lines whose (true)" + file).values,
            Ask(matches + " of lines" + file).values);
}


// Finds far apart, with long stretches of lines between them that hold
// nothing sought, and finds right before, across and right after the places
// where the file is read in pieces (around each 2048 bytes and each 64 KiB),
// in stretches of LF endings and of every ending, with lines that end on
// the last byte of 2048 and lines past it: the lines found by the search
// for the pattern's bytes are those found when every line is tested, and
// their count is grep's.
TEST_F(LinesSearchCommandTest, FindsFarApartAndAroundTheReadingPiecesAreThoseOfTestingEachLine) {
  survey::testing::RepeatableRandom next(4321);
  char const* const endings[] = {"\n", "\r\n", "\n\r", "\r"};
  std::string text;
  bool lineFeeds = true;
  auto filler = [&](std::size_t upTo) {
    // Lines of words without the sought bytes, up to the offset.
    while (text.size() < upTo) {
      std::size_t const room = upTo - text.size();
      std::size_t length = next() % 100 == 0 ? 2040 + next() % 20 : 10 + next() % 70;
      if (length + 2 > room) length = room > 2 ? room - 2 : 0;
      std::string line;
      for (std::size_t k = 0; k < length; ++k) line += static_cast<char>('a' + next() % 22);
      text += line + (lineFeeds ? "\n" : endings[next() % 4]);
    }
  };
  for (int find = 0; find < 400; ++find) {
    lineFeeds = (find / 50) % 2 == 0;
    unsigned const kind = next() % 4;
    std::size_t target;
    if (kind == 0) {
      // Far on: up to twice the memory read ahead.
      target = text.size() + 100 + (next() * 8UL + next() % 8) % 140000;
    } else {
      // Around a border of 2048 bytes or of 64 KiB a little further on.
      std::size_t const unit = kind == 1 ? 65536 : 2048;
      std::size_t const border = (text.size() / unit + 1 + next() % 3) * unit;
      target = border + next() % 24 - 12;
      if (target < text.size() + 8) target += unit;
    }
    filler(target - 8);
    // The find's line: some bytes, then the sought ones at about the
    // target, or a line whose ending lands on the target.
    std::string line;
    while (text.size() + line.size() + 8 < target) line += 'q';
    switch (next() % 3) {
      case 0:
        line += "warning" + std::to_string(next() % 1000);
        break;
      case 1:
        line += "x warn" + std::to_string(next() % 10) + " warn";
        break;
      default:
        // "warn" split by a line ending, then the next line's number.
        text += line + "wa" + (lineFeeds ? "\n" : endings[next() % 4]);
        line = "rn" + std::to_string(next() % 100);
        break;
    }
    text += line + (lineFeeds ? "\n" : endings[next() % 4]);
  }
  text += "warning7";
  std::string const path = Make("far-apart", text);
  std::string const file = " of file " + Q(path);
  for (std::string const& relation :
       {"it contains regex " + Q("warn(ing)?[0-9]+"), "it contains " + Q("warning"),
        "it contains regex " + Q("warn[0-9]")}) {
    ExpectAsEachTested("line numbers of lines whose (", relation, file, 100);
  }
  Answer const containing = Ask("line numbers of lines containing " + Q("warn") + file);
  EXPECT_EQ(Ask("line numbers of lines whose (true and it contains " + Q("warn") + ")" + file).values,
            containing.values);
  // grep counts LF lines; in the stretches of LF endings alone those are the
  // lines, and so the count of a file of LF endings alone is grep's.
  std::string lineFeedText = text;
  for (char& byte : lineFeedText) {
    if (byte == '\r') byte = 'r';
  }
  std::string const lineFeedPath = Make("far-apart-lf", lineFeedText);
  EXPECT_EQ(Tool("grep -E -c " + ShellQuoted("warn(ing)?[0-9]+") + " " + ShellQuoted(lineFeedPath)),
            Count(lineFeedPath, "contains regex " + Q("warn(ing)?[0-9]+")));
  EXPECT_EQ(Tool("grep -c -F warning " + ShellQuoted(lineFeedPath)),
            One("number of lines containing " + Q("warning") + " of file " + Q(lineFeedPath)));
}


// Lines of 64 bytes, endings included, so that every other 2048-byte
// window ends on a line's ending, which is dropped: the line's text moves
// and joins the next line. Each line ends in "war" and the next starts with
// "ning" and a digit, so that each join makes a "warning" that no line of
// the file holds; the bytes moved are searched again, and the joined lines
// found by the search for the pattern's bytes are those found when every
// line is tested.
TEST_F(LinesSearchCommandTest, LinesJoinedAcrossADroppedEndingAreFoundAsWhenEachIsTested) {
  std::string text;
  for (int i = 0; i < 4000; ++i) {
    std::string line = "ning" + std::to_string(i % 10) + " ";
    line.resize(60, static_cast<char>('b' + i % 20));
    text += line + "war\n";
  }
  std::string const path = Make("joined", text);
  std::string const file = " of file " + Q(path);
  EXPECT_EQ("0", Tool("grep -c warning " + ShellQuoted(path) + " || true"));
  for (std::string const& relation :
       {"it contains regex " + Q("warn(ing)?[0-9]+"), "it contains " + Q("warning")}) {
    ExpectAsEachTested("line numbers of lines whose (", relation, file, 50);
  }
  EXPECT_EQ(Ask("line numbers of lines whose (true and it contains " + Q("warning") + ")" + file)
                .values,
            Ask("line numbers of lines containing " + Q("warning") + file).values);
}

}  // namespace
