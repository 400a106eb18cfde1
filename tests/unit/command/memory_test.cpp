// The memory bound of a query (--max-memory): a query that needs more ends
// with its own message, the next query runs, and the process never holds
// much more than the bound, as python3's resource module measures it.

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/command/command_run.h"

namespace survey::command_test {
namespace {

using MemoryTest = CommandTest;

constexpr char const* kTen = "(1;2;3;4;5;6;7;8;9;10)";

// The text of 10^count tuples joined into one: each tuple's text is a run
// of `width` letters and `count` numbers from 1 to 10, with ", " before
// each number.
std::string Join(int count, std::size_t width = 10) {
  std::string query = "concatenation of ((\"" + std::string(width, 'a') + "\"";
  for (int k = 0; k < count; ++k) query += std::string(", ") + kTen;
  return query + ") as string)";
}

TEST_F(MemoryTest, AQueryOverTheBoundEndsAndTheNextRuns) {
  Outcome const run = Survey("--max-memory 16M " + Quote(Join(9)) + " " + Quote("1 + 1"));
  EXPECT_EQ(1, run.status);
  EXPECT_NE(std::string::npos, run.out.find("1 + 1\n  2\n")) << run.out;
  EXPECT_NE(std::string::npos, run.err.find("error: interrupted: memory limit of 16 MiB reached\n"))
      << run.err;
}

TEST_F(MemoryTest, TheBoundHoldsTheProcessDown) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the address sanitizer keeps freed memory aside, which the measure counts";
#endif
  // The largest resident size of the command, in KiB, as the kernel counts
  // it for the child.
  std::string const program = std::string(R"(
import resource, subprocess, sys
subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)
)");
  WriteFile(scratch + "/measure.py", program);
  std::string const measured = survey::testing::Output(
      Environment() + "python3 " + Quote(scratch + "/measure.py") + " '" SURVEY_COMMAND
      "' --client " + Quote(scratch + "/client") + " --max-memory 32M " + Quote(Join(9)));
  long const kib = std::stol(measured);
  EXPECT_GT(kib, 0);
  // The bound, and the program, its libraries and its first allocations.
  EXPECT_LT(kib, (32 + 64) * 1024) << kib << " KiB";
}

TEST_F(MemoryTest, TheDefaultBoundEndsADoublingQuery) {
  // Pieces of 100 000 bytes, and 10^5 of them.
  Outcome const run = Survey(Quote(Join(5, 100000)));
  EXPECT_EQ(1, run.status);
  EXPECT_EQ("", run.out);
  EXPECT_EQ(0u, run.err.find("error: interrupted: memory limit of 512 MiB reached\n")) << run.err;
}

TEST_F(MemoryTest, AnAggregateOfManyValuesIsBoundToo) {
  Outcome const run = Survey("--max-memory 8M " +
                             Quote(std::string("number of unique values of ((") + kTen + ", " +
                                   kTen + ", " + kTen + ", " + kTen + ", " + kTen + ", " + kTen +
                                   ") as string)") +
                             " " + Quote("2 + 2"));
  EXPECT_EQ(1, run.status);
  EXPECT_NE(std::string::npos, run.out.find("2 + 2\n  4\n")) << run.out;
  EXPECT_NE(std::string::npos, run.err.find("error: interrupted: memory limit of 8 MiB reached\n"))
      << run.err;
}

TEST_F(MemoryTest, ZeroIsNoBoundAndAQueryUnderTheBoundIsAnswered) {
  // Some 10 million bytes joined: over a bound of 4 MiB, under none and
  // under one of 256 MiB.
  std::string const query = "length of " + Join(4, 1000);
  Outcome const bounded = Survey("--max-memory 4M " + Quote(query));
  EXPECT_EQ(1, bounded.status);
  EXPECT_EQ(0u, bounded.err.find("error: interrupted: memory limit of 4 MiB reached\n"))
      << bounded.err;
  // Each tuple's text: 1000 letters and four numbers with ", " before each,
  // a digit each and one more for the one in ten that is 10.
  long long const expected = 10000LL * (1000 + 4 * 2) + 4 * 10000LL + 4 * 1000LL;
  for (char const* bound : {"0", "256M", "1G"}) {
    Outcome const run = Survey(std::string("--max-memory ") + bound + " " + Quote(query));
    EXPECT_EQ(0, run.status) << bound << ": " << run.err;
    EXPECT_EQ(std::to_string(expected) + "\n", run.out) << bound;
  }
}

TEST_F(MemoryTest, ABadSizeIsACommandLineError) {
  struct Case {
    char const* given;
    char const* message;
  };
  for (Case const& wrong :
       {Case{"abc", "survey: --max-memory: \"abc\" is not a size (a number of bytes, or with K, M or G)\n"},
        Case{"12X", "survey: --max-memory: \"12X\" is not a size (a number of bytes, or with K, M or G)\n"},
        Case{"-5M", "survey: --max-memory: \"-5M\" is not a size (a number of bytes, or with K, M or G)\n"},
        Case{"99999999999999999999", "survey: --max-memory: \"99999999999999999999\" is too large\n"},
        Case{"", "survey: --max-memory: \"\" is not a size (a number of bytes, or with K, M or G)\n"}}) {
    Outcome const run = Survey(std::string("--max-memory ") + Quote(wrong.given) + " " + Quote("1"));
    EXPECT_EQ(2, run.status) << wrong.given;
    EXPECT_EQ("", run.out) << wrong.given;
    EXPECT_EQ(wrong.message, run.err) << wrong.given;
  }
}

TEST_F(MemoryTest, TheHelpTellsTheBound) {
  Outcome const run = Survey("--help");
  EXPECT_EQ(0, run.status);
  EXPECT_NE(std::string::npos, run.out.find("--max-memory SIZE")) << run.out;
  EXPECT_NE(std::string::npos, run.out.find("default 512M; 0: no limit")) << run.out;
}

}  // namespace
}  // namespace survey::command_test
