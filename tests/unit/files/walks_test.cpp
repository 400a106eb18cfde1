// The listing and walk iterators called as the evaluator calls them, for
// what the command cannot show: items that vanish between the listing and
// their turn, relative ancestors, fresh starts and copied states, links that
// lead round, and the memory a deep walk holds.
#include "survey/files/descendants.h"

#include <malloc.h>

#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__)
// The sanitizer's allocator keeps its own count; its runtime provides this.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

#include "tests/unit/files/files_test_support.h"

namespace {

using survey::files::testing::MakeTreeWithLoops;
using survey::files::testing::ScratchTree;

FileLocation At(std::string const& path) { return MakeFileLocation(path.c_str()); }

std::string PathOf(filesystem_object const& object) { return object.Path().FullPathName(); }

// The bytes that the program holds allocated now.
long long AllocatedBytes() {
#if defined(__SANITIZE_ADDRESS__)
  return static_cast<long long>(__sanitizer_get_current_allocated_bytes());
#else
  struct mallinfo2 const info = mallinfo2();
  return static_cast<long long>(info.uordblks + info.hblkhd);
#endif
}

void Remove(std::string const& path) { ASSERT_EQ(0, unlink(path.c_str())) << path; }

TEST(ListingTest, AnEmptyFolderListsNothing) {
  ScratchTree tree;
  folder const start(At(tree.Path()), false);
  filesystem_object_iterator files;
  EXPECT_THROW(files.FirstFile(Of(0), start), NoSuchObject);
  filesystem_object_iterator folders;
  EXPECT_THROW(folders.FirstFolder(Of(0), start), NoSuchObject);
}

TEST(ListingTest, AFileThatVanishedSinceTheScanEndsTheListingThere) {
  ScratchTree tree;
  for (char const* name : {"a", "b", "c"}) tree.File(name);
  folder const start(At(tree.Path()), false);
  filesystem_object_iterator files;
  EXPECT_EQ(tree / "a", PathOf(files.FirstFile(Of(0), start)));
  Remove(tree / "b");
  EXPECT_THROW(files.NextFile(Of(0), start), NoSuchObject);
}

TEST(ListingTest, AFileMadeAfterTheStartIsNotSeenAndAFreshStartSeesIt) {
  ScratchTree tree;
  tree.File("a");
  folder const start(At(tree.Path()), false);
  filesystem_object_iterator files;
  EXPECT_EQ(tree / "a", PathOf(files.FirstFile(Of(0), start)));
  tree.File("b");
  EXPECT_THROW(files.NextFile(Of(0), start), NoSuchObject);
  EXPECT_EQ(tree / "a", PathOf(files.FirstFile(Of(0), start)));
  EXPECT_EQ(tree / "b", PathOf(files.NextFile(Of(0), start)));
}

TEST(ListingTest, TheFlagOfTheFolderPassesToItsItems) {
  ScratchTree tree;
  tree.File("a");
  tree.Folder("d");
  folder const start(At(tree.Path()), true);
  filesystem_object_iterator files;
  EXPECT_TRUE(files.FirstFile(Of(0), start).Flag());
  filesystem_object_iterator folders;
  EXPECT_TRUE(folders.FirstFolder(Of(0), start).Flag());
  descendant_iterator walk;
  EXPECT_TRUE(walk.First(Of(0), start).Flag());
}

TEST(ListingTest, TheFilterIsTakenAtTheStartAndTheNextIndexIsNotRead) {
  ScratchTree tree;
  for (char const* name : {"a.log", "b.txt", "c.log"}) tree.File(name);
  folder const start(At(tree.Path()), false);
  std::string const pattern = "*.log";
  std::string const other = "*.txt";
  surveyor_string const index{reinterpret_cast<unsigned char const*>(pattern.data()),
                              pattern.size()};
  surveyor_string const otherIndex{reinterpret_cast<unsigned char const*>(other.data()),
                                   other.size()};
  filesystem_object_iterator files;
  EXPECT_EQ(tree / "a.log", PathOf(files.FilteredFirstFile(index, Of(0), start)));
  EXPECT_EQ(tree / "c.log", PathOf(files.FilteredNextFile(otherIndex, Of(0), start)));
  EXPECT_THROW(files.FilteredNextFile(index, Of(0), start), NoSuchObject);
}

// ---------------------------------------------------------------------------

TEST(DescendantWalkTest, AFileDeletedInTheMiddleIsSkippedAndTheRestFollow) {
  ScratchTree tree;
  tree.File("a");
  tree.File("b");
  tree.Folder("c");
  tree.File("c/x");
  tree.File("c/y");
  tree.File("d");
  folder const start(At(tree.Path()), false);
  descendant_iterator walk;
  EXPECT_EQ(tree / "a", PathOf(walk.First(Of(0), start)));
  // "b" has been looked at by its loop already; it goes now.
  Remove(tree / "b");
  EXPECT_EQ(tree / "c/x", PathOf(walk.Next(Of(0), start)));
  Remove(tree / "c/y");
  EXPECT_EQ(tree / "d", PathOf(walk.Next(Of(0), start)));
  EXPECT_THROW(walk.Next(Of(0), start), NoSuchObject);
  // The end stays the end.
  EXPECT_THROW(walk.Next(Of(0), start), NoSuchObject);
}

TEST(DescendantWalkTest, AFolderDeletedInTheMiddleIsSkippedAndTheRestFollow) {
  ScratchTree tree;
  for (char const* name : {"a", "b", "c"}) tree.Folder(name);
  tree.Folder("b/inner");
  folder const start(At(tree.Path()), false);
  descendant_iterator walk;
  EXPECT_EQ(tree / "a", PathOf(walk.FirstFolder(Of(0), start)));
  ASSERT_EQ(0, std::system(("rm -rf " + survey::files::testing::ShellQuoted(tree / "b")).c_str()));
  EXPECT_EQ(tree / "c", PathOf(walk.NextFolder(Of(0), start)));
  EXPECT_THROW(walk.NextFolder(Of(0), start), NoSuchObject);
}

TEST(DescendantWalkTest, FirstAlwaysBeginsAfresh) {
  ScratchTree tree;
  tree.Folder("d");
  tree.File("d/one");
  tree.File("two");
  folder const start(At(tree.Path()), false);
  descendant_iterator walk;
  EXPECT_EQ(tree / "d/one", PathOf(walk.First(Of(0), start)));
  EXPECT_EQ(tree / "d/one", PathOf(walk.First(Of(0), start)));
  EXPECT_EQ(tree / "two", PathOf(walk.Next(Of(0), start)));
  EXPECT_EQ(tree / "d", PathOf(walk.FirstFolder(Of(0), start)));
  EXPECT_THROW(walk.NextFolder(Of(0), start), NoSuchObject);
  EXPECT_EQ(tree / "d/one", PathOf(walk.First(Of(0), start)));
}

TEST(DescendantWalkTest, ACopiedStateSharesItsLoops) {
  ScratchTree tree;
  for (char const* name : {"a", "b", "c"}) tree.File(name);
  folder const start(At(tree.Path()), false);
  descendant_iterator walk;
  EXPECT_EQ(tree / "a", PathOf(walk.First(Of(0), start)));
  {
    descendant_iterator copy(walk);
    EXPECT_EQ(tree / "b", PathOf(copy.Next(Of(0), start)));
  }
  // The loop is shared, so the original has moved on with the copy.
  EXPECT_EQ(tree / "c", PathOf(walk.Next(Of(0), start)));
  EXPECT_THROW(walk.Next(Of(0), start), NoSuchObject);
}

// The paths of the whole walk, file by file or folder by folder.
std::vector<std::string> Walk(folder const& start, bool folders) {
  descendant_iterator walk;
  std::vector<std::string> paths;
  try {
    for (bool first = true;; first = false) {
      if (folders) {
        paths.push_back(
            PathOf(first ? walk.FirstFolder(Of(0), start) : walk.NextFolder(Of(0), start)));
      } else {
        paths.push_back(PathOf(first ? walk.First(Of(0), start) : walk.Next(Of(0), start)));
      }
    }
  } catch (NoSuchObject const&) {
  }
  return paths;
}

TEST(DescendantWalkTest, AFolderOpenAboveIsPassedOverAndAnyOtherIsWalked) {
  ScratchTree tree;
  MakeTreeWithLoops(tree);
  folder const start(At(tree.Path()), false);
  // "self", "a/here", "a/up", "a/up again" and "b/c/two up" lead to the
  // folder they are in or above it; "a/to-b" and "b/c/to-a" lead across,
  // and inside them the way back to a folder open above is closed again.
  EXPECT_EQ((std::vector<std::string>{tree / "a/f", tree / "a/to-b/c/h", tree / "a/to-b/c/to-g",
                                      tree / "a/to-b/g", tree / "b/c/h", tree / "b/c/to-a/f",
                                      tree / "b/c/to-g", tree / "b/g", tree / "top"}),
            Walk(start, false));
  EXPECT_EQ((std::vector<std::string>{tree / "a", tree / "a/to-b", tree / "a/to-b/c", tree / "b",
                                      tree / "b/c", tree / "b/c/to-a"}),
            Walk(start, true));
}

TEST(DescendantWalkTest, AStartThroughALinkIsKnownByTheFolderItLeadsTo) {
  ScratchTree tree;
  MakeTreeWithLoops(tree);
  // "self" is the top folder, so the walk from it is the walk from the top
  // under another name: the links back to the top are closed from the start.
  std::vector<std::string> fromTop = Walk(folder(At(tree.Path()), false), false);
  std::vector<std::string> foldersFromTop = Walk(folder(At(tree.Path()), false), true);
  for (std::string& path : fromTop) path.insert(tree.Path().size(), "/self");
  for (std::string& path : foldersFromTop) path.insert(tree.Path().size(), "/self");
  ASSERT_EQ(9u, fromTop.size());
  folder const start(At(tree / "self"), false);
  EXPECT_EQ(fromTop, Walk(start, false));
  EXPECT_EQ(foldersFromTop, Walk(start, true));
}

TEST(DescendantWalkTest, AFolderIsClosedOnlyWhileItIsOpenAbove) {
  ScratchTree tree;
  tree.Folder("one");
  tree.Folder("two");
  tree.File("two/x");
  tree.Link("../two", "one/back");
  tree.Link("../one", "two/over");
  folder const start(At(tree.Path()), false);
  // Inside "one/back" the way to "one" is closed; from "two", "one" is not
  // open, so "two/over" is walked, and inside it the way to "two" is closed.
  EXPECT_EQ(
      (std::vector<std::string>{tree / "one", tree / "one/back", tree / "two", tree / "two/over"}),
      Walk(start, true));
  EXPECT_EQ((std::vector<std::string>{tree / "one/back/x", tree / "two/x"}), Walk(start, false));
}

TEST(DescendantWalkTest, TwoThousandLevelsDownTheWalkHoldsLittleMemory) {
  ScratchTree tree;
  int const depth = 2000;
  std::string relative = "d";
  for (int level = 1; level < depth; ++level) relative += "/d";
  ASSERT_EQ(
      0, std::system(("mkdir -p " + survey::files::testing::ShellQuoted(tree / relative)).c_str()));
  tree.File(relative + "/f");
  // After the file, a way back to the top: every level is open above it.
  tree.Link(tree.Path(), relative + "/top");
  folder const start(At(tree.Path()), false);
  descendant_iterator walk;
  long long const before = AllocatedBytes();
  // The first file is at the bottom: the walk holds one listing per level.
  EXPECT_EQ(tree / relative + "/f", PathOf(walk.First(Of(0), start)));
  long long const held = AllocatedBytes() - before;
  RecordProperty("held_bytes", std::to_string(held));
  // Each level keeps its folder's path and its item's path, a few KiB at
  // this depth; a few tens of MiB in all.
  EXPECT_LT(held, 64LL << 20) << "bytes held at the bottom";
  EXPECT_THROW(walk.Next(Of(0), start), NoSuchObject);
  EXPECT_EQ(tree / "d", PathOf(walk.FirstFolder(Of(0), start)));
  int folders = 1;
  try {
    for (;;) {
      walk.NextFolder(Of(0), start);
      ++folders;
    }
  } catch (NoSuchObject const&) {
  }
  EXPECT_EQ(depth, folders);
}

TEST(DescendantWalkTest, MakeFileLoopStartsOnTheFolder) {
  ScratchTree tree;
  tree.File("only");
  SharingPtr<FileLoop> const loop = MakeFileLoop(At(tree.Path()));
  ASSERT_TRUE(loop->Unfinished());
  EXPECT_EQ(tree / "only", std::string(loop->Location().FullPathName()));
  SharingPtr<FileLoop> const empty = MakeFileLoop(At(tree / "missing"));
  EXPECT_TRUE(empty->Finished());
}

// ---------------------------------------------------------------------------

TEST(AncestorWalkTest, ARelativePathAlternatesBetweenDotAndDotDot) {
  ScratchTree tree;
  tree.File("x");
  ASSERT_EQ(0, chdir(tree.Path().c_str()));
  file const object(At("x"), false);
  ancestor_iterator walk;
  EXPECT_EQ(".", PathOf(walk.First(Of(0), object)));
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ("..", PathOf(walk.Next(Of(0), object))) << i;
    EXPECT_EQ(".", PathOf(walk.Next(Of(0), object))) << i;
  }
  ASSERT_EQ(0, chdir("/"));
}

