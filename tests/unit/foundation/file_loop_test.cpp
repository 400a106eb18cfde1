#include "survey/foundation/file_loop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/unit/foundation/file_tree.h"

namespace {

using file_tree::Output;
using file_tree::ScratchFolder;
using file_tree::Split;

FileLocation At(std::string const& path) { return FileLocation(path.c_str()); }

// The names directly in a folder as find lists them, with extra tests.
std::vector<std::string> FindNames(std::string const& folder,
                                   std::vector<std::string> const& tests = {}) {
  std::vector<std::string> arguments = {"find", folder, "-mindepth", "1", "-maxdepth", "1"};
  arguments.insert(arguments.end(), tests.begin(), tests.end());
  arguments.push_back("-printf");
  arguments.push_back("%f\\0");
  return Split(Output(arguments), '\0');
}

// The names that stat can look at: find's %Y, the type after following
// links, is N for a link to nothing, L for a loop of links and ? for an entry
// it cannot look at.
std::vector<std::string> FindReachableNames(std::string const& folder,
                                            std::string const& name = "*") {
  std::vector<std::string> names;
  for (std::string const& line :
       Split(Output({"find", folder, "-mindepth", "1", "-maxdepth", "1", "-name", name,
                     "-printf", "%Y%f\\0"}),
             '\0')) {
    if (line[0] != 'N' && line[0] != 'L' && line[0] != '?') names.push_back(line.substr(1));
  }
  return names;
}

// The names in the order the loops promise: collation of the C locale.
std::vector<std::string> InCollationOrder(std::vector<std::string> names) {
  std::setlocale(LC_COLLATE, "C");
  std::sort(names.begin(), names.end(), [](std::string const& a, std::string const& b) {
    return std::strcoll(a.c_str(), b.c_str()) < 0;
  });
  return names;
}

std::string NameIn(FileLocation const& location, std::string const& folder) {
  std::string const path = location.FullPathName();
  EXPECT_EQ(path.compare(0, folder.size() + 1, folder + "/"), 0) << path;
  return path.substr(folder.size() + 1);
}

template <class Loop>
std::vector<std::string> Walk(Loop& loop, std::string const& folder) {
  std::vector<std::string> names;
  for (; loop.Unfinished(); ++loop) {
    EXPECT_TRUE(loop.Item().Valid());
    EXPECT_STREQ(loop.Item().Location().FullPathName(), loop.Location().FullPathName());
    names.push_back(NameIn(loop.Location(), folder));
  }
  return names;
}

std::vector<std::string> FileLoopNames(std::string const& folder, char const* pattern = "*") {
  FileLoop loop;
  loop.WildcardStart(At(folder), pattern);
  return Walk(loop, folder);
}

std::vector<std::string> NewFileLoopNames(std::string const& folder, bool allowBrokenLink,
                                          char const* pattern = "*") {
  NewFileLoop loop;
  loop.WildcardStart(At(folder), pattern, allowBrokenLink);
  return Walk(loop, folder);
}

// A tree with every kind of entry a folder can hold.
void FillMixedTree(ScratchFolder const& folder) {
  folder.WriteFile("plain", "x");
  folder.WriteFile("B upper", "x");
  folder.WriteFile("a.log", "x");
  folder.WriteFile(".log", "x");
  folder.WriteFile(".hidden", "x");
  folder.WriteFile("name with  spaces ", "x");
  folder.WriteFile("high\xc3\xa9\xff\x80", "x");
  folder.WriteFile("new\nline", "x");
  folder.WriteFile("star*name", "x");
  folder.MakeFolder("sub");
  folder.WriteFile("sub/inside", "x");
  folder.MakeFolder(".dotfolder");
  folder.Link("plain", "link-to-file");
  folder.Link("sub", "link-to-folder");
  folder.Link("nowhere", "dangling");
  folder.Link("self", "self");
  folder.Link("ping", "pong");
  folder.Link("pong", "ping");
  if (mkfifo((folder / "fifo").c_str(), 0644) != 0) throw std::runtime_error("mkfifo");
  folder.MakeFolder("closed");
  folder.WriteFile("closed/secret", "x");
  if (chmod((folder / "closed").c_str(), 0) != 0) throw std::runtime_error("chmod");
}

// The recursion of the match written out plainly, as the reference.
bool ReferenceMatch(char const* name, char const* pattern) {
  if (*name == '\0') {
    if (*pattern == '\0') return true;
    if (*pattern == '*') return ReferenceMatch(name, pattern + 1);
    return false;
  }
  if (*pattern == '?' || *pattern == *name) return ReferenceMatch(name + 1, pattern + 1);
  if (*pattern == '*') {
    if (pattern[1] == '\0') return true;
    for (char const* at = name; *at != '\0'; ++at)
      if (ReferenceMatch(at, pattern + 1)) return true;
    return false;
  }
  return false;
}

// ---------------------------------------------------------------------------
// Match and the selector

TEST(MatchTest, Wildcards) {
  EXPECT_TRUE(Match("a.log", "*.log"));
  EXPECT_TRUE(Match(".log", "*.log"));
  EXPECT_FALSE(Match("a.LOG", "*.log"));
  EXPECT_FALSE(Match("a.log.old", "*.log"));
  EXPECT_TRUE(Match("", ""));
  EXPECT_TRUE(Match("", "*"));
  EXPECT_TRUE(Match("", "***"));
  EXPECT_FALSE(Match("", "?"));
  EXPECT_FALSE(Match("a", ""));
  EXPECT_TRUE(Match("abc", "a?c"));
  EXPECT_FALSE(Match("ac", "a?c"));
  EXPECT_TRUE(Match("abc", "*"));
  EXPECT_TRUE(Match("abc", "a**"));
  EXPECT_TRUE(Match("abcbd", "a*b*d"));
  EXPECT_FALSE(Match("abcbe", "a*b*d"));
  EXPECT_TRUE(Match("ABC", "ABC"));
  EXPECT_FALSE(Match("ABC", "abc"));
  // A star in the name is met literally by a star in the pattern first.
  EXPECT_TRUE(Match("*", "*"));
  EXPECT_FALSE(Match("*x", "*"));
  EXPECT_TRUE(Match("x*", "x*"));
}

TEST(MatchTest, AgreesWithThePlainRecursion) {
  std::mt19937 random(7);
  char const nameBytes[] = "ab*?.";
  char const patternBytes[] = "ab*?.";
  for (int round = 0; round < 20000; ++round) {
    std::string name, pattern;
    for (unsigned n = random() % 9; n > 0; --n) name += nameBytes[random() % 5];
    for (unsigned n = random() % 7; n > 0; --n) pattern += patternBytes[random() % 5];
    ASSERT_EQ(Match(name.c_str(), pattern.c_str()),
              ReferenceMatch(name.c_str(), pattern.c_str()))
        << "name '" << name << "' pattern '" << pattern << "'";
  }
}

TEST(MatchTest, ManyStarsStayCheap) {
  std::string const name(250, 'a');
  std::string const pattern = "*a*a*a*a*a*a*a*a*a*a*a*a*b";
  EXPECT_FALSE(Match(name.c_str(), pattern.c_str()));
  EXPECT_TRUE(Match((name + "b").c_str(), pattern.c_str()));
}

TEST(SelectAllFuncTest, KeepsAllButTheTwoFolderNames) {
  auto keeps = [](char const* name) {
    dirent entry{};
    std::strncpy(entry.d_name, name, sizeof entry.d_name - 1);
    return SelectAllFunc(&entry) != 0;
  };
  EXPECT_FALSE(keeps("."));
  EXPECT_FALSE(keeps(".."));
  EXPECT_TRUE(keeps("..."));
  EXPECT_TRUE(keeps(".a"));
  EXPECT_TRUE(keeps("..a"));
  EXPECT_TRUE(keeps("a"));
}

// ---------------------------------------------------------------------------
// FileLoop

TEST(FileLoopTest, AnEmptyFolderIsFinishedAtOnce) {
  ScratchFolder folder;
  FileLoop loop(At(folder.Path()));
  EXPECT_TRUE(loop.Finished());
  EXPECT_FALSE(loop.Unfinished());
  ++loop;
  EXPECT_TRUE(loop.Finished());
  FileLoop idle;
  EXPECT_TRUE(idle.Finished());
  ++idle;
  EXPECT_TRUE(idle.Finished());
}

TEST(FileLoopTest, AMissingOrPlainFolderIsAnEmptyLoop) {
  ScratchFolder folder;
  folder.WriteFile("f", "");
  EXPECT_TRUE(FileLoop(At(folder / "missing")).Finished());
  EXPECT_TRUE(FileLoop(At(folder / "f")).Finished());
  EXPECT_TRUE(FileLoop(FileLocation()).Finished());
  EXPECT_TRUE(NewFileLoop(At(folder / "missing"), true).Finished());
}

TEST(FileLoopTest, AMixedTreeAgainstFind) {
  ScratchFolder folder;
  FillMixedTree(folder);
  std::vector<std::string> const expected =
      InCollationOrder(FindReachableNames(folder.Path()));
  std::vector<std::string> const names = FileLoopNames(folder.Path());
  EXPECT_EQ(names, expected);
  std::set<std::string> const asSet(names.begin(), names.end());
  EXPECT_EQ(asSet.count("."), 0u);
  EXPECT_EQ(asSet.count(".."), 0u);
  EXPECT_EQ(asSet.count(".hidden"), 1u);
  EXPECT_EQ(asSet.count(".dotfolder"), 1u);
  EXPECT_EQ(asSet.count("dangling"), 0u);
  EXPECT_EQ(asSet.count("self"), 0u);
  EXPECT_EQ(asSet.count("link-to-folder"), 1u);
  EXPECT_EQ(asSet.count("new\nline"), 1u);
  EXPECT_EQ(asSet.count("high\xc3\xa9\xff\x80"), 1u);
  EXPECT_EQ(asSet.count("fifo"), 1u);
  EXPECT_EQ(asSet.count("closed"), 1u);
  // The whole listing, dangling links too, is what find lists.
  std::vector<std::string> const everything = InCollationOrder(FindNames(folder.Path()));
  EXPECT_EQ(NewFileLoopNames(folder.Path(), true), everything);
  EXPECT_EQ(NewFileLoopNames(folder.Path(), false), expected);
}

TEST(FileLoopTest, ItemsAgainstStat) {
  ScratchFolder folder;
  FillMixedTree(folder);
  int seen = 0;
  for (FileLoop loop(At(folder.Path())); loop.Unfinished(); ++loop) {
    std::string const path = loop.Location().FullPathName();
    std::vector<std::string> const fields =
        Split(Output({"stat", "-L", "-c", "%s %Y %X %f", path}), ' ');
    ASSERT_EQ(fields.size(), 4u);
    unsigned long const mode = std::stoul(fields[3], nullptr, 16);
    FileItem const& item = loop.Item();
    EXPECT_EQ(item.Length(), std::stoll(fields[0])) << path;
    EXPECT_EQ(item.ModificationTime().microseconds, std::stoll(fields[1]) * 1000000) << path;
    EXPECT_EQ(item.AccessTime().microseconds, std::stoll(fields[2]) * 1000000) << path;
    EXPECT_EQ(item.IsDirectory(), S_ISDIR(mode)) << path;
    EXPECT_EQ(item.IsFile(), S_ISREG(mode)) << path;
    ++seen;
  }
  EXPECT_EQ(seen, static_cast<int>(FindReachableNames(folder.Path()).size()));
}

TEST(FileLoopTest, PatternsAgainstFind) {
  ScratchFolder folder;
  FillMixedTree(folder);
  folder.WriteFile("a.LOG", "x");
  folder.WriteFile("b.log", "x");
  EXPECT_EQ(FileLoopNames(folder.Path(), "*.log"),
            InCollationOrder(FindReachableNames(folder.Path(), "*.log")));
  std::vector<std::string> const logs = FileLoopNames(folder.Path(), "*.log");
  EXPECT_NE(std::find(logs.begin(), logs.end(), "a.log"), logs.end());
  EXPECT_NE(std::find(logs.begin(), logs.end(), ".log"), logs.end());
  EXPECT_EQ(std::find(logs.begin(), logs.end(), "a.LOG"), logs.end());
  EXPECT_EQ(FileLoopNames(folder.Path(), "?ub"), std::vector<std::string>({"sub"}));
  EXPECT_TRUE(FileLoopNames(folder.Path(), "zzz*").empty());
  EXPECT_EQ(NewFileLoopNames(folder.Path(), true, "[dpn]*").size(), 0u);
  EXPECT_EQ(NewFileLoopNames(folder.Path(), true, "*ing"),
            InCollationOrder(FindNames(folder.Path(), {"-name", "*ing"})));
}

TEST(FileLoopTest, DotNamesAreListedAndTheFolderNamesNever) {
  ScratchFolder folder;
  folder.WriteFile(".a", "");
  folder.WriteFile("..b", "");
  folder.WriteFile("...", "");
  EXPECT_EQ(FileLoopNames(folder.Path()), InCollationOrder({".a", "..b", "..."}));
}

// A folder walked by an unprivileged process: the closed folder is listed,
// and a loop inside it is empty.
int WalkClosedFolder(std::string const& path) {
  FileLoop outside(FileLocation(path.c_str()));
  bool listed = false;
  for (; outside.Unfinished(); ++outside)
    if (std::strcmp(outside.Item().Name(), "closed") == 0) listed = true;
  if (!listed) return 1;
  FileLoop inside(FileLocation((path + "/closed").c_str()));
  if (inside.Unfinished()) return 2;
  NewFileLoop newInside(FileLocation((path + "/closed").c_str()), true);
  if (newInside.Unfinished()) return 3;
  return 0;
}

TEST(FileLoopTest, AnUnreadableFolderIsAnEmptyLoop) {
  ScratchFolder folder;
  ASSERT_EQ(chmod(folder.Path().c_str(), 0755), 0);
  FillMixedTree(folder);
  EXPECT_EQ(file_tree::InChildWithoutPrivilege([&] { return WalkClosedFolder(folder.Path()); }),
            0);
}

int WalkFolderOfClosedEntries(std::string const& path) {
  // Every entry is listed by the scan, and none can be looked at.
  FileLoop loop(FileLocation(path.c_str()));
  if (loop.Unfinished()) return 1;
  NewFileLoop newLoop(FileLocation(path.c_str()), true);
  if (newLoop.Unfinished()) return 2;
  return 0;
}

TEST(FileLoopTest, AFolderReadableButNotSearchableIsAnEmptyLoop) {
  ScratchFolder folder;
  ASSERT_EQ(chmod(folder.Path().c_str(), 0755), 0);
  folder.MakeFolder("list-only");
  folder.WriteFile("list-only/a", "");
  folder.WriteFile("list-only/b", "");
  ASSERT_EQ(chmod((folder / "list-only").c_str(), 0444), 0);
  EXPECT_EQ(file_tree::InChildWithoutPrivilege(
                [&] { return WalkFolderOfClosedEntries(folder / "list-only"); }),
            0);
}

TEST(FileLoopTest, ADanglingLinkIsSkippedUnlessAllowed) {
  ScratchFolder folder;
  folder.WriteFile("a", "");
  folder.Link("nowhere", "b");
  folder.WriteFile("c", "");
  EXPECT_EQ(FileLoopNames(folder.Path()), std::vector<std::string>({"a", "c"}));
  EXPECT_EQ(NewFileLoopNames(folder.Path(), false), std::vector<std::string>({"a", "c"}));
  EXPECT_EQ(NewFileLoopNames(folder.Path(), true), std::vector<std::string>({"a", "b", "c"}));
  NewFileLoop loop(At(folder.Path()), true);
  ++loop;
  ASSERT_TRUE(loop.Unfinished());
  EXPECT_TRUE(loop.Item().IsBrokenSymlink());
  EXPECT_STREQ(loop.Item().Name(), "b");
}

TEST(FileLoopTest, AllFailingListsEndWithoutAnException) {
  ScratchFolder folder;
  folder.Link("nowhere", "a");
  folder.Link("self", "self");
  folder.Link("z-nowhere", "z");
  FileLoop loop;
  EXPECT_NO_THROW(loop.Start(At(folder.Path())));
  EXPECT_TRUE(loop.Finished());
  NewFileLoop newLoop;
  EXPECT_NO_THROW(newLoop.Start(At(folder.Path())));
  EXPECT_TRUE(newLoop.Finished());
  // The first item fails and the rest are fine.
  folder.WriteFile("b", "");
  EXPECT_EQ(FileLoopNames(folder.Path()), std::vector<std::string>({"b"}));
}

TEST(FileLoopTest, AnItemDeletedAfterTheScanIsSkipped) {
  ScratchFolder folder;
  for (char const* name : {"a", "b", "c", "d"}) folder.WriteFile(name, "");
  FileLoop loop(At(folder.Path()));
  NewFileLoop newLoop(At(folder.Path()), true);
  ASSERT_STREQ(loop.Item().Name(), "a");
  ASSERT_STREQ(newLoop.Item().Name(), "a");
  ASSERT_EQ(unlink((folder / "b").c_str()), 0);
  ASSERT_EQ(unlink((folder / "c").c_str()), 0);
  ++loop;
  ++newLoop;
  ASSERT_TRUE(loop.Unfinished());
  EXPECT_STREQ(loop.Item().Name(), "d");
  EXPECT_STREQ(newLoop.Item().Name(), "d");
  ASSERT_EQ(unlink((folder / "a").c_str()), 0);
  ASSERT_EQ(unlink((folder / "d").c_str()), 0);
  ++loop;
  ++newLoop;
  EXPECT_TRUE(loop.Finished());
  EXPECT_TRUE(newLoop.Finished());
}

// The scan's selector runs while the folder is read: one that removes an
// entry after keeping it leaves a name that can no longer be looked at,
// first in the list.
std::string gRemoveDuringScan;
int KeepAndRemove(dirent const* entry) {
  if (!SelectAllFunc(entry)) return 0;
  if (std::strcmp(entry->d_name, "a") == 0) unlink((gRemoveDuringScan + "/a").c_str());
  return 1;
}

TEST(FileLoopTest, TheFirstItemDeletedAfterTheScanIsSkipped) {
  ScratchFolder folder;
  folder.WriteFile("a", "");
  folder.WriteFile("b", "");
  gRemoveDuringScan = folder.Path();
  FileLoop loop(At(folder.Path()));
  ASSERT_EQ(loop.Item().Length(), 0);
  folder.WriteFile("a", "");
  loop.DoScanDirectory(KeepAndRemove, "*");
  ASSERT_TRUE(loop.Unfinished());
  EXPECT_STREQ(loop.Item().Name(), "b");
  folder.WriteFile("a", "");
  NewFileLoop newLoop(At(folder.Path()));
  newLoop.DoScanDirectory(KeepAndRemove, "*", true);
  ASSERT_TRUE(newLoop.Unfinished());
  EXPECT_STREQ(newLoop.Item().Name(), "b");
  ++newLoop;
  EXPECT_TRUE(newLoop.Finished());
}

TEST(FileLoopTest, ARestartReplacesTheFolder) {
  ScratchFolder one, two;
  one.WriteFile("x", "");
  two.WriteFile("y", "");
  two.WriteFile("z", "");
  FileLoop loop(At(one.Path()));
  ASSERT_STREQ(loop.Item().Name(), "x");
  loop.Start(At(two.Path()));
  EXPECT_EQ(Walk(loop, two.Path()), std::vector<std::string>({"y", "z"}));
  NewFileLoop newLoop(At(one.Path()));
  newLoop.WildcardStart(At(two.Path()), "z");
  EXPECT_EQ(Walk(newLoop, two.Path()), std::vector<std::string>({"z"}));
}

TEST(FileLoopTest, TheRootFolderJoinsWithTwoSlashes) {
  FileLoop loop;
  loop.WildcardStart(FileLocation("/"), "etc");
  ASSERT_TRUE(loop.Unfinished());
  EXPECT_STREQ(loop.Location().FullPathName(), "//etc");
  EXPECT_TRUE(loop.Item().IsDirectory());
}

TEST(NewFileLoopTest, AFinishedLoopHasNoPresentItem) {
  ScratchFolder folder;
  NewFileLoop loop(At(folder.Path()));
  EXPECT_THROW(loop.Item(), NewFileLoop::InvalidIteratorPosition);
  EXPECT_THROW(loop.Location(), NewFileLoop::Error);
  NewFileLoop idle;
  EXPECT_THROW(idle.Item(), NewFileLoop::InvalidIteratorPosition);
  EXPECT_NO_THROW(idle.EmptyNameList());
  EXPECT_NO_THROW(idle.FreePathName());
  EXPECT_NO_THROW(NewFileLoop::EmptyScandirList(nullptr, 0));
}

TEST(NewFileLoopTest, BuildNameListKeepsTheMatchingEntries) {
  ScratchFolder folder;
  folder.WriteFile("a.txt", "");
  folder.WriteFile("b.txt", "");
  folder.WriteFile("c.dat", "");
  NewFileLoop loop(At(folder.Path()));
  loop.BuildNameList(SelectAllFunc, "*.txt");
  ASSERT_TRUE(loop.Unfinished());
  loop.SetLoopItem();
  EXPECT_STREQ(loop.Item().Name(), "a.txt");
  ++loop;
  EXPECT_STREQ(loop.Item().Name(), "b.txt");
  ++loop;
  EXPECT_TRUE(loop.Finished());
}

// Folders nested so deep that their full path is longer than PATH_MAX.
TEST(FileLoopTest, PathsLongerThanPathMaxAreSkippedOrEmpty) {
  ScratchFolder folder;
  std::string const segment(200, 's');
  int fd = open(folder.Path().c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_GE(fd, 0);
  std::string path = folder.Path();
  std::string lastFitting;
  while (path.size() <= PATH_MAX + 400) {
    ASSERT_EQ(mkdirat(fd, segment.c_str(), 0755), 0);
    int next = openat(fd, segment.c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(next, 0);
    close(fd);
    fd = next;
    path += "/" + segment;
    if (path.size() < PATH_MAX - 100) lastFitting = path;
    // Each level holds a file whose full path may or may not fit.
    int file = openat(fd, "f", O_WRONLY | O_CREAT, 0644);
    ASSERT_GE(file, 0);
    close(file);
  }
  close(fd);
  ASSERT_GT(path.size(), static_cast<std::size_t>(PATH_MAX));
  // The deepest folder cannot even be read by its full path.
  EXPECT_TRUE(FileLoop(At(path)).Finished());
  EXPECT_TRUE(NewFileLoop(At(path), true).Finished());
  // A folder that fits, whose entries' paths do not: all are skipped.
  std::string folderAtLimit = path.substr(0, path.rfind('/'));
  while (folderAtLimit.size() >= PATH_MAX) folderAtLimit = folderAtLimit.substr(0, folderAtLimit.rfind('/'));
  std::vector<std::string> fitting;
  for (std::string const& name : {std::string("f"), segment})
    if (folderAtLimit.size() + 1 + name.size() < PATH_MAX) fitting.push_back(name);
  EXPECT_LT(fitting.size(), 2u);
  EXPECT_EQ(FileLoopNames(folderAtLimit), fitting);
  EXPECT_EQ(NewFileLoopNames(folderAtLimit, true), fitting);
  // Shallower folders list both their entries.
  EXPECT_EQ(FileLoopNames(lastFitting), std::vector<std::string>({"f", segment}));
}

}  // namespace
