// Files, folders and applications through the survey command, as a query
// author asks, on trees that each test makes: lookups by name, their kinds,
// names, pathnames, locations and parent folders, and bad names.
#include <gtest/gtest.h>

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
using survey::files::testing::Unprivileged;

// Whether the shell's test(1) holds for a path.
bool Holds(std::string const& test, std::string const& path) {
  int status = 0;
  Output("test " + test + " " + ShellQuoted(path), &status);
  return status == 0;
}

std::string Q(std::string const& path) { return QueryString(path); }

TEST(FilesCommandTest, AnEmptyNameIsNoValue) {
  EXPECT_EQ("no value", ErrorOf("file \"\""));
  EXPECT_EQ("no value", ErrorOf("folder \"\""));
  EXPECT_EQ("no value", ErrorOf("application \"\""));
  EXPECT_EQ("no value", ErrorOf("file \"\" of folder \"/\""));
  EXPECT_EQ("no value", ErrorOf("folder \"\" of folder \"/\""));
  EXPECT_EQ("no value", ErrorOf("application \"\" of folder \"/\""));
}

TEST(FilesCommandTest, AFileIsNoFolderAndAFolderNoFileAndPipesAndDevicesAreNeither) {
  ScratchTree tree;
  tree.File("plain", "text");
  tree.Folder("sub");
  tree.Fifo("pipe");
  ASSERT_TRUE(Holds("-f", tree / "plain"));
  ASSERT_TRUE(Holds("-d", tree / "sub"));
  ASSERT_TRUE(Holds("-p", tree / "pipe"));
  EXPECT_EQ(tree / "plain", One("pathname of file " + Q(tree / "plain")));
  EXPECT_EQ(tree / "sub", One("pathname of folder " + Q(tree / "sub")));
  EXPECT_EQ("no value", ErrorOf("file " + Q(tree / "sub")));
  EXPECT_EQ("no value", ErrorOf("application " + Q(tree / "sub")));
  EXPECT_EQ("no value", ErrorOf("folder " + Q(tree / "plain")));
  EXPECT_EQ("no value", ErrorOf("file " + Q(tree / "pipe")));
  EXPECT_EQ("no value", ErrorOf("folder " + Q(tree / "pipe")));
  if (Holds("-c", "/dev/null")) {
    EXPECT_EQ("no value", ErrorOf("file \"/dev/null\""));
    EXPECT_EQ("no value", ErrorOf("folder \"/dev/null\""));
  }
  // By name in a folder the same.
  EXPECT_EQ("no value", ErrorOf("file \"sub\" of folder " + Q(tree.Path())));
  EXPECT_EQ("no value", ErrorOf("folder \"plain\" of folder " + Q(tree.Path())));
  EXPECT_EQ("no value", ErrorOf("file \"pipe\" of folder " + Q(tree.Path())));
}

TEST(FilesCommandTest, LinksCountAsWhatTheyPointToAndADanglingLinkIsNothing) {
  ScratchTree tree;
  tree.File("plain", "text");
  tree.Folder("sub");
  tree.Link("plain", "to-file");
  tree.Link("sub", "to-folder");
  tree.Link("missing", "dangling");
  tree.Link("loop", "loop");
  EXPECT_EQ(tree / "to-file", One("pathname of file " + Q(tree / "to-file")));
  EXPECT_EQ("to-file", One("name of file " + Q(tree / "to-file")));
  EXPECT_EQ("no value", ErrorOf("folder " + Q(tree / "to-file")));
  EXPECT_EQ(tree / "to-folder", One("pathname of folder " + Q(tree / "to-folder")));
  EXPECT_EQ("no value", ErrorOf("file " + Q(tree / "to-folder")));
  for (char const* name : {"dangling", "loop"}) {
    EXPECT_EQ("no value", ErrorOf("file " + Q(tree / name))) << name;
    EXPECT_EQ("no value", ErrorOf("folder " + Q(tree / name))) << name;
    EXPECT_EQ("no value", ErrorOf("application " + Q(tree / name))) << name;
  }
}

TEST(FilesCommandTest, AnApplicationIsLookedUpAsAFileIsWithoutAnyExecuteBit) {
  ScratchTree tree;
  tree.File("plain", "text");
  tree.Mode("plain", 0644);
  EXPECT_EQ(tree / "plain", One("pathname of application " + Q(tree / "plain")));
  EXPECT_EQ(tree / "plain",
            One("pathname of application \"plain\" of folder " + Q(tree.Path())));
  Answer const typed = Ask("application " + Q(tree / "plain"));
  EXPECT_EQ("", typed.error);
  // No search along a path variable: a bare program name is looked for in
  // the working folder only.
  EXPECT_EQ("no value", ErrorOf("application \"sh\"", tree.Path()));
}

TEST(FilesCommandTest, ListingTheRootDoublesTheSlashInThePathnameButNotTheName) {
  if (!Holds("-f", "/etc/passwd")) GTEST_SKIP() << "this machine has no /etc/passwd";
  EXPECT_EQ("//etc/passwd", One("pathname of file \"etc/passwd\" of folder \"/\""));
  EXPECT_EQ("passwd", One("name of file \"etc/passwd\" of folder \"/\""));
  EXPECT_EQ("//etc", One("pathname of folder \"etc\" of folder \"/\""));
  EXPECT_EQ("etc", One("name of folder \"etc\" of folder \"/\""));
  // The parent of the doubled path is the root.
  EXPECT_EQ("/", One("pathname of parent folder of folder \"etc\" of folder \"/\""));
}

