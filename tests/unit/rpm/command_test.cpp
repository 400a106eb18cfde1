// The binding as a user meets it: the command, run in a folder of its own
// with or without the stubs beside it, asked whether a package database
// exists. Each run is a fresh process, so the library is bound anew.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/shell.h"
#include "tests/unit/rpm/rpm_support.h"

namespace {

using survey::rpmtesting::Listing;
using survey::rpmtesting::MakeDatabase;
using survey::rpmtesting::PackageToBuild;
using survey::rpmtesting::Quoted;
using survey::testing::Output;
using survey::testing::RunShell;
using survey::testing::ScratchFolder;

std::string Folder(std::string const& path) { return path.substr(0, path.rfind('/')); }

class RpmCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string const missing = survey::rpmtesting::MissingForRpm();
    if (!missing.empty()) GTEST_SKIP() << missing;
    root_ = scratch_.Path() + "/root";
    RunShell("mkdir -p " + Quoted(root_) + " " + Quoted(scratch_.Path() + "/work"));
    PackageToBuild package;
    package.name = "lonely";
    package.version = "1.0";
    package.release = "1";
    ASSERT_EQ("", MakeDatabase(scratch_.Path() + "/work", root_, {package}));
  }

  // A folder with the command and its two libraries, and the stubs named.
  std::string Program(std::string const& name, std::vector<std::string> const& stubs) {
    std::string const bin = scratch_.Path() + "/" + name;
    std::string command = "mkdir -p " + Quoted(bin) + " && cp " + Quoted(SURVEY_COMMAND) + " " +
                          Quoted(Folder(SURVEY_COMMAND) + "/libsurveyhost.so") + " " +
                          Quoted(Folder(SURVEY_COMMAND) + "/libSurvey.so") + " " + Quoted(bin);
    for (std::string const& stub : stubs) command += " && cp " + stub;
    EXPECT_EQ(0, RunShell(command).status);
    return bin + "/survey";
  }

  // What the command answers to `exists rpm "<root>"` with that client:
  // "True", "False", or all it printed when it printed something else. A
  // single query's answer is printed alone, on its line.
  std::string Exists(std::string const& program, std::string const& client) {
    std::string const query = "exists rpm \"" + root_ + "\"";
    std::string const printed = Output(Quoted(program) + " --client " + Quoted(client) + " " +
                                       Quoted(query) + " 2>/dev/null");
    for (char const* answer : {"True", "False"}) {
      if (printed == std::string(answer) + "\n") return answer;
    }
    return printed;
  }

  ScratchFolder scratch_;
  std::string root_;
};

TEST_F(RpmCommandTest, TheLinksLeadToTheMachinesLibrpm) {
  std::string const client = scratch_.Path() + "/client";
  std::string const answer = Exists(SURVEY_COMMAND, client);
  EXPECT_EQ("True", answer);
  std::string const storage = client + "/__QRVData";
  // ldconfig knows the machine's librpm by its soname; the link reaches the
  // same file.
  std::string const machine = Output(
      "ldconfig -p | awk '$1 ~ /^librpm\\.so\\.[0-9]+$/ {print $NF; exit}' | xargs readlink -f");
  ASSERT_FALSE(machine.empty());
  EXPECT_EQ(machine, Output("readlink -f " + Quoted(storage + "/libkxrpm.so")));
  EXPECT_EQ(Output("ldconfig -p | awk '$1 ~ /^librpmio\\.so\\.[0-9]+$/ {print $NF; exit}' | "
                   "xargs readlink -f"),
            Output("readlink -f " + Quoted(storage + "/libkxrpmio.so")));
  EXPECT_EQ(Output("find " + Quoted(storage) + " -name 'libkx*' -printf '%f %y\\n' | sort"),
            "libkxrpm.so l\nlibkxrpmdb.so l\nlibkxrpmio.so l\n");
}

