// The host's aggregates of its own types (sum, minimum, maximum, extrema,
// unique values with their multiplicity), the text of tuples, and the text
// of a value whose cast to string has none, asked through the command.
// Where an answer is a fact of the machine, python3 or the shell's tools
// work it out at test time.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "tests/unit/command/command_run.h"

namespace survey::command_test {
namespace {

using AggregatesTest = CommandTest;

TEST_F(AggregatesTest, TheLanguageReferencesOwnExampleAnswersAsTheFolderSays) {
  // Every name of a file of /usr/bin (links followed, as os.scandir's
  // is_file does), lowered in ASCII, once each, in byte order.
  std::string const expected = survey::testing::Output(
      "python3 -c 'import os,sys\n"
      "names = {e.name.encode(\"utf-8\", \"surrogateescape\").lower() for e in "
      "os.scandir(\"/usr/bin\") if e.is_file()}\n"
      "sys.stdout.buffer.write(b\"\".join(n + b\"\\n\" for n in sorted(names)))'");
  ASSERT_FALSE(expected.empty());
  Outcome const run = Survey(
      Quote("unique values of (it as lowercase) of names of files of folder \"/usr/bin\""));
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ(expected, run.out);
}

TEST_F(AggregatesTest, MaximumMinimumAndExtremaOfIntegers) {
  Outcome const run = Survey(Quote("maximum of (1; 5; 3)") + " " + Quote("minimum of (4; -2; 9)") +
                             " " + Quote("extrema of (7; 3; 11; 3)") + " " +
                             Quote("minima of (8)"));
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ(
      "maximum of (1; 5; 3)\n  5\nminimum of (4; -2; 9)\n  -2\nextrema of (7; 3; 11; 3)\n  3, "
      "11\nminima of (8)\n  8\n",
      run.out);
}

TEST_F(AggregatesTest, TheTotalSizeOfTheFilesOfAFolder) {
  std::string const place = scratch + "/sized";
  mkdir(place.c_str(), 0700);
  WriteFile(place + "/a", "abc");
  WriteFile(place + "/b", std::string(4000, 'x'));
  WriteFile(place + "/c", "");
  mkdir((place + "/d").c_str(), 0700);
  std::string const expected = survey::testing::Output(
      "find " + Quote(place) + " -maxdepth 1 -type f -printf '%s\\n' | awk '{ s += $1 } END { print s }'");
  ASSERT_EQ("4003\n", expected);
  Outcome const run = Survey(Quote("sum of sizes of files of folder \"" + place + "\""));
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ(expected, run.out);
}

TEST_F(AggregatesTest, SumsOfIntegersAndOfTimeIntervals) {
  Outcome const run = Survey(Quote("sum of (1; 2; 39)") + " " + Quote("sum of (day; hour; 30 * second)") +
                             " " + Quote("sum of (1; 2) whose (it > 5)") + " " +
                             Quote("sum of (-4; 4)"));
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ(
      "sum of (1; 2; 39)\n  42\nsum of (day; hour; 30 * second)\n  1 day, 01:00:30\n"
      "sum of (1; 2) whose (it > 5)\n  0\nsum of (-4; 4)\n  0\n",
      run.out);
}

TEST_F(AggregatesTest, ASumThatDoesNotFitIsAnError) {
  Outcome const run = Survey(Quote("sum of (9223372036854775807; 1)"));
  EXPECT_EQ(1, run.status);
  EXPECT_EQ("", run.out);
  EXPECT_EQ(0u, run.err.find("error: message: \"sum\" of \"integer\" failed: integer overflow\n"))
      << run.err;
}

TEST_F(AggregatesTest, TheExtremesOfNothingAreNoValue) {
  Outcome const run = Survey(Quote("minimum of (1; 2) whose (it > 5)"));
  EXPECT_EQ(1, run.status);
  EXPECT_EQ(0u, run.err.find("error: no value")) << run.err;
  Outcome const plural = Survey(Quote("number of maxima of (1; 2) whose (it > 5)"));
  EXPECT_EQ(0, plural.status) << plural.err;
  EXPECT_EQ("0\n", plural.out);
}

TEST_F(AggregatesTest, UniqueValuesComeInOrderWithTheirMultiplicity) {
  Outcome const run =
      Survey(Quote("(it, multiplicity of it) of unique values of (\"pear\"; \"apple\"; \"pear\"; "
                   "\"Pear\"; \"pear\")") +
             " " + Quote("(it, multiplicity of it) of unique values of (3; -1; 3)") + " " +
             Quote("unique values of (hour; minute; hour)") + " " +
             Quote("(unique values of (1; 1)) + 1"));
  EXPECT_EQ(0, run.status) << run.err;
  // Byte order: upper case before lower case.
  EXPECT_EQ(
      "(it, multiplicity of it) of unique values of (\"pear\"; \"apple\"; \"pear\"; \"Pear\"; "
      "\"pear\")\n  Pear, 1\n  apple, 1\n  pear, 3\n"
      "(it, multiplicity of it) of unique values of (3; -1; 3)\n  -1, 1\n  3, 2\n"
      "unique values of (hour; minute; hour)\n  00:01:00\n  01:00:00\n"
      "(unique values of (1; 1)) + 1\n  2\n",
      run.out);
}

TEST_F(AggregatesTest, AUniqueValueKeepsItsTypeAndStandsForIt) {
  Outcome const run = Survey("--types " + Quote("unique values of (\"b\"; \"a\")") + " " +
                             Quote("length of unique value of \"abc\""));
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ(
      "unique values of (\"b\"; \"a\")\n  string with multiplicity: a\n  string with "
      "multiplicity: b\nlength of unique value of \"abc\"\n  integer: 3\n",
      run.out);
}

TEST_F(AggregatesTest, SubstringsAggregateAsStrings) {
  Outcome const run = Survey(Quote("maximum of characters of \"hello\"") + " " +
                             Quote("number of unique values of characters of \"hello\""));
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ(
      "maximum of characters of \"hello\"\n  o\nnumber of unique values of characters of "
      "\"hello\"\n  4\n",
      run.out);
}

TEST_F(AggregatesTest, TimesHaveExtremes) {
  Outcome const run =
      Survey(Quote("maximum of (now - day; now; now - hour) = now") + " " +
             Quote("item 0 of extrema of (now; now - day) = now - day") + " " +
             Quote("number of unique values of (now; now; now - second)"));
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ(
      "maximum of (now - day; now; now - hour) = now\n  True\n"
      "item 0 of extrema of (now; now - day) = now - day\n  True\n"
      "number of unique values of (now; now; now - second)\n  2\n",
      run.out);
}

TEST_F(AggregatesTest, TheLibrarysOrderedTypesKeepTheirOwnAggregates) {
  Outcome const run = Survey(Quote("maximum of (version it) of (\"1.10\"; \"1.9\")") + " " +
                             Quote("extrema of (ipv4 address it) of (\"10.0.0.10\"; \"10.0.0.2\")"));
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ(
      "maximum of (version it) of (\"1.10\"; \"1.9\")\n  1.10\n"
      "extrema of (ipv4 address it) of (\"10.0.0.10\"; \"10.0.0.2\")\n  10.0.0.2, 10.0.0.10\n",
      run.out);
}

TEST_F(AggregatesTest, ATypeWithoutTheseWordsIsTold) {
  Outcome const run = Survey(Quote("maximum of (true; false)"));
  EXPECT_EQ(1, run.status);
  EXPECT_NE(std::string::npos,
            run.err.find("error: no such property: no property \"maximum\" of \"boolean\""))
      << run.err;
}

TEST_F(AggregatesTest, ATupleHasATextForm) {
  Outcome const run = Survey(Quote("(1, 2) as string") + " " +
                             Quote("length of ((1, \"ab\", true) as string)") + " " +
                             Quote("((1, (\"a\", false)), day) as string"));
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ(
      "(1, 2) as string\n  1, 2\nlength of ((1, \"ab\", true) as string)\n  11\n"
      "((1, (\"a\", false)), day) as string\n  1, a, False, 1 day, 00:00:00\n",
      run.out);
}

TEST_F(AggregatesTest, AValueWhoseCastHasNoTextPrintsAsItsTypeName) {
  // Whether the system's language has a text form depends on the machine
  // and the locale: when its cast to string has no value, the value prints
  // as its type.
  extraEnvironment = "LANG=C.UTF-8 ";
  Outcome const cast = Survey(Quote("system locale as string"));
  Outcome const shown = Survey("--types " + Quote("system locale"));
  if (shown.err.find("singular \"system locale\" has no value") != std::string::npos) {
    GTEST_SKIP() << "this machine has no system locale: " << shown.err;
  }
  EXPECT_EQ(0, shown.status) << shown.err;
  if (cast.status == 0) {
    EXPECT_EQ("language: " + cast.out, shown.out);
  } else {
    EXPECT_EQ(0u, cast.err.find("error: no value: the cast \"string\" of \"language\" has no value"))
        << cast.err;
    EXPECT_EQ("language: <language>\n", shown.out);
  }
}

}  // namespace
}  // namespace survey::command_test
