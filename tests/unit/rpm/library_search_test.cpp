// The search for the machine's librpm and the three links, on fixture
// folders: every library folder is read under a fixture root.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "survey/rpm/rpm_library.h"
#include "tests/support/shell.h"
#include "tests/unit/rpm/rpm_support.h"

namespace {

using survey::testing::Output;
using survey::testing::ScratchFolder;

class LibrpmSearchTest : public ::testing::Test {
 protected:
  // Makes the folders of `path` under the root and an empty file there.
  void File(std::string const& path) {
    std::string const full = root() + path;
    ASSERT_EQ(0, std::system(("mkdir -p " + survey::rpmtesting::Quoted(
                                                full.substr(0, full.rfind('/'))))
                                 .c_str()));
    std::ofstream(full) << "";
  }
  void Folder(std::string const& path) {
    ASSERT_EQ(0, std::system(("mkdir -p " + survey::rpmtesting::Quoted(root() + path)).c_str()));
  }
  std::string root() const { return scratch.Path() + "/root"; }

  ScratchFolder scratch;
};

TEST_F(LibrpmSearchTest, TheFolderOrderGoesBeforeTheVersion) {
  File("/usr/lib/librpm-4.1.so");
  File("/lib/librpm-4.4.so");
  RPM4::LibrpmChoice const choice = RPM4::FindLibrpm(root().c_str());
  EXPECT_EQ("4.1.so", choice.best);
  EXPECT_TRUE(choice.fromUsrLib);
  EXPECT_FALSE(choice.dotStyle);
  EXPECT_FALSE(choice.fromMultiarch);
  EXPECT_EQ(root() + "/usr/lib", choice.folder);
}

TEST_F(LibrpmSearchTest, VersionsCompareAsNumbersWithinAFolder) {
  File("/usr/lib/librpm-4.9.so");
  File("/usr/lib/librpm-4.10.so");
  EXPECT_EQ("4.10.so", RPM4::FindLibrpm(root().c_str()).best);
}

TEST_F(LibrpmSearchTest, TheDashStyleInLibIsFoundWhenUsrLibHasNone) {
  File("/lib/librpm-4.4.so");
  File("/lib/librpmio-4.4.so");
  File("/lib/librpmdb-4.4.so");
  RPM4::LibrpmChoice const choice = RPM4::FindLibrpm(root().c_str());
  EXPECT_EQ("4.4.so", choice.best);
  EXPECT_FALSE(choice.fromUsrLib);
  RPM4::LinkTargets const targets = RPM4::TargetsOf(choice);
  EXPECT_EQ(root() + "/lib/librpm-4.4.so", targets.rpm);
  EXPECT_EQ(root() + "/lib/librpmio-4.4.so", targets.rpmio);
  EXPECT_EQ(root() + "/lib/librpmdb-4.4.so", targets.rpmdb);
}

TEST_F(LibrpmSearchTest, WithoutADatabaseLibraryTheThirdLinkStandsForTheSecond) {
  File("/usr/lib/librpm.so.3");
  RPM4::LibrpmChoice const choice = RPM4::FindLibrpm(root().c_str());
  EXPECT_EQ("3", choice.best);
  EXPECT_TRUE(choice.dotStyle);
  EXPECT_TRUE(choice.fromUsrLib);
  RPM4::LinkTargets const targets = RPM4::TargetsOf(choice);
  EXPECT_EQ(root() + "/usr/lib/librpm.so.3", targets.rpm);
  EXPECT_EQ(root() + "/usr/lib/librpmio.so.3", targets.rpmio);
  EXPECT_EQ(root() + "/usr/lib/librpmio.so.3", targets.rpmdb);
}

TEST_F(LibrpmSearchTest, ADatabaseLibraryThatExistsIsTheThirdTarget) {
  File("/usr/lib/librpm.so.3");
  File("/usr/lib/librpmdb.so.3");
  RPM4::LinkTargets const targets = RPM4::TargetsOf(RPM4::FindLibrpm(root().c_str()));
  EXPECT_EQ(root() + "/usr/lib/librpmdb.so.3", targets.rpmdb);
}

TEST_F(LibrpmSearchTest, TheDotStyleStaysSetForTheSearchInLib) {
  File("/lib/librpm.so.4");
  RPM4::LibrpmChoice const choice = RPM4::FindLibrpm(root().c_str());
  EXPECT_EQ("4", choice.best);
  EXPECT_TRUE(choice.dotStyle);
  EXPECT_FALSE(choice.fromUsrLib);
  EXPECT_EQ(root() + "/lib/librpm.so.4", RPM4::TargetsOf(choice).rpm);
}

TEST_F(LibrpmSearchTest, AFolderWithALibraryNameDoesNotCount) {
  Folder("/usr/lib/librpm-9.so");
  File("/lib/librpm-4.0.so");
  EXPECT_EQ("4.0.so", RPM4::FindLibrpm(root().c_str()).best);
}

TEST_F(LibrpmSearchTest, NoLibraryGivesAnEmptyChoice) {
  Folder("/usr/lib");
  Folder("/lib");
  RPM4::LibrpmChoice const choice = RPM4::FindLibrpm(root().c_str());
  EXPECT_EQ("", choice.best);
  EXPECT_EQ("", choice.folder);
}

TEST_F(LibrpmSearchTest, TheMultiarchFolderIsSearchedLastInTheDotStyle) {
  std::string const multiarch = RPM4::MultiarchFolder();
  if (multiarch.empty()) GTEST_SKIP() << "this architecture has no multiarch folder";
  File(multiarch + "/librpm.so.9");
  File(multiarch + "/librpm.so.9.3.0");
  File(multiarch + "/librpmio.so.9.3.0");
  File(multiarch + "/librpm-7.so");  // the dash style is not looked for there
  RPM4::LibrpmChoice const choice = RPM4::FindLibrpm(root().c_str());
  EXPECT_EQ("9.3.0", choice.best);
  EXPECT_TRUE(choice.dotStyle);
  EXPECT_TRUE(choice.fromMultiarch);
  EXPECT_FALSE(choice.fromUsrLib);
  RPM4::LinkTargets const targets = RPM4::TargetsOf(choice);
  EXPECT_EQ(root() + multiarch + "/librpm.so.9.3.0", targets.rpm);
  EXPECT_EQ(root() + multiarch + "/librpmio.so.9.3.0", targets.rpmio);
  EXPECT_EQ(root() + multiarch + "/librpmio.so.9.3.0", targets.rpmdb);
}

TEST_F(LibrpmSearchTest, TheMultiarchFolderIsNotSearchedWhenTheFoldersOfOldHaveOne) {
  std::string const multiarch = RPM4::MultiarchFolder();
  if (multiarch.empty()) GTEST_SKIP() << "this architecture has no multiarch folder";
  File(multiarch + "/librpm.so.9");
  File("/lib/librpm.so.3");
  RPM4::LibrpmChoice const choice = RPM4::FindLibrpm(root().c_str());
  EXPECT_EQ("3", choice.best);
  EXPECT_FALSE(choice.fromMultiarch);
}

TEST_F(LibrpmSearchTest, TheLinksAreMadeAndReplaced) {
  std::string const folder = scratch.Path() + "/storage";
  ASSERT_EQ(0, mkdir(folder.c_str(), 0700));
  std::ofstream(folder + "/libkxrpm.so") << "an older file in the way";
  ASSERT_EQ(0, symlink("/nowhere", (folder + "/libkxrpmio.so").c_str()));
  RPM4::LinkTargets const targets{"/a/librpm.so.1", "/a/librpmio.so.1", "/a/librpmdb.so.1"};
  RPM4::MakeLinks(folder.c_str(), targets);
  EXPECT_EQ("/a/librpm.so.1\n", Output("readlink " + folder + "/libkxrpm.so"));
  EXPECT_EQ("/a/librpmio.so.1\n", Output("readlink " + folder + "/libkxrpmio.so"));
  EXPECT_EQ("/a/librpmdb.so.1\n", Output("readlink " + folder + "/libkxrpmdb.so"));
  EXPECT_EQ("3\n", Output("find " + folder + " -mindepth 1 | wc -l"))
      << "nothing but the three links is there";
}

TEST_F(LibrpmSearchTest, ALinkThatCannotBeMadeIsNoSuchObject) {
  RPM4::LinkTargets const targets{"/a/librpm.so.1", "/a/librpmio.so.1", "/a/librpmdb.so.1"};
  std::string const missing = scratch.Path() + "/no/such/folder";
  EXPECT_THROW(RPM4::MakeLinks(missing.c_str(), targets), NoSuchObject);
  EXPECT_EQ(scratch.Path() + " d\n",
            Output("find " + scratch.Path() + " -printf '%p %y\\n'"));
}

TEST(ProgramFolderTest, IsTheFolderOfTheRunningProgramWithItsSlash) {
  std::string const program =
      Output("readlink /proc/" + std::to_string(getpid()) + "/exe | xargs dirname");
  ASSERT_FALSE(program.empty());
  EXPECT_EQ(program.substr(0, program.size() - 1) + "/", RPM4::ProgramFolder());
}

}  // namespace
