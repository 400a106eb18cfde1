// The command's machine-readable answers: --json read back by python3's
// JSON parser and --csv by python3's csv module, each compared with what the
// values are (the literals of the query, or the machine's own answers from
// stat and os.scandir).

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "tests/unit/command/command_run.h"

namespace survey::command_test {
namespace {

using OutputTest = CommandTest;

// Reads the JSON answers on standard input, one object a line, and prints
// each value as Python sees it: its type, its text and repr() of its value.
constexpr char const* kReadJson = R"(
import json, sys
for line in sys.stdin:
    answer = json.loads(line)
    for value in answer["values"]:
        print(value["type"], "|", value["text"], "|", repr(value["value"]))
    error = answer["error"]
    print("error:", None if error is None else (error["kind"], error["position"]))
)";

// Reads CSV on standard input and prints each row as a Python list.
constexpr char const* kReadCsv = R"(
import csv, sys
for row in csv.reader(sys.stdin.buffer.read().decode("utf-8").splitlines(keepends=True)):
    print(repr(row))
)";

TEST_F(OutputTest, JsonGivesIntegersAndBooleansTheirOwnTypes) {
  Outcome const run = Survey("--json " + Quote("9223372036854775807") + " " + Quote("-3") + " " +
                             Quote("1 = 1") + " " + Quote("\"42\"") + " " + Quote("2 = 3"));
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ(
      "integer | 9223372036854775807 | 9223372036854775807\nerror: None\n"
      "integer | -3 | -3\nerror: None\n"
      "boolean | True | True\nerror: None\n"
      "string | 42 | '42'\nerror: None\n"
      "boolean | False | False\nerror: None\n",
      Python(kReadJson, run.out));
}

TEST_F(OutputTest, JsonGivesTuplesAsArrays) {
  Outcome const run = Survey("--json " + Quote("(1, \"a,b\", true, (2, day))"));
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ(
      "( integer, string, boolean, ( integer, time interval ) ) | 1, a,b, True, 2, 1 day, "
      "00:00:00 | [1, 'a,b', True, [2, '1 day, 00:00:00']]\nerror: None\n",
      Python(kReadJson, run.out));
}

TEST_F(OutputTest, JsonGivesAUniqueIntegerAsANumber) {
  Outcome const run = Survey("--json " + Quote("unique values of (5; 5)"));
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ("integer with multiplicity | 5 | 5\nerror: None\n", Python(kReadJson, run.out));
}

TEST_F(OutputTest, JsonKeepsTheValuesBeforeAnError) {
  Outcome const run = Survey("--json " + Quote("1; 1 / 0"));
  EXPECT_EQ(1, run.status);
  EXPECT_EQ("integer | 1 | 1\nerror: ('message', 5)\n", Python(kReadJson, run.out));
}

TEST_F(OutputTest, JsonSizesAreTheFilesSizes) {
  std::string const file = scratch + "/sized";
  WriteFile(file, std::string(12345, 'z'));
  Outcome const run = Survey("--json " + Quote("(size of it, exists it) of file \"" + file + "\""));
  EXPECT_EQ(0, run.status) << run.err;
  std::string const size = survey::testing::Output("stat -c %s " + Quote(file));
  ASSERT_EQ("12345\n", size);
  EXPECT_EQ("( integer, boolean ) | 12345, True | [12345, True]\nerror: None\n",
            Python(kReadJson, run.out));
}

TEST_F(OutputTest, CsvQuotesWhatNeedsIt) {
  // %22 is a double quote, %0a a line feed, %0d a carriage return.
  Outcome const run = Survey(
      "--csv " + Quote("(\"plain\", \"a,b\", \"say %22hi%22\", \"two%0alines\", \"cr%0d\", 7, false)"));
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ(
      "plain,\"a,b\",\"say \"\"hi\"\"\",\"two\nlines\",\"cr\r\",7,False\r\n", run.out);
  EXPECT_EQ("['plain', 'a,b', 'say \"hi\"', 'two\\nlines', 'cr\\r', '7', 'False']\n",
            Python(kReadCsv, run.out));
}

TEST_F(OutputTest, CsvGivesARowPerValue) {
  Outcome const run = Survey("--csv " + Quote("\"x\"; \"\"; (\"\", \"\")") + " " + Quote("3"));
  EXPECT_EQ(0, run.status) << run.err;
  EXPECT_EQ("x\r\n\"\"\r\n,\r\n3\r\n", run.out);
  EXPECT_EQ("['x']\n['']\n['', '']\n['3']\n", Python(kReadCsv, run.out));
}

TEST_F(OutputTest, CsvRowsAreTheFilesOfAFolder) {
  std::string const place = scratch + "/listed";
  mkdir(place.c_str(), 0700);
  WriteFile(place + "/one", "1");
  WriteFile(place + "/with, comma", "22");
  WriteFile(place + "/with \"quote\"", "333");
  mkdir((place + "/sub").c_str(), 0700);
  Outcome const run =
      Survey("--csv " + Quote("(name of it, size of it) of files of folder \"" + place + "\""));
  EXPECT_EQ(0, run.status) << run.err;
  // The rows read back, set beside the folder as python3 lists it.
  std::string const check =
      "import csv, os, sys\n"
      "rows = sorted(tuple(r) for r in csv.reader("
      "sys.stdin.buffer.read().decode('utf-8').splitlines(keepends=True)))\n"
      "listed = sorted((e.name, str(e.stat().st_size)) for e in os.scandir('" +
      place +
      "') if e.is_file())\n"
      "print(len(rows), rows == listed)\n";
  EXPECT_EQ("3 True\n", Python(check, run.out));
}

TEST_F(OutputTest, CsvErrorsGoToStandardError) {
  Outcome const run = Survey("--csv " + Quote("1; 1 / 0; 2"));
  EXPECT_EQ(1, run.status);
  EXPECT_EQ("1\r\n", run.out);
  EXPECT_EQ(0u, run.err.find("error: message: ")) << run.err;
}

TEST_F(OutputTest, JsonAndCsvTogetherAreACommandLineError) {
  Outcome const run = Survey("--json --csv " + Quote("1"));
  EXPECT_EQ(2, run.status);
  EXPECT_EQ("", run.out);
  EXPECT_NE(std::string::npos, run.err.find("excludes")) << run.err;
}

}  // namespace
}  // namespace survey::command_test
