#include "survey/foundation/file_location.h"

#include <gtest/gtest.h>

#include <cstring>
#include <utility>

namespace {

TEST(FileLocationTest, NullPathIsTheNullLocationAndReadsEmpty) {
  FileLocation none(static_cast<char const*>(nullptr));
  EXPECT_TRUE(none.IsNull());
  EXPECT_STREQ(none.FullPathName(), "");
  EXPECT_TRUE(FileLocation().IsNull());
}

TEST(FileLocationTest, EmptyTextIsAllocatedAndNotNull) {
  FileLocation empty("");
  EXPECT_FALSE(empty.IsNull());
  EXPECT_STREQ(empty.FullPathName(), "");
}

TEST(FileLocationTest, TrailingSlashesAreCutButOneByteStays) {
  EXPECT_STREQ(FileLocation("a/b/").FullPathName(), "a/b");
  EXPECT_STREQ(FileLocation("a/b///").FullPathName(), "a/b");
  EXPECT_STREQ(FileLocation("/").FullPathName(), "/");
  EXPECT_STREQ(FileLocation("//").FullPathName(), "/");
  EXPECT_STREQ(FileLocation("//a//b").FullPathName(), "//a//b");
}

TEST(FileLocationTest, JoiningKeepsTheFolderSlashSoRootGivesTwo) {
  EXPECT_STREQ(FileLocation(FileLocation("/"), "x").FullPathName(), "//x");
  EXPECT_STREQ(FileLocation(FileLocation("/etc"), "passwd").FullPathName(), "/etc/passwd");
  EXPECT_STREQ(FileLocation(FileLocation("/usr"), "/etc/passwd").FullPathName(),
               "/usr//etc/passwd");
  EXPECT_STREQ(FileLocation(FileLocation("/usr"), "share//").FullPathName(), "/usr/share");
}

TEST(FileLocationTest, JoiningWithAnEmptyPartAddsNoSlash) {
  EXPECT_STREQ(FileLocation(FileLocation("/usr"), "").FullPathName(), "/usr");
  EXPECT_STREQ(FileLocation(FileLocation("/usr"), "/").FullPathName(), "/usr");
  EXPECT_STREQ(FileLocation(FileLocation(""), "x").FullPathName(), "x");
  EXPECT_TRUE(FileLocation(FileLocation(), "").IsNull());
  EXPECT_TRUE(FileLocation(FileLocation(""), "//").IsNull());
}

TEST(FileLocationTest, JoiningAViewTakesItsBytesOnly) {
  char const text[] = "name/ignored";
  FileLocation joined(FileLocation("/d"), ConstData(text, 4));
  EXPECT_STREQ(joined.FullPathName(), "/d/name");
}

TEST(FileLocationTest, CopiesOwnTheirText) {
  FileLocation original("/a/b");
  FileLocation copy(original);
  EXPECT_NE(copy.FullPathName(), original.FullPathName());
  EXPECT_STREQ(copy.FullPathName(), "/a/b");
  FileLocation assigned;
  assigned = original;
  EXPECT_NE(assigned.FullPathName(), original.FullPathName());
  FileLocation moved(std::move(copy));
  EXPECT_STREQ(moved.FullPathName(), "/a/b");
  EXPECT_TRUE(copy.IsNull());
}

TEST(FileLocationTest, SetFullPathNameCopiesUnchangedAndIgnoresItsOwnText) {
  FileLocation location("/x");
  location.SetFullPathName("/y//");
  EXPECT_STREQ(location.FullPathName(), "/y//");
  char const* own = location.FullPathName();
  location.SetFullPathName(own);
  EXPECT_EQ(location.FullPathName(), own);
  location.SetFullPathName(nullptr);
  EXPECT_TRUE(location.IsNull());
}

TEST(FileLocationTest, NameIsTheTextAfterTheLastSlash) {
  EXPECT_STREQ(FileLocation("/etc/passwd").Name(), "passwd");
  EXPECT_STREQ(FileLocation("plain").Name(), "");
  EXPECT_STREQ(FileLocation().Name(), "");
  EXPECT_STREQ(FileLocation("/").Name(), "");
}

TEST(FileLocationTest, ComparisonIgnoresCase) {
  EXPECT_TRUE(FileLocation("/A") == FileLocation("/a"));
  EXPECT_FALSE(FileLocation("/A") != FileLocation("/a"));
  EXPECT_TRUE(FileLocation("/a") < FileLocation("/B"));
  EXPECT_FALSE(FileLocation("/b") < FileLocation("/A"));
  EXPECT_TRUE(FileLocation() == FileLocation(""));
}

TEST(FileLocationTest, ExtensionIsFromTheLastDotWithNoSlashAfterIt) {
  EXPECT_STREQ(FileExtension("/var/log/a.log"), ".log");
  EXPECT_STREQ(FileExtension("a.tar.gz"), ".gz");
  EXPECT_STREQ(FileExtension("/a.d/file"), "");
  EXPECT_STREQ(FileExtension("/dir/.hidden"), ".hidden");
  EXPECT_STREQ(FileExtension("trailing."), ".");
  EXPECT_STREQ(FileExtension(""), "");
  EXPECT_STREQ(FileExtension(nullptr), "");
}

}  // namespace
