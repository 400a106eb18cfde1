// Lines, bytes and contents through the survey command, as a query author
// asks, on files that each test generates, checked against the machine's own
// text tools: wc, awk, grep, sed, fold and od.
#include <gtest/gtest.h>

#include <string>

#include "tests/unit/files/files_test_support.h"

namespace {

using survey::files::testing::Answer;
using survey::files::testing::Ask;
using survey::files::testing::ErrorOf;
using survey::files::testing::One;
using survey::files::testing::Output;
using survey::files::testing::QueryString;
using survey::files::testing::ScratchTree;
using survey::files::testing::ShellQuoted;
using survey::files::testing::Tool;

std::string Q(std::string const& path) { return QueryString(path); }

// Lines of exactly `period` bytes each, endings included, so that no line
// ending ever falls on the last byte of a 2048-byte window (2047 mod 37 lies
// inside the text). Every seventh line holds an "x"; the endings cycle
// through `endings`.
std::string Generated(int count, std::vector<std::string> const& endings) {
  constexpr int kPeriod = 37;
  std::string text;
  for (int i = 0; i < count; ++i) {
    std::string const& ending = endings[static_cast<std::size_t>(i) % endings.size()];
    std::string line = "line " + std::to_string(i) + (i % 7 == 0 ? " x " : " - ");
    line.resize(static_cast<std::size_t>(kPeriod) - ending.size(), 'a' + static_cast<char>(i % 26));
    text += line + ending;
  }
  return text;
}

class LinesCommandTest : public ::testing::Test {
 protected:
  std::string Make(std::string const& name, std::string const& bytes) {
    tree.File(name, bytes);
    return tree / name;
  }
  ScratchTree tree;
};

TEST_F(LinesCommandTest, LineFeedLinesAgreeWithWcGrepAndSed) {
  std::string const path = Make("lf", Generated(5000, {"\n"}));
  std::string const file = " of file " + Q(path);
  EXPECT_EQ(Tool("wc -l < " + ShellQuoted(path)), One("number of lines" + file));
  EXPECT_EQ(Tool("grep -c -F x " + ShellQuoted(path)),
            One("number of lines containing \"x\"" + file));
  EXPECT_EQ(Tool("grep -c -F x " + ShellQuoted(path)),
            One("number of lines whose (it contains \"x\")" + file));
  EXPECT_EQ(Tool("grep -c '^line 4' " + ShellQuoted(path)),
            One("number of lines starting with \"line 4\"" + file));
  for (int n : {1, 2, 55, 56, 57, 1000, 4999, 5000}) {
    std::string const number = std::to_string(n);
    EXPECT_EQ(Tool("sed -n " + number + "p " + ShellQuoted(path)),
              One("line " + number + file))
        << n;
    EXPECT_EQ(Tool("sed -n " + std::to_string(n + 1) + "p " + ShellQuoted(path)),
              n == 5000 ? std::string() : One("next line of line " + number + file));
    if (n > 1) {
      EXPECT_EQ(Tool("sed -n " + std::to_string(n - 1) + "p " + ShellQuoted(path)),
                One("previous line of line " + number + file));
    }
  }
  EXPECT_EQ("no value", ErrorOf("line 5001" + file));
  EXPECT_EQ("no value", ErrorOf("next line of line 5000" + file));
  EXPECT_EQ("no value", ErrorOf("previous line of line 1" + file));
  EXPECT_EQ("no value", ErrorOf("line 0" + file));
  EXPECT_EQ("1", One("line number of line 1" + file));
  EXPECT_EQ("-3", One("line number of line (-3)" + file));
  EXPECT_EQ(Tool("sed -n 1p " + ShellQuoted(path)), One("line (-3)" + file));
  // The numbers of the lines that hold an x, as grep numbers them.
  Answer const numbers = Ask("line numbers of lines containing \"x\"" + file);
  std::string joined;
  for (auto const& value : numbers.values) joined += value + "\n";
  EXPECT_EQ(Output("grep -n -F x " + ShellQuoted(path) + " | cut -d: -f1"), joined);
}

TEST_F(LinesCommandTest, MixedEndingsCountAsAwkSplitsThem) {
  std::string const path = Make("mixed", Generated(4000, {"\r\n", "\n", "\n\r", "\r"}));
  std::string const file = " of file " + Q(path);
  std::string const awk = "awk 'BEGIN{RS=\"\\r\\n|\\n\\r|\\r|\\n\"} ";
  EXPECT_EQ(Tool(awk + "END{print NR}' " + ShellQuoted(path)), One("number of lines" + file));
  EXPECT_EQ(Tool(awk + "/x/{n++} END{print n}' " + ShellQuoted(path)),
            One("number of lines containing \"x\"" + file));
  for (int n : {1, 2, 3, 4, 5, 999, 2222, 4000}) {
    EXPECT_EQ(Tool(awk + "NR==" + std::to_string(n) + "{print; exit}' " + ShellQuoted(path)),
              One("line " + std::to_string(n) + file))
        << n;
  }
}

TEST_F(LinesCommandTest, ALastLineWithoutAnEndingIsALineAndAnEmptyFileHasNone) {
  std::string const open = Make("open", "first\nsecond\nthird");
  EXPECT_EQ(Tool("awk 'END{print NR}' " + ShellQuoted(open)),
            One("number of lines of file " + Q(open)));
  EXPECT_EQ(Tool("tail -n 1 " + ShellQuoted(open)), One("line 3 of file " + Q(open)));
  std::string const empty = Make("empty", "");
  EXPECT_EQ(Tool("wc -l < " + ShellQuoted(empty)), One("number of lines of file " + Q(empty)));
  EXPECT_EQ("False", One("exists line of file " + Q(empty)));
  EXPECT_EQ("no value", ErrorOf("line 1 of file " + Q(empty)));
  std::string const lf = Make("lf", "\n");
  EXPECT_EQ("1", One("number of lines of file " + Q(lf)));
  EXPECT_EQ("1", One("line number of line 1 of file " + Q(lf)));
}

TEST_F(LinesCommandTest, LinesLongerThanTheBufferComeInPiecesAsFoldCutsThem) {
  std::string text;
  for (int i = 0; i < 20; ++i) {
    std::string line(5000, static_cast<char>('a' + i));
    line[0] = 'x';
    text += line + "\n";
  }
  std::string const path = Make("long", text);
  std::string const fold = "fold -b -w 2048 " + ShellQuoted(path);
  EXPECT_EQ("100000\n", Output("awk '{n+=length($0)} END{print n}' " + ShellQuoted(path)));
  EXPECT_EQ(Tool(fold + " | wc -l"), One("number of lines of file " + Q(path)));
  for (int n : {1, 2, 3, 4, 31, 60}) {
    EXPECT_EQ(Tool(fold + " | sed -n " + std::to_string(n) + "p"),
              One("line " + std::to_string(n) + " of file " + Q(path)))
        << n;
  }
  EXPECT_EQ(Tool(fold + " | grep -c -F x"),
            One("number of lines containing \"x\" of file " + Q(path)));
}

TEST_F(LinesCommandTest, ALineEndingOnTheBufferEndRunsTheNextLineOn) {
  // The first 2048 bytes end with the LF of the line that starts at 2041:
  // the loop moves that line's text to the front without its LF, and the
  // next line runs on as the same line.
  std::string const path =
      Make("odd", std::string(2040, 'a') + "\n" + "bbbbbb\n" + "cccc\n" + "dd\n");
  EXPECT_EQ("3", One("number of lines of file " + Q(path)));
  EXPECT_EQ("bbbbbbcccc", One("line 2 of file " + Q(path)));
  EXPECT_EQ("dd", One("line 3 of file " + Q(path)));
}

TEST_F(LinesCommandTest, BytesAgreeWithOd) {
  std::string bytes;
  for (int i = 0; i < 1000; ++i) bytes += static_cast<char>((i * 31 + 7) & 0xFF);
  std::string const path = Make("bytes", bytes);
  for (int n : {0, 1, 2, 500, 998, 999}) {
    std::string const offset = std::to_string(n);
    EXPECT_EQ(Tool("od -An -tu1 -j" + offset + " -N1 " + ShellQuoted(path) + " | tr -d ' '"),
              One("byte " + offset + " of file " + Q(path)))
        << n;
  }
  EXPECT_EQ(Tool("head -c 1 " + ShellQuoted(path) + " | od -An -tu1 | tr -d ' '"),
            One("byte 0 of file " + Q(path)));
  EXPECT_EQ("no value", ErrorOf("byte 1000 of file " + Q(path)));
  EXPECT_EQ("no value", ErrorOf("byte (-1) of file " + Q(path)));
}

TEST_F(LinesCommandTest, ContentSearchAgreesWithGrep) {
  std::string text = Generated(3000, {"\n"});
  text += "the needle at the end";
  std::string const path = Make("haystack", text);
  for (std::string const sought : {"needle at the end", "line 2999 - ", "x", "nowhere",
                                   "LINE"}) {
    std::string const grep =
        Tool("grep -q -z -F " + ShellQuoted(sought) + " " + ShellQuoted(path) +
             " && echo True || echo False");
    EXPECT_EQ(grep, One("content of file " + Q(path) + " contains " + QueryString(sought)))
        << sought;
  }
  EXPECT_EQ("True", One("content of file " + Q(path) + " as uppercase contains \"LINE 1\""));
  EXPECT_EQ("False", One("content of file " + Q(path) + " as uppercase contains \"line\""));
  EXPECT_EQ("True", One("content of file " + Q(path) + " contains \"\""));
}

TEST_F(LinesCommandTest, BadInputEndsWithAnAnswerOrAnError) {
  // A FIFO is no file, and nothing waits for a writer.
  tree.Fifo("pipe");
  EXPECT_EQ("no value", ErrorOf("lines of file " + Q(tree / "pipe")));
  // The kernel's message queue is never opened.
  if (Tool("test -f /proc/kmsg && echo yes || true") == "yes") {
    EXPECT_NE("", ErrorOf("lines of file \"/proc/kmsg\""));
    EXPECT_NE("", ErrorOf("content of file \"/proc/kmsg\" contains \"x\""));
  }
  // A file with no length is read to its end.
  EXPECT_EQ(Tool("awk 'END{print NR}' /proc/version"),
            One("number of lines of file \"/proc/version\""));
  EXPECT_EQ("no value", ErrorOf("numeric value of \"no digits\""));
  EXPECT_EQ("12", One("numeric value of \"v12.7\""));
  EXPECT_EQ("5", One("numeric value of \"-5\""));
}

TEST_F(LinesCommandTest, CountsOfManyLinesAgreeWithWcAndWithEachLineTested) {
  // A count passes over lines many at a time: counts around the sizes of
  // those passes, of the first line, which comes alone, and beyond. Lines
  // of three bytes never put their LF on the last byte of the buffer, which
  // always starts at a line: 2047 is 1 modulo 3.
  auto lines = [this](int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += "ab\n";
    return Make("short-lines-" + std::to_string(count), text);
  };
  for (int count : {65535, 65536, 65537, 65538, 1048576, 1048577, 1048578}) {
    std::string const path = lines(count);
    EXPECT_EQ(Tool("wc -l < " + ShellQuoted(path)), One("number of lines of file " + Q(path)))
        << count;
  }
  std::string const some = lines(65540);
  EXPECT_EQ(One("number of lines whose (true) of file " + Q(some)),
            One("number of lines of file " + Q(some)));
  // Lines of every length up to past twice the buffer, in every ending,
  // some ending on the buffer's last byte: the count is that of the lines
  // tested one by one.
  std::string mixed;
  for (int i = 0; i < 3000; ++i) {
    std::size_t const length = static_cast<std::size_t>((i * 7919) % (i % 9 == 0 ? 5000 : 90));
    mixed += std::string(length, static_cast<char>('a' + i % 26));
    mixed += i % 4 == 0 ? "\r\n" : i % 4 == 1 ? "\n\r" : i % 4 == 2 ? "\r" : "\n";
    if (i % 5 == 0) mixed += std::string(2047 - mixed.size() % 2048, 'z') + "\n";
  }
  std::string const mixedPath = Make("mixed-lengths", mixed + "last");
  EXPECT_EQ(One("number of lines whose (true) of file " + Q(mixedPath)),
            One("number of lines of file " + Q(mixedPath)));
  // Two files, counted as one stream of lines.
  std::string const few = lines(100);
  EXPECT_EQ(std::to_string(std::stol(Tool("cat " + ShellQuoted(few) + " " + ShellQuoted(some) +
                                          " | wc -l"))),
            One("number of lines of (file " + Q(few) + "; file " + Q(some) + ")"));
}

TEST_F(LinesCommandTest, TheTimeLimitStopsACountOverAHugeFile) {
  // Almost 2 GiB of zeros without a line ending, which a 32-bit build still
  // opens: a million lines of the buffer's length, far more than the limit
  // lets the count read.
  std::string const path = tree / "huge";
  Output("truncate -s 2147483000 " + ShellQuoted(path));
  Answer const answer = Ask("number of lines of file " + Q(path), "/", false, "", "0.05");
  EXPECT_EQ("interrupted", answer.error);
  EXPECT_TRUE(answer.values.empty());
}

TEST_F(LinesCommandTest, CountingTheLinesOfALargeFileNeedsNoMemoryForEachLine) {
  // Peak memory of the count over 40 MB of lines, against the count over a
  // few lines: each line's copy is given back once it is counted.
  std::string const big = tree / "big";
  Output("yes 'a line of some forty bytes of text here' | head -c 41000000 > " +
         ShellQuoted(big));
  std::string const small = Make("small", "one\ntwo\n");
  tree.Folder("home");
  std::string const home = tree / "home";
  auto peak = [&home](std::string const& path) {
    std::string const report = Output(
        "/usr/bin/time -f %M env -i HOME=" + ShellQuoted(home) +
        // A sanitized build would otherwise hold freed blocks back for a
        // while, which is no memory of ours.
        " ASAN_OPTIONS=quarantine_size_mb=1:thread_local_quarantine_size_kb=64"
        " '" SURVEY_COMMAND "' -e " +
        ShellQuoted("number of lines of file " + QueryString(path)) + " 2>&1 >/dev/null");
    return std::stol(report.substr(report.find_last_of('\n', report.size() - 2) + 1));
  };
  long const bigPeak = peak(big);
  long const smallPeak = peak(small);
  EXPECT_EQ(Tool("wc -l < " + ShellQuoted(big)), One("number of lines of file " + Q(big)));
  // Kilobytes: far less than the 40 MB of text.
  EXPECT_LT(bigPeak - smallPeak, 10000) << bigPeak << " against " << smallPeak;
}

}  // namespace