TEST_F(RpmCommandTest, OnlyTheLinksOfTheStorageFolderAreTaken) {
  // Empty libraries under the first link's name in the subfolders where a
  // loader looks for a library of a search path before the folder itself.
  // The stub names its dependencies as paths of the working folder, so none
  // of them is taken and the binding reaches librpm.
  std::string const client = scratch_.Path() + "/client";
  ASSERT_EQ("True", Exists(SURVEY_COMMAND, client));
  std::string const storage = client + "/__QRVData";
  for (char const* sub : {"tls", "x86_64", "i686", "glibc-hwcaps/x86-64-v2",
                          "glibc-hwcaps/x86-64-v3", "glibc-hwcaps/x86-64-v4"}) {
    std::string const folder = storage + "/" + sub;
    ASSERT_EQ(0, RunShell("mkdir -p " + Quoted(folder) + " && cp " + Quoted(EMPTY_LIBRARY_PATH) +
                          " " + Quoted(folder + "/libkxrpm.so"))
                     .status);
  }
  EXPECT_EQ("True", Exists(SURVEY_COMMAND, client));
}

TEST_F(RpmCommandTest, TheSecondStubServesWhenTheFirstIsAbsent) {
  std::string const program = Program("second", {Quoted(RPM4STUB2_PATH) + " " +
                                                 Quoted(scratch_.Path() + "/second")});
  EXPECT_EQ("True", Exists(program, scratch_.Path() + "/client"));
}

TEST_F(RpmCommandTest, WithoutAStubThereIsNoDatabase) {
  std::string const program = Program("none", {});
  std::string const answer = Exists(program, scratch_.Path() + "/client");
  EXPECT_EQ("False", answer);
}

TEST_F(RpmCommandTest, AStubThatReachesNoneOfTheFunctionsIsRefused) {
  // An empty library under the first stub's name loads, but offers nothing:
  // the binding fails and the second stub is not tried.
  std::string const bin = scratch_.Path() + "/empty";
  std::string const program =
      Program("empty", {Quoted(EMPTY_LIBRARY_PATH) + " " + Quoted(bin + "/rpm4stub.so"),
                        Quoted(RPM4STUB2_PATH) + " " + Quoted(bin)});
  std::string const answer = Exists(program, scratch_.Path() + "/client");
  EXPECT_EQ("False", answer);
}

TEST_F(RpmCommandTest, ADisabledSubsystemMakesNoLinks) {
  std::string const client = scratch_.Path() + "/client";
  ASSERT_EQ(0, RunShell(Quoted(SURVEY_COMMAND) + " client --client " + Quoted(client) +
                        " setting set _QRVClient_Surveyor_DisableRPM 1 >/dev/null 2>&1")
                   .status);
  std::string const before = Listing(client + "/__QRVData");
  std::string const answer = Exists(SURVEY_COMMAND, client);
  EXPECT_EQ("False", answer);
  EXPECT_EQ(before, Listing(client + "/__QRVData"));
  ASSERT_EQ(0, RunShell(Quoted(SURVEY_COMMAND) + " client --client " + Quoted(client) +
                        " setting set _QRVClient_Surveyor_DisableRPM 0 >/dev/null 2>&1")
                   .status);
  EXPECT_EQ("True", Exists(SURVEY_COMMAND, client));
}

// Runs where the machine has no librpm for this build: the library still
// loads, and there is no package database.
TEST(RpmWithoutLibrpmTest, TheLibraryLoadsAndThereIsNoDatabase) {
  if (survey::rpmtesting::MissingForRpm().empty())
    GTEST_SKIP() << "this machine has a librpm for this build's architecture";
  ScratchFolder scratch;
  std::string const answer =
      Output(Quoted(SURVEY_COMMAND) + " --client " + Quoted(scratch.Path() + "/client") +
             " 'exists rpm' 'exists rpm \"/\"' 2>&1");
  EXPECT_EQ("exists rpm\n  False\nexists rpm \"/\"\n  False\n", answer);
}

}  // namespace