TEST(FilesCommandTest, AnAbsoluteNameInAFolderIsAppendedToTheFolder) {
  ScratchTree tree;
  tree.Folder("etc");
  tree.File("etc/passwd");
  EXPECT_EQ(tree.Path() + "//etc/passwd",
            One("pathname of file \"/etc/passwd\" of folder " + Q(tree.Path())));
  if (!Holds("-e", "/usr//etc/passwd")) {
    EXPECT_EQ("no value", ErrorOf("file \"/etc/passwd\" of folder \"/usr\""));
  }
}

TEST(FilesCommandTest, TrailingSlashesAreCutButTheRootKeepsItsSlash) {
  EXPECT_EQ("/usr", One("pathname of folder \"/usr/\""));
  EXPECT_EQ("/usr", One("pathname of folder \"/usr//\""));
  EXPECT_EQ("/", One("pathname of folder \"/\""));
  EXPECT_EQ("/", One("pathname of folder \"///////\""));
  EXPECT_EQ("/", One("name of folder \"/\""));
}

TEST(FilesCommandTest, ParentFoldersAndLocationsFollowThePathText) {
  ScratchTree tree;
  tree.File("x");
  EXPECT_EQ("no value", ErrorOf("parent folder of folder \"/\""));
  EXPECT_EQ("no value", ErrorOf("location of folder \"/\""));
  EXPECT_EQ("/", One("pathname of parent folder of folder \"/etc\""));
  EXPECT_EQ("/", One("location of folder \"/etc\""));
  EXPECT_EQ(".", One("pathname of parent folder of file \"x\"", tree.Path()));
  EXPECT_EQ(".", One("location of file \"x\"", tree.Path()));
  EXPECT_EQ("..", One("pathname of parent folder of folder \".\"", tree.Path()));
  EXPECT_EQ(".", One("pathname of parent folder of folder \"..\"", tree.Path()));
  EXPECT_EQ(tree.Path(), One("location of file " + Q(tree / "x")));
  EXPECT_EQ(tree.Path(), One("pathname of parent folder of file " + Q(tree / "x")));
}

TEST(FilesCommandTest, NamesWithSpacesHighBytesAndLineEndsAreKeptWhole) {
  ScratchTree tree;
  std::vector<std::string> const names = {"with space", " leading", "trailing ", "caf\xc3\xa9",
                                          "\xff\xfe raw", "per%cent", "quote\"d"};
  for (std::string const& name : names) {
    tree.File(name, name);
    EXPECT_EQ(name, One("name of file " + Q(tree / name))) << name;
    EXPECT_EQ(tree / name, One("pathname of file " + Q(tree / name))) << name;
    EXPECT_EQ(name, One("name of file " + Q(name) + " of folder " + Q(tree.Path()))) << name;
  }
  std::string const broken = "line\nend";
  tree.File(broken);
  Answer const answer = Ask("name of file " + Q(tree / broken), "/", /*json=*/true);
  EXPECT_EQ("", answer.error);
  ASSERT_EQ(1u, answer.values.size());
  EXPECT_EQ(broken, answer.values[0]);
}

TEST(FilesCommandTest, BadPathsGiveNoValueOrTheirObjectAndNeverFail) {
  ScratchTree tree;
  tree.File("plain");
  // Longer than a component may be, and longer than a path may be.
  EXPECT_EQ("no value", ErrorOf("file " + Q(tree / std::string(300, 'n'))));
  EXPECT_EQ("no value", ErrorOf("file " + Q(std::string(10000, 'a'))));
  EXPECT_EQ("no value", ErrorOf("folder " + Q("/" + std::string(10000, 'a'))));
  // All slashes: the root.
  EXPECT_EQ("/", One("pathname of folder " + Q(std::string(10000, '/'))));
  EXPECT_EQ("no value", ErrorOf("file " + Q(std::string(10000, '/'))));
  // Slashes inside are kept as they are, and the object is found.
  EXPECT_EQ(tree.Path() + "////plain", One("pathname of file " + Q(tree.Path() + "////plain")));
  // Dots: each "." and ".." is what the kernel makes of it.
  EXPECT_EQ("/./././.", One("pathname of folder \"/./././.\""));
  EXPECT_EQ("/../../..", One("pathname of folder \"/../../..\""));
  EXPECT_EQ("no value", ErrorOf("file \"/./././.\""));
  EXPECT_EQ("no value", ErrorOf("file " + Q(tree / "......")));
  EXPECT_EQ(tree.Path() + "/./plain", One("pathname of file " + Q(tree.Path() + "/./plain")));
  // A line end in a name that does not exist.
  EXPECT_EQ("no value", ErrorOf("file " + Q(tree / "no\nsuch")));
  // An embedded NUL ends the name that is looked for.
  EXPECT_EQ(tree / "plain", One("pathname of file " + Q(tree / "plain" + std::string("\0junk", 5))));
}

TEST(FilesCommandTest, AFolderOnTheWayThatDeniesSearchHidesWhatIsInIt) {
  std::string const runAs = Unprivileged();
  ScratchTree tree;
  tree.Folder("locked");
  tree.File("locked/inside");
  tree.Mode("locked", 0);
  int status = 0;
  Output(runAs + "test -e " + ShellQuoted(tree / "locked/inside"), &status);
  if (status == 0) GTEST_SKIP() << "permission bits do not bind for this user";
  Answer const folderAnswer =
      Ask("pathname of folder " + Q(tree / "locked"), "/", false, runAs);
  EXPECT_EQ("", folderAnswer.error);
  EXPECT_EQ(std::vector<std::string>{tree / "locked"}, folderAnswer.values);
  EXPECT_EQ("no value", Ask("file " + Q(tree / "locked/inside"), "/", false, runAs).error);
}

}  // namespace
