// Symbolic links through the survey command, as a query author asks, on
// links that each test makes: to files and folders, dangling, in loops,
// relative and absolute, links to links. Every answer is checked against
// readlink, stat, test -e, find and date.
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
using survey::files::testing::Tool;

// A time of the record as the command prints times.
std::string DateOf(std::string const& seconds) {
  return Tool("TZ=UTC date -u -d @" + seconds + " '+%a, %d %b %Y %H:%M:%S +0000'");
}

std::string Boolean(bool value) { return value ? "True" : "False"; }

class SymlinksCommandTest : public ::testing::Test {
 protected:
  SymlinksCommandTest() {
    tree.File("target", "twelve bytes");
    tree.Folder("folder");
    tree.File("folder/inside", "x");
    tree.Link(tree / "target", "absolute");
    tree.Link("target", "relative");
    tree.Link("folder", "to-folder");
    tree.Link("nowhere", "dangling");
    tree.Link("loop-b", "loop-a");
    tree.Link("loop-a", "loop-b");
    tree.Link("relative", "chain");
    tree.Link("../target", "folder/up");
  }

  // Every link of the tree, by its path.
  std::vector<std::string> Links() const {
    std::vector<std::string> links;
    for (char const* name : {"absolute", "relative", "to-folder", "dangling", "loop-a", "loop-b",
                             "chain", "folder/up"}) {
      links.push_back(tree / name);
    }
    return links;
  }

  static std::string Link(std::string const& path) { return "symlink " + QueryString(path); }

  ScratchTree tree;
};

TEST_F(SymlinksCommandTest, ValuesAndReachAgreeWithReadlinkAndTest) {
  for (std::string const& path : Links()) {
    SCOPED_TRACE(path);
    std::string const quoted = ShellQuoted(path);
    EXPECT_EQ(Tool("readlink " + quoted), One("value of " + Link(path)));
    int status = 0;
    Output("test -e " + quoted, &status);
    EXPECT_EQ(Boolean(status == 0), One("value accessible of " + Link(path)));
  }
}

TEST_F(SymlinksCommandTest, AttributesAreTheLinksOwnAsStatReportsThem) {
  Output("touch -h -d '2001-02-03 04:05:06 UTC' " + ShellQuoted(tree / "relative"));
  if (geteuid() == 0) Output("chown -h 65534:65534 " + ShellQuoted(tree / "chain"));
  for (std::string const& path : Links()) {
    SCOPED_TRACE(path);
    std::string const quoted = ShellQuoted(path);
    std::string const link = " of " + Link(path);
    EXPECT_EQ(Tool("stat -c %h " + quoted), One("link count" + link));
    EXPECT_EQ(Tool("stat -c %u " + quoted), One("uid" + link));
    EXPECT_EQ(Tool("stat -c %g " + quoted), One("gid" + link));
    std::string const user = Tool("stat -c %U " + quoted);
    if (user != "UNKNOWN") {
      EXPECT_EQ(user, One("user name" + link));
    }
    std::string const group = Tool("stat -c %G " + quoted);
    if (group != "UNKNOWN") {
      EXPECT_EQ(group, One("group name" + link));
    }
    EXPECT_EQ(DateOf(Tool("stat -c %Y " + quoted)), One("modification time" + link));
    EXPECT_EQ(DateOf(Tool("stat -c %X " + quoted)), One("accessed time" + link));
    EXPECT_EQ(DateOf(Tool("stat -c %Z " + quoted)), One("change time" + link));
    EXPECT_EQ(Tool("basename " + quoted), One("name" + link));
    EXPECT_EQ(path, One("pathname" + link));
    EXPECT_EQ(path, One(Link(path) + " as string"));
    EXPECT_EQ(Tool("dirname " + quoted), One("location" + link));
    EXPECT_EQ(Tool("dirname " + quoted), One("pathname of parent folder" + link));
  }
}

TEST_F(SymlinksCommandTest, ALinksTimeIsItsOwnAndTheFilesTimeItsTargets) {
  Output("touch -d '2010-01-01 00:00:00 UTC' " + ShellQuoted(tree / "target") +
         " && touch -h -d '2001-02-03 04:05:06 UTC' " + ShellQuoted(tree / "relative"));
  std::string const link = Link(tree / "relative");
  EXPECT_EQ(DateOf(Tool("stat -c %Y " + ShellQuoted(tree / "relative"))),
            One("modification time of " + link));
  EXPECT_EQ(DateOf(Tool("stat -L -c %Y " + ShellQuoted(tree / "relative"))),
            One("modification time of file (" + link + ")"));
  EXPECT_NE(One("modification time of " + link), One("modification time of file (" + link + ")"));
}

TEST_F(SymlinksCommandTest, OnlyALinkIsASymlink) {
  EXPECT_EQ("no value", ErrorOf(Link(tree / "target")));
  EXPECT_EQ("no value", ErrorOf(Link(tree / "folder")));
  EXPECT_EQ("no value", ErrorOf(Link(tree / "missing")));
  EXPECT_EQ("no value", ErrorOf("symlink \"\""));
  EXPECT_EQ("False", One("exists " + Link(tree / "target")));
  EXPECT_EQ("True", One("exists " + Link(tree / "dangling")));
}

