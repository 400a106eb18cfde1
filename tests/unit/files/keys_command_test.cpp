// Keys, sections, variables and SHA-1 hashes through the survey command, as
// a query author asks, on files that each test writes; the hashes checked
// against sha1sum, on the files of the tests and on files of /proc.
#include <gtest/gtest.h>

#include <string>
#include <vector>

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
using survey::files::testing::Split;
using survey::files::testing::Unprivileged;

// The digest that sha1sum prints for the file.
std::string Sha1sum(std::string const& path) {
  std::string const line = Output("sha1sum " + ShellQuoted(path));
  return line.substr(0, line.find(' '));
}

class KeysCommandTest : public ::testing::Test {
 protected:
  std::string Make(std::string const& name, std::string const& bytes) {
    tree.File(name, bytes);
    return tree / name;
  }
  ScratchTree tree;
};

TEST_F(KeysCommandTest, KeysSectionsAndVariablesOfAConfigurationFile) {
  std::string const path = Make("settings.ini",
                                "; comment\r\nname = top\r\n[Server]\r\nName : alpha ; primary\r\n"
                                "port=8080\r\n[Client]\r\nname=beta\r\nempty=;\r\n");
  std::string const file = " of file " + QueryString(path);
  EXPECT_EQ("top", One("key \"NAME\"" + file));
  EXPECT_EQ("alpha", One("key \"name\" of section \"server\"" + file));
  EXPECT_EQ("beta", One("key \"name\" of section \"CLIENT\"" + file));
  EXPECT_EQ("", One("key \"empty\" of section \"client\"" + file));
  EXPECT_EQ("no value", ErrorOf("key \"port\" of section \"client\"" + file));
  EXPECT_EQ("no value", ErrorOf("section \"missing\"" + file));
  EXPECT_EQ("True", One("exists key \"port\" of section \"server\"" + file));
  Answer const variables = Ask("variables" + file);
  EXPECT_EQ("", variables.error);
  EXPECT_EQ(variables.values,
            (std::vector<std::string>{".name=top", "[Server].port=8080", "[Client].name=beta",
                                      "[Client].empty=;"}));
  EXPECT_EQ("1", One("number of variables whose (it starts with \"[Client].name\")" + file));
}

TEST_F(KeysCommandTest, AFileThatCannotBeReadIsAnErrorForKeysAndNothingForVariables) {
  std::string const path = Make("closed", "a=1\n");
  tree.Mode("closed", 0);
  std::string const runAs = Unprivileged();
  std::string const file = " of file " + QueryString(path);
  Answer const key = Ask("key \"a\"" + file, "/", false, runAs);
  EXPECT_TRUE(key.values.empty());
  EXPECT_EQ("message", key.error);
  Answer const section = Ask("section \"a\"" + file, "/", false, runAs);
  EXPECT_EQ("message", section.error);
  Answer const variables = Ask("variables" + file, "/", false, runAs);
  EXPECT_EQ("", variables.error);
  EXPECT_TRUE(variables.values.empty());
  Answer const hash = Ask("sha1" + file, "/", false, runAs);
  EXPECT_EQ("no value", hash.error);
}

TEST_F(KeysCommandTest, Sha1AgreesWithSha1sumOnSmallAndPieceSizedFiles) {
  std::vector<std::string> paths = {Make("empty", ""), Make("one", "x"),
                                    Make("binary", std::string("\0\xff\r\n", 4))};
  // Around the size of the pieces the host reads, and across several.
  for (long size : {131071L, 131072L, 131073L, 3 * 131072L + 7}) {
    std::string bytes;
    for (long i = 0; i < size; ++i) bytes += static_cast<char>((i * 7919 + i / 251) & 0xFF);
    paths.push_back(Make("piece-" + std::to_string(size), bytes));
  }
  for (std::string const& path : paths) {
    EXPECT_EQ(Sha1sum(path), One("sha1 of file " + QueryString(path))) << path;
  }
  EXPECT_EQ("da39a3ee5e6b4b0d3255bfef95601890afd80709", Sha1sum(paths[0]));
}

TEST_F(KeysCommandTest, Sha1sOfTheFilesOfAFolderAgreeWithSha1sum) {
  for (int i = 0; i < 5; ++i) Make("f" + std::to_string(i), std::string(i * 1000, 'a' + i));
  std::string expected;
  for (std::string const& line : Split(Output("cd " + ShellQuoted(tree.Path()) +
                                              " && sha1sum f*"),
                                       '\n')) {
    expected += line.substr(0, line.find(' ')) + "\n";
  }
  Answer const answer = Ask("sha1s of files of folder " + QueryString(tree.Path()));
  std::string got;
  for (std::string const& value : answer.values) got += value + "\n";
  EXPECT_EQ(expected, got);
}

TEST_F(KeysCommandTest, Sha1OfAGibibyteSparseFileAgreesWithSha1sum) {
  std::string const path = tree / "sparse";
  Output("truncate -s 1G " + ShellQuoted(path) + " && printf end >> " + ShellQuoted(path));
  EXPECT_EQ(Sha1sum(path), One("sha1 of file " + QueryString(path)));
}

TEST_F(KeysCommandTest, Sha1OfProcFilesAgreesWithSha1sum) {
  // Files whose size reads as 0 and whose text does not change.
  for (char const* path : {"/proc/version", "/proc/sys/kernel/ostype", "/proc/filesystems"}) {
    EXPECT_EQ(Sha1sum(path), One("sha1 of file " + QueryString(path))) << path;
  }
}

TEST_F(KeysCommandTest, TheTimeLimitStopsReadersThroughAGibibyte) {
  std::string const path = tree / "zeros";
  Output("truncate -s 1G " + ShellQuoted(path));
  Answer const answer = Ask("key \"a\" of file " + QueryString(path), "/", false, "", "1");
  EXPECT_TRUE(answer.values.empty());
  EXPECT_EQ("interrupted", answer.error);
  // The variables end a stream at their own failures, never at the
  // interruption, which the query reports. Lines that are no variables are
  // passed over without an answer for as long as they last.
  std::string const lines = tree / "lines";
  Output("yes x | head -c 300M > " + ShellQuoted(lines));
  Answer const variables = Ask("variables of file " + QueryString(lines), "/", false, "", "1");
  EXPECT_TRUE(variables.values.empty());
  EXPECT_EQ("interrupted", variables.error);
  Answer const section = Ask("section \"a\" of file " + QueryString(path), "/", false, "", "1");
  EXPECT_EQ("interrupted", section.error);
}

}  // namespace
