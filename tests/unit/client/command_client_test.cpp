// The command's client folder: one named with --client is made at once, or
// the command stops with a clear error; the default one waits for first use.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "tests/support/command_answers.h"
#include "tests/support/shell.h"

namespace {

// The status and everything the command writes, standard output and error
// together.
using Outcome = survey::testing::ShellResult;

// Runs the command through the shell with the given environment settings
// and arguments.
Outcome Survey(std::string const& environment, std::string const& arguments) {
  return survey::testing::RunShell("env -i " + environment + " '" SURVEY_COMMAND "' " + arguments +
                                   " 2>&1");
}

// Sanitizer builds need their settings to pass through the cleared
// environment.
std::string PassedThrough() {
  return survey::testing::SanitizerSettings();
}

bool IsFolder(std::string const& path) {
  std::string const command = "test -d '" + path + "'";
  return std::system(command.c_str()) == 0;
}

class CommandClientTest : public ::testing::Test {
 protected:
  survey::testing::ScratchFolder folder{"survey-command-test"};
  std::string const scratch = folder.Path();
};

TEST_F(CommandClientTest, ANamedClientFolderIsMadeWithItsLayout) {
  std::string const client = scratch + "/deep/client";
  Outcome const run =
      Survey(PassedThrough() + "HOME='" + scratch + "'", "--client '" + client + "' -e '2 + 3'");
  EXPECT_EQ(0, run.status) << run.output;
  EXPECT_EQ("5\n", run.output);
  EXPECT_TRUE(IsFolder(client + "/__QRVData/UsageData"));
  EXPECT_TRUE(IsFolder(client + "/__Global"));
}

TEST_F(CommandClientTest, AClientFolderThatCannotBeMadeStopsTheCommandClearly) {
  std::string const file = scratch + "/plain";
  std::ofstream(file) << "x";
  std::string const client = file + "/client";
  Outcome const run =
      Survey(PassedThrough() + "HOME='" + scratch + "'", "--client '" + client + "' -e '2 + 3'");
  EXPECT_EQ(2, run.status) << run.output;
  EXPECT_EQ(std::string::npos, run.output.find("5\n")) << "no query runs";
  EXPECT_NE(std::string::npos, run.output.find("cannot use the client folder " + client))
      << run.output;
  EXPECT_NE(std::string::npos, run.output.find(file + " is not a folder")) << run.output;
}

TEST_F(CommandClientTest, TheDefaultClientFolderWaitsForFirstUse) {
  Outcome const run =
      Survey(PassedThrough() + "XDG_STATE_HOME='" + scratch + "/state'", "-e '2 + 3'");
  EXPECT_EQ(0, run.status) << run.output;
  EXPECT_EQ("5\n", run.output);
  // Nothing asked for the storage folder, so nothing was made.
  EXPECT_FALSE(IsFolder(scratch + "/state/survey/client"));
}

}  // namespace

namespace {

// An argument in brackets is one query like any other, in its place among
// the others, and not a list of two.
TEST_F(CommandClientTest, AnArgumentInBracketsIsOneQueryInItsPlace) {
  Outcome const run = Survey(PassedThrough() + "HOME='" + scratch + "'",
                             "--client '" + scratch + "/client' '1 + 1' '[1,2]' -e '[3]' -e "
                             "'2 + 2' '3 + 3'");
  EXPECT_EQ(1, run.status) << run.output;
  // With several queries, each is printed before its answers.
  std::string const expected =
      "1 + 1\n  2\n"
      "[1,2]\nerror: syntax error: unexpected character '['\n  [1,2]\n  ^\n"
      "[3]\nerror: syntax error: unexpected character '['\n  [3]\n  ^\n"
      "2 + 2\n  4\n"
      "3 + 3\n  6\n";
  EXPECT_EQ(expected, run.output);
}

}  // namespace