TEST_F(SymlinksCommandTest, TargetsAsFilesAndFoldersUnderTheLinksPath) {
  std::string const toFolder = Link(tree / "to-folder");
  EXPECT_EQ("no value", ErrorOf("file (" + toFolder + ")"));
  EXPECT_EQ(tree / "to-folder", One("pathname of folder (" + toFolder + ")"));
  EXPECT_EQ(tree / "to-folder", One("pathname of (" + toFolder + " as folder)"));
  EXPECT_EQ("no value", ErrorOf(toFolder + " as file"));
  for (char const* name : {"absolute", "relative", "chain", "folder/up"}) {
    std::string const link = Link(tree / name);
    EXPECT_EQ(tree / name, One("pathname of file (" + link + ")")) << name;
    EXPECT_EQ(Tool("stat -L -c %s " + ShellQuoted(tree / name)),
              One("size of (" + link + " as file)"))
        << name;
    EXPECT_EQ("no value", ErrorOf("folder (" + link + ")")) << name;
  }
  for (char const* name : {"dangling", "loop-a"}) {
    EXPECT_EQ("no value", ErrorOf("file (" + Link(tree / name) + ")")) << name;
    EXPECT_EQ("no value", ErrorOf("folder (" + Link(tree / name) + ")")) << name;
  }
}

TEST_F(SymlinksCommandTest, SymlinksFromObjectsAndFromLinks) {
  // A file reached through a link is made from the link's path, so the link
  // is found again; a file that is no link gives nothing.
  EXPECT_EQ("target", One("value of symlink (file " + QueryString(tree / "relative") + ")"));
  EXPECT_EQ("target", One("value of (file " + QueryString(tree / "relative") + " as symlink)"));
  EXPECT_EQ("folder", One("value of symlink (folder " + QueryString(tree / "to-folder") + ")"));
  EXPECT_EQ("no value", ErrorOf("symlink (file " + QueryString(tree / "target") + ")"));
  EXPECT_EQ("relative", One("value of symlink (" + Link(tree / "chain") + ")"));
  EXPECT_EQ("relative", One("value of (" + Link(tree / "chain") + " as symlink)"));
  EXPECT_EQ("../target",
            One("value of symlink \"up\" of folder " + QueryString(tree / "folder")));
  EXPECT_EQ("no value", ErrorOf("symlink \"inside\" of folder " + QueryString(tree / "folder")));
}

TEST_F(SymlinksCommandTest, SymlinksOfAFolderAreThoseFindListsDanglingIncluded) {
  Answer const links = Ask("symlinks of folder " + QueryString(tree.Path()));
  EXPECT_EQ("", links.error);
  EXPECT_EQ(Split(Output("LC_ALL=C find " + ShellQuoted(tree.Path()) +
                         " -mindepth 1 -maxdepth 1 -type l | LC_ALL=C sort"),
                  '\n'),
            links.values);
  Answer const files = Ask("files of folder " + QueryString(tree.Path()));
  EXPECT_EQ(Split(Output("LC_ALL=C find -L " + ShellQuoted(tree.Path()) +
                         " -mindepth 1 -maxdepth 1 -type f 2>/dev/null | LC_ALL=C sort"),
                  '\n'),
            files.values);
  for (std::string const& value : files.values) {
    EXPECT_EQ(std::string::npos, value.find("dangling"));
    EXPECT_EQ(std::string::npos, value.find("loop"));
  }
  EXPECT_EQ(Tool("find " + ShellQuoted(tree / "folder") + " -mindepth 1 -type l | wc -l"),
            One("number of symlinks of folder " + QueryString(tree / "folder")));
}

TEST_F(SymlinksCommandTest, AncestorsOfALinkAreThoseOfItsPath) {
  std::string const path = tree / "folder/up";
  Answer const ancestors = Ask("ancestors of " + Link(path));
  std::vector<std::string> expected;
  std::string at = path;
  while (at != "/") {
    at = Tool("dirname " + ShellQuoted(at));
    expected.push_back(at);
  }
  EXPECT_EQ(expected, ancestors.values);
  EXPECT_EQ(Tool("dirname " + ShellQuoted(path)), One("parent folder of " + Link(path)));
}

TEST_F(SymlinksCommandTest, ALongTargetIsReadWhole) {
  // The longest text a link can hold.
  std::string target;
  while (target.size() < 4095) target += "abcdefghi/";
  target.resize(4095);
  tree.Link(target, "long");
  EXPECT_EQ(Tool("readlink " + ShellQuoted(tree / "long")), One("value of " + Link(tree / "long")));
  EXPECT_EQ("4095", One("length of value of " + Link(tree / "long")));
}

TEST_F(SymlinksCommandTest, ALinkThatChangesWhileItIsReadIsOneOfItsTargets) {
  std::string const link = tree / "flip";
  tree.Link("first", "flip");
  std::string const flipper =
      "(end=$((SECONDS+3)); while [ $SECONDS -lt $end ]; do ln -sfn second " +
      ShellQuoted(link) + "; ln -sfn first " + ShellQuoted(link) + "; done) >/dev/null 2>&1 &";
  Output(flipper);
  for (int i = 0; i < 10; ++i) {
    Answer const answer = Ask("values of symlinks whose (name of it = \"flip\") of folder " +
                              QueryString(tree.Path()));
    EXPECT_TRUE(answer.error.empty()) << answer.error;
    for (std::string const& value : answer.values) {
      EXPECT_TRUE(value == "first" || value == "second") << value;
    }
  }
  Output("sleep 3");
}

}  // namespace
