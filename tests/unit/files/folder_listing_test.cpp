// The listing of one folder that the tree walks use: its order against the
// C library's own `scandir` with `alphasort`, its looks against `stat` run
// as a command, and the handles it keeps.
#include "survey/files/folder_listing.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <memory>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "tests/unit/files/files_test_support.h"

namespace {

using survey::files::testing::Output;
using survey::files::testing::ScratchTree;
using survey::files::testing::ShellQuoted;
using survey::files::testing::Split;

// The names that the listing gives, in its order.
std::vector<std::string> ListingNames(std::string const& folder) {
  std::vector<std::string> names;
  for (FolderListing listing(folder.c_str()); !listing.Finished(); listing.Advance()) {
    EXPECT_EQ(folder + "/" + listing.Name(), std::string(listing.Path()));
    names.push_back(listing.Name());
  }
  return names;
}

// The names of the folder but "." and "..", in the order of the C
// library's `scandir` with `alphasort` under the collation in force.
std::vector<std::string> ScandirNames(std::string const& folder) {
  dirent** list = nullptr;
  int const count = scandir(folder.c_str(), &list, nullptr, alphasort);
  std::vector<std::string> names;
  for (int i = 0; i < count; ++i) {
    std::string const name = list[i]->d_name;
    if (name != "." && name != "..") names.push_back(name);
    std::free(list[i]);
  }
  std::free(list);
  return names;
}

// The names of the folder that `stat -L` can look at by their full paths.
std::vector<std::string> StatableNames(std::string const& folder) {
  std::vector<std::string> names;
  for (std::string const& name :
       Split(Output("find -H " + ShellQuoted(folder) +
                    " -mindepth 1 -maxdepth 1 -printf '%f\\0' 2>/dev/null || true"),
             '\0')) {
    int status = 0;
    Output("stat -L " + ShellQuoted(folder + "/" + name) + " >/dev/null 2>&1", &status);
    if (status == 0) names.push_back(name);
  }
  return names;
}

std::set<std::string> AsSet(std::vector<std::string> const& names) {
  return std::set<std::string>(names.begin(), names.end());
}

// The handles that the process holds open, by what they lead to (the
// kernel's own account; the handle that reads it is one of them).
std::multiset<std::string> OpenHandles() {
  std::multiset<std::string> handles;
  DIR* const folder = opendir("/proc/self/fd");
  if (folder == nullptr) return handles;
  while (dirent const* const entry = readdir(folder)) {
    std::string const name = entry->d_name;
    if (name == "." || name == "..") continue;
    char target[PATH_MAX + 1] = {};
    ssize_t const length =
        readlink(("/proc/self/fd/" + name).c_str(), target, sizeof target - 1);
    handles.insert(length < 0 ? "?" : std::string(target, static_cast<std::size_t>(length)));
  }
  closedir(folder);
  return handles;
}

// Names that differ late, early, in length around the eight bytes that the
// sort looks at first, and in bytes above 127.
std::vector<std::string> AwkwardNames() {
  std::vector<std::string> names = {
      "a",         "B",          "_",          "0",          ".hidden",     "..x",
      "abcdefg",   "abcdefgh",   "abcdefgh0",  "abcdefgh00", "abcdefgi",    "abcdefg0",
      "prefix-long-name-1",      "prefix-long-name-10",    "prefix-long-name-2",
      "prefix-long-name-1 ",     "\xc3\xa9t\xc3\xa9",      "\xff",        "\x7f",
      "Zebra",     "zebra",      "zebra.txt",  "zebra-",     "a b",         "a\tb"};
  // Random names over a small alphabet, so that many share long prefixes.
  std::mt19937 random(11);
  std::string const alphabet = "aAb.-_9\xe4\x80";
  std::set<std::string> seen(names.begin(), names.end());
  while (names.size() < 3000) {
    std::size_t const length = 1 + random() % 20;
    std::string name;
    for (std::size_t i = 0; i < length; ++i) name += alphabet[random() % alphabet.size()];
    if (name == "." || name == ".." || !seen.insert(name).second) continue;
    names.push_back(name);
  }
  return names;
}

TEST(FolderListingTest, TheOrderIsThatOfScandirWithAlphasort) {
  ScratchTree tree;
  std::vector<std::string> const names = AwkwardNames();
  for (std::string const& name : names) tree.File(name);
  // Three thousand names need more than one read of the folder.
  std::vector<std::string> const listed = ListingNames(tree.Path());
  ASSERT_EQ(names.size(), listed.size());
  EXPECT_EQ(AsSet(names), AsSet(listed));
  std::string const before = std::setlocale(LC_COLLATE, nullptr);
  EXPECT_EQ(ScandirNames(tree.Path()), listed);
  // In the byte order, as `sort` has it in the C locale.
  EXPECT_EQ(Split(Output("find " + ShellQuoted(tree.Path()) +
                         " -mindepth 1 -maxdepth 1 -printf '%f\\0' | LC_ALL=C sort -z"),
                  '\0'),
            listed);
  // Under any other collation that this machine has, still as `scandir`.
  int others = 0;
  for (char const* locale : {"C.UTF-8", "C.utf8", "en_US.UTF-8", "en_US.utf8", "de_DE.UTF-8"}) {
    if (std::setlocale(LC_COLLATE, locale) == nullptr) continue;
    ++others;
    EXPECT_EQ(ScandirNames(tree.Path()), ListingNames(tree.Path())) << locale;
  }
  std::setlocale(LC_COLLATE, before.c_str());
  RecordProperty("other_collations", std::to_string(others));
  EXPECT_EQ(ScandirNames(tree.Path()), ListingNames(tree.Path()));
}

TEST(FolderListingTest, NamesOfEveryLengthOverManyReadsComeWholeAndInOrder) {
  ScratchTree tree;
  // Names from one byte to the longest, many of them long, so that one read
  // of the folder holds few entries and the block of names grows several
  // times; each name differs from the others only near its end.
  std::vector<std::string> names;
  for (int i = 0; i < 900; ++i) {
    std::size_t const length = 1 + (static_cast<std::size_t>(i) * 7919) % NAME_MAX;
    std::string name(length, static_cast<char>('a' + i % 3));
    std::string const tail = std::to_string(i);
    if (tail.size() <= name.size()) name.replace(name.size() - tail.size(), tail.size(), tail);
    names.push_back(name);
  }
  std::set<std::string> const unique(names.begin(), names.end());
  for (std::string const& name : unique) tree.File(name);
  std::vector<std::string> const listed = ListingNames(tree.Path());
  EXPECT_EQ(unique.size(), listed.size());
  EXPECT_EQ(Split(Output("find " + ShellQuoted(tree.Path()) +
                         " -mindepth 1 -maxdepth 1 -printf '%f\\0' | LC_ALL=C sort -z"),
                  '\0'),
            listed);
  EXPECT_EQ(ScandirNames(tree.Path()), listed);
}

TEST(FolderListingTest, EachItemHoldsWhatStatSaysOfIt) {
  ScratchTree tree;
  tree.File("empty");
  tree.File("three", "abc");
  tree.Folder("folder");
  tree.Link("three", "to-three");
  tree.Link("folder", "to-folder");
  tree.Link("nothing", "dangling");
  tree.Link("loop-b", "loop-a");
  tree.Link("loop-a", "loop-b");
  tree.Fifo("pipe");
  std::vector<std::string> const expected = StatableNames(tree.Path());
  // The dangling link and the loop of links cannot be looked at.
  ASSERT_EQ(6u, expected.size());
  std::vector<std::string> seen;
  for (FolderListing listing(tree.Path().c_str()); !listing.Finished(); listing.Advance()) {
    std::string const path = listing.Path();
    seen.push_back(listing.Name());
    struct stat const& status = listing.Status();
    char record[128];
    std::snprintf(record, sizeof record, "%llu %lld %x",
                  static_cast<unsigned long long>(status.st_ino),
                  static_cast<long long>(status.st_size), static_cast<unsigned>(status.st_mode));
    EXPECT_EQ(Output("stat -L -c '%i %s %f' " + ShellQuoted(path) + " | tr -d '\\n'"),
              std::string(record))
        << path;
    EXPECT_EQ(S_ISDIR(status.st_mode), listing.IsDirectory()) << path;
    EXPECT_EQ(S_ISREG(status.st_mode), listing.IsFile()) << path;
  }
  EXPECT_EQ(AsSet(expected), AsSet(seen));
}

TEST(FolderListingTest, ALinkIsLookedAtByItsFullPathSoTheLimitOfLinksHolds) {
  ScratchTree tree;
  tree.Folder("r");
  tree.File("r/file");
  tree.Link(".", "r/l");
  // A chain of twelve links that ends at the file.
  for (int i = 1; i <= 12; ++i) {
    tree.Link(i == 12 ? "file" : "c" + std::to_string(i + 1), "r/c" + std::to_string(i));
  }
  // The folder by a path that goes through its link to itself thirty
  // times: the chain's first links are then too many for one path.
  std::string folder = tree / "r";
  for (int i = 0; i < 30; ++i) folder += "/l";
  std::vector<std::string> const expected = StatableNames(folder);
  ASSERT_EQ(1u, AsSet(expected).count("file"));
  ASSERT_EQ(0u, AsSet(expected).count("c1")) << "stat follows the whole chain here";
  EXPECT_EQ(AsSet(expected), AsSet(ListingNames(folder)));
}

TEST(FolderListingTest, AnItemWhosePathIsTooLongIsSkippedAsStatSkipsIt) {
  ScratchTree tree;
  std::string const segment(200, 's');
  std::string const longName(250, 'n');
  int handle = open(tree.Path().c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_GE(handle, 0);
  std::string path = tree.Path();
  // Down until the folder's own path is near the limit, a file with a short
  // and one with a long name at each level.
  while (path.size() + 1 + segment.size() < PATH_MAX) {
    ASSERT_EQ(0, mkdirat(handle, segment.c_str(), 0755));
    int const next = openat(handle, segment.c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(next, 0);
    close(handle);
    handle = next;
    path += "/" + segment;
    for (std::string const& name : {std::string("f"), longName}) {
      int const file = openat(handle, name.c_str(), O_WRONLY | O_CREAT, 0644);
      ASSERT_GE(file, 0);
      close(file);
    }
  }
  close(handle);
  // The deepest folder's long name does not fit; shallower ones fit.
  ASSERT_LT(path.size(), static_cast<std::size_t>(PATH_MAX));
  ASSERT_GE(path.size() + 1 + longName.size(), static_cast<std::size_t>(PATH_MAX));
  std::vector<std::string> const expected = StatableNames(path);
  ASSERT_EQ(0u, AsSet(expected).count(longName));
  EXPECT_EQ(expected, ListingNames(path));
  // Two levels up, every name fits.
  std::string above = path.substr(0, path.rfind('/'));
  above = above.substr(0, above.rfind('/'));
  EXPECT_EQ(3u, StatableNames(above).size());
  EXPECT_EQ(AsSet(StatableNames(above)), AsSet(ListingNames(above)));
}

TEST(FolderListingTest, FewHandlesAreHeldHowManyListingsThereAre) {
  ScratchTree tree;
  for (char const* name : {"a", "b", "c"}) tree.File(name);
  tree.Link("a", "to-a");
  std::multiset<std::string> const handlesBefore = OpenHandles();
  int const heldBefore = FolderListing::HandlesHeld();
  std::vector<std::unique_ptr<FolderListing>> listings;
  for (int i = 0; i < 3 * FolderListing::kMostHandlesHeld; ++i) {
    listings.emplace_back(new FolderListing(tree.Path().c_str()));
  }
  int const opened = static_cast<int>(OpenHandles().size() - handlesBefore.size());
  EXPECT_EQ(static_cast<std::size_t>(opened), OpenHandles().count(tree.Path()));
  EXPECT_GE(opened, 1);
  EXPECT_LE(opened, FolderListing::kMostHandlesHeld);
  EXPECT_LE(FolderListing::HandlesHeld(), FolderListing::kMostHandlesHeld);
  // With a handle or without, every listing gives every name.
  std::vector<std::string> const expected = StatableNames(tree.Path());
  ASSERT_EQ(4u, expected.size());
  for (auto& listing : listings) {
    std::vector<std::string> names;
    for (; !listing->Finished(); listing->Advance()) names.push_back(listing->Name());
    EXPECT_EQ(AsSet(expected), AsSet(names));
    EXPECT_EQ(expected.size(), names.size());
  }
  // A finished listing has let go of its handle.
  EXPECT_EQ(handlesBefore, OpenHandles());
  EXPECT_EQ(heldBefore, FolderListing::HandlesHeld());
  listings.clear();
  EXPECT_EQ(handlesBefore, OpenHandles());
}

TEST(FolderListingTest, MissingEmptyAndUnreadableFoldersListNothing) {
  ScratchTree tree;
  tree.Folder("empty");
  tree.File("plain");
  tree.Folder("shut");
  tree.File("shut/inside");
  tree.Mode("shut", 0);
  std::multiset<std::string> const handlesBefore = OpenHandles();
  EXPECT_TRUE(FolderListing((tree / "missing").c_str()).Finished());
  EXPECT_TRUE(FolderListing((tree / "empty").c_str()).Finished());
  EXPECT_TRUE(FolderListing((tree / "plain").c_str()).Finished());
  EXPECT_TRUE(FolderListing("").Finished());
  // The superuser reads any folder; so does the listing then.
  EXPECT_EQ(StatableNames(tree / "shut"), ListingNames(tree / "shut"));
  EXPECT_EQ(handlesBefore, OpenHandles());
}

}  // namespace
