// Listings of a folder and walks of a tree through the survey command, on
// trees that each test makes, against find(1) run at test time: the files
// and folders of a folder, "find files" with wildcards, descendants and
// descendant folders (with links that lead round, through /usr, and down a
// deep tree), and ancestors.
#include <gtest/gtest.h>

#include "tests/unit/files/files_test_support.h"

namespace {

using survey::files::testing::Answer;
using survey::files::testing::Ask;
using survey::files::testing::ErrorOf;
using survey::files::testing::Find;
using survey::files::testing::MakeTreeWithLoops;
using survey::files::testing::One;
using survey::files::testing::Output;
using survey::files::testing::QueryString;
using survey::files::testing::ScratchTree;
using survey::files::testing::ShellQuoted;
using survey::files::testing::Sorted;
using survey::files::testing::Unprivileged;
using survey::files::testing::WalkOrder;

std::string Q(std::string const& path) { return QueryString(path); }

std::vector<std::string> InWalkOrder(std::vector<std::string> paths) {
  std::sort(paths.begin(), paths.end(), WalkOrder);
  return paths;
}

// The values of a query that must end without error.
std::vector<std::string> Values(std::string const& query, std::string const& runAs = "") {
  Answer const answer = Ask(query, "/", false, runAs);
  EXPECT_EQ("", answer.error) << query;
  return answer.values;
}

// A tree of every kind of thing a folder holds, with no line ends in its
// names (each printed value is one line) and no loops of links.
void MakeMixedTree(ScratchTree const& tree) {
  tree.File("a", "a");
  tree.File("b.txt", "b");
  tree.File("B.TXT", "B");
  tree.File("a.txt");
  tree.File("a.txt.TXT");
  tree.File(".hidden");
  tree.File(".TXT");
  tree.File("with space", "s");
  tree.File("caf\xc3\xa9");
  tree.File("\xff\xfe raw");
  tree.File("Zed");
  tree.File("[ab]");
  tree.File("x");
  tree.Folder("sub");
  tree.File("sub/x", "x");
  tree.Folder("sub/deeper");
  tree.File("sub/deeper/y");
  tree.Folder("sub/deeper/empty");
  tree.Folder(".dotdir");
  tree.File(".dotdir/.inside");
  tree.Folder("space dir");
  tree.File("space dir/z z");
  tree.Folder("\xe9t\xe9");
  tree.File("\xe9t\xe9/\xff");
  tree.Link("a", "to-file");
  tree.Link("sub", "to-folder");
  tree.Link("missing", "dangling");
  tree.Link("sub/missing", "sub/dangling");
  tree.Fifo("pipe");
  tree.Fifo("sub/pipe");
}

std::string FindIn(std::string const& folder, std::string const& tests) {
  return "-L " + ShellQuoted(folder) + " -mindepth 1 " + tests;
}

// ---------------------------------------------------------------------------
// One level.

TEST(ListingCommandTest, FilesAndFoldersAreFindsInByteOrderWithDotNamesAndWithoutPipesOrDanglingLinks) {
  ScratchTree tree;
  MakeMixedTree(tree);
  std::vector<std::string> const files = Sorted(Find(FindIn(tree.Path(), "-maxdepth 1 -type f")));
  std::vector<std::string> const folders =
      Sorted(Find(FindIn(tree.Path(), "-maxdepth 1 -type d")));
  ASSERT_FALSE(files.empty());
  ASSERT_FALSE(folders.empty());
  EXPECT_EQ(files, Values("pathnames of files of folder " + Q(tree.Path())));
  EXPECT_EQ(folders, Values("pathnames of folders of folder " + Q(tree.Path())));
  // The link to a file is listed as a file, the link to a folder as a folder.
  EXPECT_NE(files.end(), std::find(files.begin(), files.end(), tree / "to-file"));
  EXPECT_NE(folders.end(), std::find(folders.begin(), folders.end(), tree / "to-folder"));
  EXPECT_NE(files.end(), std::find(files.begin(), files.end(), tree / ".hidden"));
  // Names are the last component.
  std::vector<std::string> names;
  for (std::string const& path : files) names.push_back(path.substr(tree.Path().size() + 1));
  EXPECT_EQ(names, Values("names of files of folder " + Q(tree.Path())));
}

TEST(ListingCommandTest, FindFilesMatchesStarsAndQuestionMarksCaseSensitively) {
  ScratchTree tree;
  MakeMixedTree(tree);
  // Patterns of "*", "?" and plain bytes mean the same to find's -name.
  for (std::string const pattern : {"*", "*.TXT", "*.txt", "?", "*.*", ".*", "a*", "*e*", "???",
                                    "*T", "a", "no such", ""}) {
    std::vector<std::string> const expected = Sorted(
        Find(FindIn(tree.Path(), "-maxdepth 1 -type f -name " + ShellQuoted(pattern))));
    EXPECT_EQ(expected,
              Values("pathnames of find files " + Q(pattern) + " of folder " + Q(tree.Path())))
        << pattern;
  }
  // "*" lists the dot files.
  std::vector<std::string> const all = Values("names of find files \"*\" of folder " + Q(tree.Path()));
  EXPECT_NE(all.end(), std::find(all.begin(), all.end(), ".hidden"));
  EXPECT_NE(all.end(), std::find(all.begin(), all.end(), ".TXT"));
  // Upper-case pattern, lower-case name: no match.
  std::vector<std::string> const upper =
      Values("names of find files \"*.TXT\" of folder " + Q(tree.Path()));
  EXPECT_EQ(upper.end(), std::find(upper.begin(), upper.end(), "a.txt"));
  EXPECT_NE(upper.end(), std::find(upper.begin(), upper.end(), "a.txt.TXT"));
  // Brackets are plain bytes: no classes.
  EXPECT_EQ(std::vector<std::string>{"[ab]"},
            Values("names of find files \"[ab]\" of folder " + Q(tree.Path())));
  // The pattern is matched against the name alone.
  EXPECT_TRUE(Values("names of find files \"sub/*\" of folder " + Q(tree.Path())).empty());
}

TEST(ListingCommandTest, ListingTheRootDoublesTheSlash) {
  std::vector<std::string> expectedFolders;
  for (std::string const& path : Sorted(Find("-L / -mindepth 1 -maxdepth 1 -type d"))) {
    expectedFolders.push_back("/" + path);
  }
  ASSERT_FALSE(expectedFolders.empty());
  EXPECT_EQ(expectedFolders, Values("pathnames of folders of folder \"/\""));
  std::vector<std::string> expectedFiles;
  for (std::string const& path : Sorted(Find("-L / -mindepth 1 -maxdepth 1 -type f"))) {
    expectedFiles.push_back("/" + path);
  }
  EXPECT_EQ(expectedFiles, Values("pathnames of files of folder \"/\""));
  std::vector<std::string> names;
  for (std::string const& path : expectedFolders) names.push_back(path.substr(2));
  EXPECT_EQ(names, Values("names of folders of folder \"/\""));
}

TEST(ListingCommandTest, DevicesAreNeitherFilesNorFolders) {
  if (access("/dev/null", F_OK) != 0) GTEST_SKIP() << "this machine has no /dev/null";
  // The links to a process's own descriptors are what each process makes of
  // them (the command's errors go to a file), so they are left out.
  auto const own = [](std::vector<std::string> paths) {
    paths.erase(std::remove_if(paths.begin(), paths.end(),
                               [](std::string const& path) {
                                 return path == "/dev/stdin" || path == "/dev/stdout" ||
                                        path == "/dev/stderr" || path == "/dev/fd";
                               }),
                paths.end());
    return paths;
  };
  std::vector<std::string> const files =
      own(Sorted(Find(FindIn("/dev", "-maxdepth 1 -type f"))));
  std::vector<std::string> const folders =
      own(Sorted(Find(FindIn("/dev", "-maxdepth 1 -type d"))));
  EXPECT_EQ(files, own(Values("pathnames of files of folder \"/dev\"")));
  EXPECT_EQ(folders, own(Values("pathnames of folders of folder \"/dev\"")));
  EXPECT_EQ(files.end(), std::find(files.begin(), files.end(), "/dev/null"));
  EXPECT_EQ(folders.end(), std::find(folders.begin(), folders.end(), "/dev/null"));
  EXPECT_EQ("no value", ErrorOf("file \"null\" of folder \"/dev\""));
}

// Sparse files of 2 GiB and more: the 64-bit build lists, walks and finds
// them by name; the 32-bit build's stat refuses them, so there they are
// passed over and have no object.
TEST(ListingCommandTest, LargeFilesAreSeenByTheBuildsStat) {
  ScratchTree tree;
  tree.File("small", "s");
  int status = 0;
  Output("truncate -s 5G " + ShellQuoted(tree / "big") + " 2>&1", &status);
  if (status != 0) GTEST_SKIP() << "this file system refuses a sparse file of 5 GiB";
  Output("truncate -s 2G " + ShellQuoted(tree / "two") + " 2>&1", &status);
  ASSERT_EQ(0, status);
  if (sizeof(void*) == 4) {
    EXPECT_EQ("no value", ErrorOf("file " + Q(tree / "big")));
    EXPECT_EQ("no value", ErrorOf("file " + Q(tree / "two")));
    EXPECT_EQ(std::vector<std::string>{"small"}, Values("names of files of folder " + Q(tree.Path())));
    EXPECT_EQ(std::vector<std::string>{"small"},
              Values("names of descendants of folder " + Q(tree.Path())));
  } else {
    std::vector<std::string> const all = Sorted(Find(FindIn(tree.Path(), "-type f")));
    EXPECT_EQ(3u, all.size());
    EXPECT_EQ(tree / "big", One("pathname of file " + Q(tree / "big")));
    EXPECT_EQ(all, Values("pathnames of files of folder " + Q(tree.Path())));
    EXPECT_EQ(all, Values("pathnames of descendants of folder " + Q(tree.Path())));
  }
}

TEST(ListingCommandTest, EmptyAndMissingFoldersListNothing) {
  ScratchTree tree;
  tree.Folder("empty");
  EXPECT_TRUE(Values("files of folder " + Q(tree / "empty")).empty());
  EXPECT_TRUE(Values("folders of folder " + Q(tree / "empty")).empty());
  EXPECT_TRUE(Values("find files \"*\" of folder " + Q(tree / "empty")).empty());
}

TEST(ListingCommandTest, NamesWithLineEndsAreListedWhole) {
  ScratchTree tree;
  tree.File("line\nend");
  tree.File("plain");
  tree.Folder("folder\nwith end");
  tree.File("folder\nwith end/inner\nfile");
  Answer const files = Ask("names of files of folder " + Q(tree.Path()), "/", /*json=*/true);
  EXPECT_EQ("", files.error);
  EXPECT_EQ((std::vector<std::string>{"line\nend", "plain"}), files.values);
  Answer const folders = Ask("names of folders of folder " + Q(tree.Path()), "/", true);
  EXPECT_EQ(std::vector<std::string>{"folder\nwith end"}, folders.values);
  std::vector<std::string> const expected = InWalkOrder(Find(FindIn(tree.Path(), "-type f")));
  Answer const descendants =
      Ask("pathnames of descendants of folder " + Q(tree.Path()), "/", true);
  EXPECT_EQ("", descendants.error);
  EXPECT_EQ(expected, descendants.values);
}

// ---------------------------------------------------------------------------
// Whole trees.

TEST(DescendantsCommandTest, DescendantsAreFindsFilesInWalkOrder) {
  ScratchTree tree;
  MakeMixedTree(tree);
  std::vector<std::string> const files = InWalkOrder(Find(FindIn(tree.Path(), "-type f")));
  std::vector<std::string> const folders = InWalkOrder(Find(FindIn(tree.Path(), "-type d")));
  ASSERT_GT(files.size(), 10u);
  EXPECT_EQ(files, Values("pathnames of descendants of folder " + Q(tree.Path())));
  EXPECT_EQ(folders, Values("pathnames of descendant folders of folder " + Q(tree.Path())));
  EXPECT_EQ(std::to_string(files.size()),
            One("number of descendants of folder " + Q(tree.Path())));
  // Through the link to a folder, the folder's files come again.
  EXPECT_NE(files.end(), std::find(files.begin(), files.end(), tree / "to-folder/deeper/y"));
  // No pipe anywhere.
  for (std::string const& path : files) EXPECT_EQ(std::string::npos, path.find("pipe")) << path;
  for (std::string const& path : folders) EXPECT_EQ(std::string::npos, path.find("pipe")) << path;
}

TEST(DescendantsCommandTest, AFoldersContentComesAtThePlaceOfItsName) {
  ScratchTree tree;
  tree.File("a");
  tree.Folder("b");
  tree.File("b/x");
  tree.File("c");
  EXPECT_EQ((std::vector<std::string>{tree / "a", tree / "b/x", tree / "c"}),
            Values("pathnames of descendants of folder " + Q(tree.Path())));
  // A folder comes before what it holds.
  tree.Folder("b/inner");
  tree.Folder("b/inner/most");
  tree.Folder("d");
  EXPECT_EQ((std::vector<std::string>{tree / "b", tree / "b/inner", tree / "b/inner/most",
                                      tree / "d"}),
            Values("pathnames of descendant folders of folder " + Q(tree.Path())));
}

TEST(DescendantsCommandTest, EmptyFoldersAndFoldersOfFilesOnlyGiveNothing) {
  ScratchTree tree;
  tree.Folder("empty");
  tree.Folder("flat");
  tree.File("flat/one");
  tree.File("flat/two");
  tree.Fifo("flat/pipe");
  EXPECT_TRUE(Values("descendants of folder " + Q(tree / "empty")).empty());
  EXPECT_TRUE(Values("descendant folders of folder " + Q(tree / "empty")).empty());
  EXPECT_TRUE(Values("descendant folders of folder " + Q(tree / "flat")).empty());
  EXPECT_EQ("2", One("number of descendants of folder " + Q(tree / "flat")));
  // The folder itself is never among them.
  std::vector<std::string> const folders =
      Values("pathnames of descendant folders of folder " + Q(tree.Path()));
  EXPECT_EQ((std::vector<std::string>{tree / "empty", tree / "flat"}), folders);
}

TEST(DescendantsCommandTest, UnreadableFoldersListAsEmptyWithoutError) {
  std::string const runAs = Unprivileged();
  ScratchTree tree;
  tree.Folder("locked");
  tree.File("locked/secret");
  tree.Folder("locked/inner");
  tree.Folder("open");
  tree.File("open/visible");
  tree.Folder("open/shut");
  tree.File("open/shut/hidden");
  tree.Mode("locked", 0);
  tree.Mode("open/shut", 0311);  // may be entered, not read
  int status = 0;
  Output(runAs + "ls " + ShellQuoted(tree / "locked") + " >/dev/null 2>&1", &status);
  if (status == 0) GTEST_SKIP() << "permission bits do not bind for this user";

  std::string const locked = Q(tree / "locked");
  EXPECT_EQ(std::vector<std::string>{tree / "locked"},
            Values("pathname of folder " + locked, runAs));
  EXPECT_TRUE(Values("files of folder " + locked, runAs).empty());
  EXPECT_TRUE(Values("folders of folder " + locked, runAs).empty());
  EXPECT_TRUE(Values("find files \"*\" of folder " + locked, runAs).empty());
  EXPECT_TRUE(Values("descendants of folder " + locked, runAs).empty());
  EXPECT_TRUE(Values("descendant folders of folder " + locked, runAs).empty());
  // Inside a tree the walk passes over them, as find does.
  std::vector<std::string> const files =
      InWalkOrder(Find(FindIn(tree.Path(), "-type f"), runAs));
  EXPECT_EQ((std::vector<std::string>{tree / "open/visible"}), files);
  EXPECT_EQ(files, Values("pathnames of descendants of folder " + Q(tree.Path()), runAs));
  std::vector<std::string> const folders =
      InWalkOrder(Find(FindIn(tree.Path(), "-type d"), runAs));
  EXPECT_EQ(folders, Values("pathnames of descendant folders of folder " + Q(tree.Path()), runAs));
  // A file in a folder that may be entered but not read is found by name.
  EXPECT_EQ(tree / "open/shut/hidden",
            Values("pathname of file " + Q(tree / "open/shut/hidden"), runAs).at(0));
}

TEST(DescendantsCommandTest, FoldersOpenAboveAreNotEnteredAgainAsFindDoes) {
  ScratchTree tree;
  MakeTreeWithLoops(tree);
  std::vector<std::string> const files = InWalkOrder(Find(FindIn(tree.Path(), "-type f")));
  std::vector<std::string> const folders = InWalkOrder(Find(FindIn(tree.Path(), "-type d")));
  // The time limit only guards against a walk that does not end.
  Answer const walked =
      Ask("pathnames of descendants of folder " + Q(tree.Path()), "/", false, "", /*timeout=*/"60");
  EXPECT_EQ("", walked.error);
  EXPECT_EQ(files, walked.values);
  Answer const walkedFolders =
      Ask("pathnames of descendant folders of folder " + Q(tree.Path()), "/", false, "", "60");
  EXPECT_EQ("", walkedFolders.error);
  EXPECT_EQ(folders, walkedFolders.values);
  EXPECT_EQ(std::to_string(files.size()), One("number of descendants of folder " + Q(tree.Path())));
  // Links across are walked, and from there the way back up is closed too.
  auto const has = [](std::vector<std::string> const& paths, std::string const& path) {
    return std::find(paths.begin(), paths.end(), path) != paths.end();
  };
  EXPECT_TRUE(has(files, tree / "a/to-b/c/h"));
  EXPECT_TRUE(has(files, tree / "b/c/to-a/f"));
  EXPECT_TRUE(has(files, tree / "b/c/to-g"));
  EXPECT_TRUE(has(folders, tree / "b/c/to-a"));
  EXPECT_FALSE(has(folders, tree / "b/c/to-a/to-b"));
  for (std::string const& path : folders) {
    for (char const* link : {"/self", "/here", "/up", "/two up"}) {
      EXPECT_EQ(std::string::npos, path.find(link)) << path;
    }
  }
}

// The walk of /usr ends, and finds what find -L finds there. Files may come
// and go meanwhile (a build beside the tests, say): what find sees both
// before and after must be walked, and what is walked must have been seen by
// one of the two runs.
void ExpectUsrWalkAsFind(std::string const& phrase, std::string const& tests) {
  std::vector<std::string> const before = Sorted(Find(FindIn("/usr", tests)));
  Answer const walked =
      Ask("pathnames of " + phrase + " of folder \"/usr\"", "/", false, "", /*timeout=*/"300");
  std::vector<std::string> const after = Sorted(Find(FindIn("/usr", tests)));
  EXPECT_EQ("", walked.error) << phrase;
  ASSERT_GT(before.size(), 100u) << phrase;
  // The documented order: depth first, each folder by byte order of names.
  EXPECT_TRUE(std::is_sorted(walked.values.begin(), walked.values.end(), WalkOrder)) << phrase;
  std::vector<std::string> const values = Sorted(walked.values);
  EXPECT_EQ(values.end(), std::adjacent_find(values.begin(), values.end())) << phrase;
  std::vector<std::string> stable;
  std::set_intersection(before.begin(), before.end(), after.begin(), after.end(),
                        std::back_inserter(stable));
  std::vector<std::string> seen;
  std::set_union(before.begin(), before.end(), after.begin(), after.end(),
                 std::back_inserter(seen));
  std::vector<std::string> missing;
  std::set_difference(stable.begin(), stable.end(), values.begin(), values.end(),
                      std::back_inserter(missing));
  std::vector<std::string> extra;
  std::set_difference(values.begin(), values.end(), seen.begin(), seen.end(),
                      std::back_inserter(extra));
  EXPECT_TRUE(missing.empty()) << phrase << ": " << missing.size() << " not walked, first "
                               << (missing.empty() ? "" : missing.front());
  EXPECT_TRUE(extra.empty()) << phrase << ": " << extra.size() << " not found, first "
                             << (extra.empty() ? "" : extra.front());
}

TEST(DescendantsCommandTest, TheWalksOfUsrEndAndFindWhatFindFinds) {
  if (access("/usr", R_OK | X_OK) != 0) GTEST_SKIP() << "this machine has no readable /usr";
  // The 32-bit build's stat refuses files of 2 GiB and more.
  std::string const size = sizeof(void*) == 4 ? " -size -2147483648c" : "";
  ExpectUsrWalkAsFind("descendants", "-type f" + size);
  ExpectUsrWalkAsFind("descendant folders", "-type d");
}

TEST(DescendantsCommandTest, ATreeOfTwoThousandLevelsIsWalkedWhole) {
  ScratchTree tree;
  int const depth = 2000;
  std::string relative = "d";
  for (int level = 1; level <= depth; ++level) {
    tree.Folder(relative);
    if (level % 100 == 0) tree.File(relative + "/f");
    if (level < depth) relative += "/d";
  }
  // From the bottom, a way back to the top: every level is open above it.
  tree.Link(tree.Path(), relative + "/top");
  std::vector<std::string> const files = InWalkOrder(Find(FindIn(tree.Path(), "-type f")));
  std::vector<std::string> const folders = InWalkOrder(Find(FindIn(tree.Path(), "-type d")));
  ASSERT_EQ(static_cast<std::size_t>(depth / 100), files.size());
  ASSERT_EQ(static_cast<std::size_t>(depth), folders.size());
  EXPECT_EQ(files, Values("pathnames of descendants of folder " + Q(tree.Path())));
  EXPECT_EQ(folders, Values("pathnames of descendant folders of folder " + Q(tree.Path())));
}

// ---------------------------------------------------------------------------
// Ancestors.

TEST(AncestorsCommandTest, AncestorsGoFromTheNearestFolderToTheRoot) {
  if (access("/etc/passwd", F_OK) == 0) {
    EXPECT_EQ((std::vector<std::string>{"/etc", "/"}),
              Values("pathnames of ancestors of file \"/etc/passwd\""));
  }
  EXPECT_TRUE(Values("ancestors of folder \"/\"").empty());
  ScratchTree tree;
  tree.Folder("one");
  tree.Folder("one/two");
  tree.File("one/two/three");
  std::vector<std::string> expected;
  for (std::string path = tree / "one/two"; path != "/";
       path = path.substr(0, path.rfind('/') == 0 ? 1 : path.rfind('/'))) {
    expected.push_back(path);
  }
  expected.push_back("/");
  EXPECT_EQ(expected, Values("pathnames of ancestors of file " + Q(tree / "one/two/three")));
  // The walk is on the text: through a link, the link's folders.
  tree.Link("one/two", "link");
  EXPECT_EQ(tree.Path(), Values("pathnames of ancestors of file " + Q(tree / "link/three")).at(1));
  // The doubled slash of a listing of the root goes at the first step.
  EXPECT_EQ((std::vector<std::string>{"/"}),
            Values("pathnames of ancestors of folder \"etc\" of folder \"/\""));
}

TEST(AncestorsCommandTest, ARelativePathNeverReachesARootAndOnlyTheTimeLimitEndsIt) {
  ScratchTree tree;
  tree.File("x");
  Answer const answer =
      Ask("pathnames of ancestors of file \"x\"", tree.Path(), false, "", /*timeout=*/"1");
  EXPECT_EQ("interrupted", answer.error);
  ASSERT_GT(answer.values.size(), 4u);
  for (std::size_t i = 0; i + 1 < answer.values.size(); ++i) {
    EXPECT_EQ(i % 2 == 0 ? "." : "..", answer.values[i]) << i;
  }
}

TEST(AncestorsCommandTest, TheWalkIsOnTheTextAndDoesNotFoldDots) {
  ScratchTree tree;
  tree.Folder("one");
  tree.File("one/f");
  std::vector<std::string> const values =
      Values("pathnames of ancestors of file " + Q(tree / "one/../one/f"));
  ASSERT_GE(values.size(), 4u);
  EXPECT_EQ((std::vector<std::string>{tree / "one/../one", tree / "one/..", tree / "one",
                                      tree.Path()}),
            std::vector<std::string>(values.begin(), values.begin() + 4));
  EXPECT_EQ("/", values.back());
  // A path through a folder that is missing does not stat, so it has no
  // object and so no ancestors.
  EXPECT_EQ("no value", ErrorOf("file " + Q(tree / "none/../one/f")));
}

}  // namespace
