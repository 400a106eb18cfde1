// The platform's look at a path, the four object types and their kind
// checks, names and parent folders by their rules, sizes and fingerprints
// against stat at test time, and large files in both builds.
#include "survey/files/filesystem_object.h"

#include <gtest/gtest.h>

#include "host/engine/fingerprint.h"
#include "tests/unit/files/files_test_support.h"

namespace {

using survey::files::testing::Output;
using survey::files::testing::ScratchTree;
using survey::files::testing::ShellQuoted;

std::string Text(surveyor_string const& text) {
  return text.length == 0 ? std::string()
                          : std::string(reinterpret_cast<char const*>(text.data), text.length);
}

surveyor_string Index(std::string const& text) {
  return surveyor_string{reinterpret_cast<unsigned char const*>(text.data()), text.size()};
}

FileLocation At(std::string const& path) { return MakeFileLocation(path.c_str()); }

std::string Parent(char const* path) {
  FileLocation location;
  location.SetFullPathName(path);
  return UnixPlatform::ParentFolder(location, false).FullPathName();
}

// What stat(1) says of a path, in its format.
std::string Stat(std::string const& format, std::string const& path) {
  std::string text = Output("stat -L -c " + ShellQuoted(format) + " " + ShellQuoted(path));
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

bool ThirtyTwoBitBuild() { return sizeof(void*) == 4; }

// ---------------------------------------------------------------------------

TEST(UnixPlatformTest, ParentFolderWorksOnTheTextAlone) {
  EXPECT_THROW(Parent(""), NoSuchObject);
  EXPECT_THROW(Parent("/"), NoSuchObject);
  EXPECT_EQ(".", Parent("x"));
  EXPECT_EQ("..", Parent("."));
  EXPECT_EQ(".", Parent(".."));
  EXPECT_EQ("/", Parent("/etc"));
  EXPECT_EQ("/", Parent("//etc"));
  EXPECT_EQ("/usr", Parent("/usr/lib"));
  EXPECT_EQ("a/b", Parent("a/b/c"));
  EXPECT_EQ("a/", Parent("a//c"));
  // Nothing on disk is asked: these need not exist.
  EXPECT_EQ("/no/such", Parent("/no/such/thing"));
}

TEST(UnixPlatformTest, ValidFileNameHoldsForEveryName) {
  EXPECT_TRUE(UnixPlatform::ValidFileName(ConstData("")));
  EXPECT_TRUE(UnixPlatform::ValidFileName(ConstData("a\nb")));
  EXPECT_TRUE(UnixPlatform::ValidFileName(ConstData("\xff\xfe")));
}

TEST(UnixPlatformTest, KindsFollowLinksAndLeaveOutDevicesAndPipes) {
  ScratchTree tree;
  tree.File("plain", "text");
  tree.Folder("sub");
  tree.Fifo("pipe");
  tree.Link("plain", "to-file");
  tree.Link("sub", "to-folder");
  tree.Link("missing", "dangling");

  UnixPlatform::FilesystemInfo const plain(At(tree / "plain"), false);
  EXPECT_TRUE(UnixPlatform::IsFile(plain));
  EXPECT_FALSE(UnixPlatform::IsFolder(plain));
  UnixPlatform::FilesystemInfo const sub(At(tree / "sub"), false);
  EXPECT_FALSE(UnixPlatform::IsFile(sub));
  EXPECT_TRUE(UnixPlatform::IsFolder(sub));
  UnixPlatform::FilesystemInfo const pipe(At(tree / "pipe"), false);
  EXPECT_FALSE(UnixPlatform::IsFile(pipe));
  EXPECT_FALSE(UnixPlatform::IsFolder(pipe));
  UnixPlatform::FilesystemInfo const device(At("/dev/null"), false);
  EXPECT_FALSE(UnixPlatform::IsFile(device));
  EXPECT_FALSE(UnixPlatform::IsFolder(device));
  UnixPlatform::FilesystemInfo const toFile(At(tree / "to-file"), false);
  EXPECT_TRUE(UnixPlatform::IsFile(toFile));
  UnixPlatform::FilesystemInfo const toFolder(At(tree / "to-folder"), false);
  EXPECT_TRUE(UnixPlatform::IsFolder(toFolder));
  EXPECT_THROW(UnixPlatform::FilesystemInfo(At(tree / "dangling"), false), NoSuchObject);
}

TEST(UnixPlatformTest, AFailedLookIsNoErrorWhenAllowedAndLeavesAZeroRecord) {
  ScratchTree tree;
  UnixPlatform::FilesystemInfo const missing(At(tree / "missing"), false, true);
  EXPECT_FALSE(missing.exists);
  EXPECT_EQ(0u, missing.status.st_mode);
  EXPECT_EQ(0, missing.status.st_size);
  EXPECT_EQ(tree / "missing", missing.location.FullPathName());
  EXPECT_THROW(UnixPlatform::FilesystemInfo(At(tree / "missing"), false, false), NoSuchObject);
  UnixPlatform::FilesystemInfo const present(At(tree.Path()), false, true);
  EXPECT_TRUE(present.exists);
}

TEST(UnixPlatformTest, EveryFailedLookIsNoSuchObject) {
  ScratchTree tree;
  tree.File("plain");
  tree.Link("loop", "loop");
  EXPECT_THROW(filesystem_object(At(""), false), NoSuchObject);
  EXPECT_THROW(filesystem_object(At(tree / "missing"), false), NoSuchObject);
  // A file used as a folder on the way.
  EXPECT_THROW(filesystem_object(At(tree / "plain/x"), false), NoSuchObject);
  // A link to itself.
  EXPECT_THROW(filesystem_object(At(tree / "loop"), false), NoSuchObject);
  // A component longer than any file system allows, and a path longer than
  // the kernel takes.
  EXPECT_THROW(filesystem_object(At(tree / std::string(300, 'n')), false), NoSuchObject);
  EXPECT_THROW(filesystem_object(At(tree.Path() + std::string(5000, '/') + "x"), false),
               NoSuchObject);
}

TEST(UnixPlatformTest, IsRootOnlyForTheSingleSlash) {
  EXPECT_TRUE(UnixPlatform::IsRoot(UnixPlatform::FilesystemInfo(At("/"), false)));
  EXPECT_TRUE(UnixPlatform::IsRoot(UnixPlatform::FilesystemInfo(At("////"), false)));
  EXPECT_FALSE(UnixPlatform::IsRoot(UnixPlatform::FilesystemInfo(At("/."), false)));
  EXPECT_FALSE(UnixPlatform::IsRoot(UnixPlatform::FilesystemInfo(At("/etc/.."), false)));
}

TEST(UnixPlatformTest, NameIsTheLastComponentAndTheRootIsNamedBySlash) {
  ScratchTree tree;
  tree.File("plain");
  tree.Folder("sub");
  EXPECT_STREQ("plain", UnixPlatform::Name(UnixPlatform::FilesystemInfo(At(tree / "plain"), false)));
  EXPECT_STREQ("sub", UnixPlatform::Name(UnixPlatform::FilesystemInfo(At(tree / "sub/"), false)));
  EXPECT_STREQ("/", UnixPlatform::Name(UnixPlatform::FilesystemInfo(At("/"), false)));
  EXPECT_STREQ(".", UnixPlatform::Name(UnixPlatform::FilesystemInfo(At("."), false)));
  // A folder's path that ends in "/" (only a text set unchanged can) is
  // named by that "/"; a file's is named by the empty text after it.
  FileLocation trailing;
  trailing.SetFullPathName((tree / "sub/").c_str());
  EXPECT_STREQ("/", UnixPlatform::Name(UnixPlatform::FilesystemInfo(trailing, false)));
  // Without a "/" the whole path is the name.
  ASSERT_EQ(0, chdir(tree.Path().c_str()));
  EXPECT_STREQ("plain", UnixPlatform::Name(UnixPlatform::FilesystemInfo(At("plain"), false)));
  ASSERT_EQ(0, chdir("/"));
}

TEST(UnixPlatformTest, FileSizeIsWhatStatReports) {
  ScratchTree tree;
  tree.File("empty");
  tree.File("some", std::string(12345, 'x'));
  for (char const* name : {"empty", "some"}) {
    UnixPlatform::FilesystemInfo const info(At(tree / name), false);
    EXPECT_EQ(Stat("%s", tree / name), std::to_string(UnixPlatform::FileSize(info))) << name;
  }
}

// Sparse files of 2 GiB and more. The 64-bit build finds and measures them;
// the 32-bit build's stat refuses them, so there they do not exist.
TEST(UnixPlatformTest, LargeFilesAreFoundAndMeasuredByTheBuildsStat) {
  ScratchTree tree;
  int status = 0;
  for (char const* size : {"2G", "4G", "5G"}) {
    std::string const path = tree / (std::string("big-") + size);
    Output("truncate -s " + std::string(size) + " " + ShellQuoted(path) + " 2>&1", &status);
    if (status != 0) GTEST_SKIP() << "this file system refuses a sparse file of " << size;
    std::string const expected = Stat("%s", path);
    if (ThirtyTwoBitBuild()) {
      EXPECT_THROW(file(At(path), false), NoSuchObject) << size;
      UnixPlatform::FilesystemInfo const info(At(path), false, true);
      EXPECT_FALSE(info.exists) << size;
    } else {
      file const big(At(path), false);
      EXPECT_EQ(expected, std::to_string(UnixPlatform::FileSize(big))) << size;
    }
  }
  // Just below the limit, every build measures it.
  std::string const below = tree / "below";
  Output("truncate -s 2147483647 " + ShellQuoted(below));
  EXPECT_EQ(Stat("%s", below), std::to_string(UnixPlatform::FileSize(file(At(below), false))));
}

// ---------------------------------------------------------------------------

TEST(FilesystemObjectTest, KindsAreCheckedByTheConstructors) {
  ScratchTree tree;
  tree.File("plain");
  tree.Folder("sub");
  tree.Fifo("pipe");
  EXPECT_NO_THROW(file(At(tree / "plain"), false));
  EXPECT_NO_THROW(application(At(tree / "plain"), false));
  EXPECT_THROW(folder(At(tree / "plain"), false), NoSuchObject);
  EXPECT_NO_THROW(folder(At(tree / "sub"), false));
  EXPECT_THROW(file(At(tree / "sub"), false), NoSuchObject);
  EXPECT_THROW(application(At(tree / "sub"), false), NoSuchObject);
  EXPECT_NO_THROW(filesystem_object(At(tree / "pipe"), false));
  EXPECT_THROW(file(At(tree / "pipe"), false), NoSuchObject);
  EXPECT_THROW(folder(At(tree / "pipe"), false), NoSuchObject);
  EXPECT_THROW(file(At("/dev/null"), false), NoSuchObject);
  EXPECT_THROW(folder(At("/dev/null"), false), NoSuchObject);
}

TEST(FilesystemObjectTest, AllFourTypesShareOneSize) {
  EXPECT_EQ(sizeof(filesystem_object), sizeof(file));
  EXPECT_EQ(sizeof(filesystem_object), sizeof(folder));
  EXPECT_EQ(sizeof(filesystem_object), sizeof(application));
}

TEST(FilesystemObjectTest, BothLocationsHoldThePathAndTheFlagTravels) {
  ScratchTree tree;
  tree.Folder("sub");
  tree.File("sub/plain");
  folder const parent(At(tree / "sub"), true);
  EXPECT_EQ(tree / "sub", parent.location.FullPathName());
  EXPECT_EQ(tree / "sub", parent.Path().FullPathName());
  EXPECT_TRUE(parent.Flag());
  file const child = FileOfFolder(Index("plain"), Of(0), parent);
  EXPECT_TRUE(child.Flag());
  EXPECT_TRUE(ParentFolder(Of(0), child).Flag());
  EXPECT_FALSE(FileOfWorld(Index(tree / "sub/plain")).Flag());
}

TEST(FilesystemObjectTest, ObjectsCopyTheirLocations) {
  ScratchTree tree;
  tree.File("plain");
  file const original(At(tree / "plain"), false);
  file const copy(original);
  EXPECT_STREQ(original.Path().FullPathName(), copy.Path().FullPathName());
  EXPECT_NE(original.Path().FullPathName(), copy.Path().FullPathName());
  EXPECT_NE(original.location.FullPathName(), copy.location.FullPathName());
}

TEST(FilesystemObjectTest, FingerprintIsPathSizeTimeAndExistence) {
  ScratchTree tree;
  tree.File("plain", "abc");
  file const object(At(tree / "plain"), false);
  std::string const path = tree / "plain";
  long long const size = std::stoll(Stat("%s", path));
  long long const time = std::stoll(Stat("%Y", path));
  ASSERT_EQ(3, size);

  Fingerprinter expected;
  expected.Add(path.data(), path.size());
  off_t const sizeField = static_cast<off_t>(size);
  time_t const timeField = static_cast<time_t>(time);
  bool const exists = true;
  expected.Add(&sizeField, sizeof sizeField);
  expected.Add(&timeField, sizeof timeField);
  expected.Add(&exists, sizeof exists);

  Fingerprinter actual;
  actual << object;
  EXPECT_EQ(expected.Digest(), actual.Digest());
  Fingerprinter asApplication;
  asApplication << application(At(tree / "plain"), false);
  EXPECT_EQ(expected.Digest(), asApplication.Digest());

  // A change of size changes it.
  tree.File("plain", "abcd");
  Fingerprinter grown;
  grown << file(At(tree / "plain"), false);
  EXPECT_NE(expected.Digest(), grown.Digest());
}

// ---------------------------------------------------------------------------

TEST(NamedLookupTest, AnEmptyNameIsNoSuchObject) {
  folder const root(At("/"), false);
  EXPECT_THROW(FileOfWorld(Index("")), NoSuchObject);
  EXPECT_THROW(FolderOfWorld(Index("")), NoSuchObject);
  EXPECT_THROW(ApplicationOfWorld(Index("")), NoSuchObject);
  EXPECT_THROW(FileOfFolder(Index(""), Of(0), root), NoSuchObject);
  EXPECT_THROW(FolderOfFolder(Index(""), Of(0), root), NoSuchObject);
  EXPECT_THROW(ApplicationOfFolder(Index(""), Of(0), root), NoSuchObject);
}

TEST(NamedLookupTest, FolderFormsJoinTheNameWhateverItHolds) {
  ScratchTree tree;
  tree.Folder("etc");
  tree.File("etc/passwd");
  folder const base(At(tree.Path()), false);
  file const joined = FileOfFolder(Index("/etc/passwd"), Of(0), base);
  EXPECT_EQ(tree.Path() + "//etc/passwd", joined.Path().FullPathName());
  EXPECT_EQ(tree / "etc", Text(Path(Of(0), FolderOfFolder(Index("etc/"), Of(0), base))));
  // ".." is not folded.
  EXPECT_EQ(tree / "etc/..", Text(Path(Of(0), FolderOfFolder(Index("etc/.."), Of(0), base))));
  // An embedded NUL ends the name.
  std::string const withNul("etc\0junk", 8);
  EXPECT_EQ(tree / "etc", Text(Path(Of(0), FolderOfFolder(Index(withNul), Of(0), base))));
}

TEST(NamedLookupTest, WorldFormsCutTrailingSlashesButKeepTheRoot) {
  EXPECT_EQ("/usr", Text(Path(Of(0), FolderOfWorld(Index("/usr/")))));
  EXPECT_EQ("/", Text(Path(Of(0), FolderOfWorld(Index("/")))));
  EXPECT_EQ("/", Text(Path(Of(0), FolderOfWorld(Index("/////")))));
  EXPECT_EQ("/", Text(Name(Of(0), FolderOfWorld(Index("/")))));
}

TEST(PropertiesTest, LocationAndParentFolderFailAtTheRoot) {
  folder const root(At("/"), false);
  EXPECT_THROW(ParentFolder(Of(0), root), NoSuchObject);
  EXPECT_THROW(Location(Of(0), root), NoSuchObject);
  folder const etc(At("/etc"), false);
  EXPECT_EQ("/", Text(Path(Of(0), ParentFolder(Of(0), etc))));
  EXPECT_EQ("/", Text(Location(Of(0), etc)));
}

TEST(PropertiesTest, AParentThatCannotBeLookedAtIsNoSuchObject) {
  ScratchTree tree;
  tree.Folder("sub");
  tree.File("sub/plain");
  file const child(At(tree / "sub/plain"), false);
  ASSERT_EQ(0, std::system(("rm -rf " + ShellQuoted(tree / "sub")).c_str()));
  EXPECT_THROW(ParentFolder(Of(0), child), NoSuchObject);
  EXPECT_THROW(Location(Of(0), child), NoSuchObject);
  // The object itself keeps what it saw.
  EXPECT_EQ("plain", Text(Name(Of(0), child)));
}

}  // namespace