TEST(AncestorWalkTest, TheRootComesLastAndHasNoAncestors) {
  ScratchTree tree;
  tree.Folder("one");
  tree.File("one/f");
  file const object(At(tree / "one/f"), false);
  ancestor_iterator walk;
  std::vector<std::string> seen{PathOf(walk.First(Of(0), object))};
  for (;;) {
    try {
      seen.push_back(PathOf(walk.Next(Of(0), object)));
    } catch (NoSuchObject const&) {
      break;
    }
  }
  ASSERT_GE(seen.size(), 3u);
  EXPECT_EQ(tree / "one", seen[0]);
  EXPECT_EQ(tree.Path(), seen[1]);
  EXPECT_EQ("/", seen.back());
  folder const root(At("/"), false);
  ancestor_iterator rootWalk;
  EXPECT_THROW(rootWalk.First(Of(0), root), NoSuchObject);
}

TEST(AncestorWalkTest, AParentThatCannotBeLookedAtEndsTheWalk) {
  ScratchTree tree;
  tree.Folder("one");
  tree.Folder("one/two");
  tree.File("one/two/f");
  file const object(At(tree / "one/two/f"), false);
  ancestor_iterator walk;
  EXPECT_EQ(tree / "one/two", PathOf(walk.First(Of(0), object)));
  ASSERT_EQ(0, std::system(("rm -rf " + survey::files::testing::ShellQuoted(tree / "one")).c_str()));
  EXPECT_THROW(walk.Next(Of(0), object), NoSuchObject);
}

}  // namespace
