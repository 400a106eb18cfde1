// The mount table reader and the figures of file-system values, called as
// the evaluator calls them: tables that each test writes, odd lines and
// endings, blocks cut anywhere, and records with chosen counts.
#include "survey/files/filesystems.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/unit/files/files_test_support.h"

namespace {

using survey::files::testing::ScratchTree;

struct Mount {
  std::string path;
  MountPointEntry::Type type;
  bool operator==(Mount const& other) const = default;
};

std::ostream& operator<<(std::ostream& out, Mount const& mount) {
  return out << mount.path << " (" << static_cast<int>(mount.type) << ")";
}

std::vector<Mount> Plain(std::vector<MountPointEntry> const& entries) {
  std::vector<Mount> mounts;
  for (MountPointEntry const& entry : entries) mounts.push_back({entry.path.CString(), entry.type});
  return mounts;
}

// The mounts of a table written to a file and read as the library reads
// "/etc/mtab".
std::vector<Mount> MountsOf(std::string const& table) {
  ScratchTree tree;
  tree.File("mtab", table);
  std::vector<MountPointEntry> entries;
  MountedFilesystems(FileLocation((tree / "mtab").c_str()), entries);
  return Plain(entries);
}

// The mounts of a table handed to the scanner in blocks of `size` bytes.
std::vector<Mount> ScannedInBlocks(std::string const& table, std::size_t size) {
  std::vector<MountPointEntry> entries;
  MountTableScanner scanner(entries);
  for (std::size_t at = 0; at < table.size(); at += size) {
    std::size_t const length = std::min(size, table.size() - at);
    scanner.Scan(ConstData(table.data() + at, length));
  }
  return Plain(entries);
}

constexpr MountPointEntry::Type kRemovable = MountPointEntry::kRemovable;
constexpr MountPointEntry::Type kFixed = MountPointEntry::kFixed;
constexpr MountPointEntry::Type kRemote = MountPointEntry::kRemote;
constexpr MountPointEntry::Type kCdRom = MountPointEntry::kCdRom;
constexpr MountPointEntry::Type kUnknown = MountPointEntry::kUnknown;

TEST(MountTableTest, TypeWordsAreComparedExactly) {
  EXPECT_EQ(kRemote, ClassifyMountType("nfs"));
  for (char const* word : {"hsfs", "cdfs", "cdrfs", "subfs"}) {
    EXPECT_EQ(kCdRom, ClassifyMountType(word)) << word;
  }
  for (char const* word : {"pcsf", "fd", "msdos", "usbfs", "usbdevfs"}) {
    EXPECT_EQ(kRemovable, ClassifyMountType(word)) << word;
  }
  for (char const* word : {"ext4", "NFS", "nfs4", "iso9660", "vfat", "", "tmpfs", "cdfs "}) {
    EXPECT_EQ(kFixed, ClassifyMountType(word)) << word;
  }
}

TEST(MountTableTest, EachLineIsADeviceAMountPointAndATypeWord) {
  std::string const table =
      "/dev/sda1 / ext3 rw 0 0\n"
      "server:/export /mnt/nfs nfs rw 0 0\n"
      "/dev/cdrom /media/cd cdfs ro 0 0\n"
      "/dev/fd0\t/mnt/floppy\tmsdos\trw 0 0\n"
      "host:/x /mnt/remote ext3 rw 0 0\n"
      "server2:/y /mnt/nfs2 nfs\n"
      "proc /proc proc rw 0 0\n";
  EXPECT_EQ(MountsOf(table), (std::vector<Mount>{{"/", kFixed},
                                                 {"/mnt/nfs", kRemote},
                                                 {"/media/cd", kCdRom},
                                                 {"/mnt/floppy", kRemovable},
                                                 {"/mnt/remote", kRemote},
                                                 {"/mnt/nfs2", kRemote},
                                                 {"/proc", kFixed}}));
}

TEST(MountTableTest, ALastLineCountsOnlyWhenItsTypeWordWasFollowedByABlank) {
  EXPECT_EQ(MountsOf("a / ext3 rw\nb /b ext3"), (std::vector<Mount>{{"/", kFixed}}));
  EXPECT_EQ(MountsOf("a / ext3 rw\nb /b ext3 "),
            (std::vector<Mount>{{"/", kFixed}, {"/b", kFixed}}));
  // A remote mount is taken at the end of its mount point already.
  EXPECT_EQ(MountsOf("h:/e /r "), (std::vector<Mount>{{"/r", kRemote}}));
  EXPECT_TRUE(MountsOf("h:/e /r").empty());
}

TEST(MountTableTest, CarriageReturnsEndLinesToo) {
  EXPECT_EQ(MountsOf("a /a ext3 rw\r\nb /b nfs\rc /c cdfs\r\n"),
            (std::vector<Mount>{{"/a", kFixed}, {"/b", kRemote}, {"/c", kCdRom}}));
  EXPECT_EQ(MountsOf("h:/x /r\rb /b ext3\n"), (std::vector<Mount>{{"/r", kRemote}, {"/b", kFixed}}));
}

TEST(MountTableTest, OddLinesGiveWhatTheirFieldsSay) {
  // Empty lines are nothing; a line of two fields has no type and so no
  // mount; blanks before a mount point are passed over.
  EXPECT_EQ(MountsOf("\n\n\r\na /a\nb  /b ext3 x\n"), (std::vector<Mount>{{"/b", kFixed}}));
  // A line of a single field does not end its device field: the next line
  // runs on as its continuation, and a colon anywhere in it makes the next
  // mount remote.
  EXPECT_EQ(MountsOf("lonely:\nb /b ext3 x\nc /c ext3 x\n"),
            (std::vector<Mount>{{"/b", kRemote}, {"/c", kFixed}}));
  // A type word right after a second blank is the empty word: fixed.
  EXPECT_EQ(MountsOf("a /a  nfs x\n"), (std::vector<Mount>{{"/a", kFixed}}));
  // Bytes of any value are part of their fields.
  std::string const binary("d /m\xff\x01nt ext3 x\n\0 /z\0 nfs y\n", 28);
  std::vector<Mount> const mounts = MountsOf(binary);
  ASSERT_EQ(2u, mounts.size());
  EXPECT_EQ("/m\xff\x01nt", mounts[0].path);
  EXPECT_EQ(kRemote, mounts[1].type);
}

TEST(MountTableTest, LongTablesAndLongFieldsCrossTheReadingWindow) {
  std::string table;
  std::vector<Mount> expected;
  std::string const longPoint = "/" + std::string(10000, 'p');
  table += "dev " + longPoint + " ext4 rw 0 0\n";
  expected.push_back({longPoint, kFixed});
  for (int i = 0; i < 500; ++i) {
    std::string const point = "/mnt/point" + std::to_string(i);
    bool const remote = i % 3 == 0;
    table += (remote ? "h:/e " : "/dev/x ") + point + (i % 5 == 0 ? " nfs" : " xfs") + " rw 0 0\n";
    expected.push_back({point, remote || i % 5 == 0 ? kRemote : kFixed});
  }
  EXPECT_EQ(expected, MountsOf(table));
  for (std::size_t size : {1u, 2u, 3u, 7u, 64u, 4095u, 4096u}) {
    EXPECT_EQ(expected, ScannedInBlocks(table, size)) << size;
  }
}

TEST(MountTableTest, AnyCutOfASmallTableGivesTheSameMounts) {
  std::string const table = "a:b /x nfs\r\n/dev/y /y ext3 r\n\n c  /z cdfs q\rw /w msdos ";
  std::vector<Mount> const whole = ScannedInBlocks(table, table.size());
  EXPECT_EQ(4u, whole.size());
  for (std::size_t cut = 1; cut < table.size(); ++cut) {
    std::vector<MountPointEntry> entries;
    MountTableScanner scanner(entries);
    scanner.Scan(ConstData(table.data(), cut));
    scanner.Scan(ConstData(table.data() + cut, table.size() - cut));
    EXPECT_EQ(whole, Plain(entries)) << cut;
  }
}

TEST(MountTableTest, AMissingTableHasNoMountsAndEmptiesTheVector) {
  std::vector<MountPointEntry> entries{{"stale", kFixed}};
  MountedFilesystems(FileLocation("/nonexistent/mtab"), entries);
  EXPECT_TRUE(entries.empty());
  EXPECT_TRUE(MountsOf("").empty());
}

// A record with chosen counts.
struct statfs Record(long long blockSize, unsigned long long blocks, unsigned long long free,
                     unsigned long long files, unsigned long long freeFiles) {
  struct statfs record;
  std::memset(&record, 0, sizeof record);
  record.f_bsize = static_cast<decltype(record.f_bsize)>(blockSize);
  record.f_blocks = static_cast<decltype(record.f_blocks)>(blocks);
  record.f_bfree = static_cast<decltype(record.f_bfree)>(free);
  record.f_bavail = 0;
  record.f_files = static_cast<decltype(record.f_files)>(files);
  record.f_ffree = static_cast<decltype(record.f_ffree)>(freeFiles);
  return record;
}

TEST(FilesystemFiguresTest, ProductsAreSixtyFourBitAndPercentagesRoundDown) {
  // Three billion blocks of 4096 bytes: products past 32 bits, and counts
  // that a 32-bit field still holds.
  filesystem const value(Record(4096, 3000000000ULL, 1000000001ULL, 4000000000ULL, 7), kFixed,
                         "/x", Stringy());
  EXPECT_EQ(4096LL * 3000000000LL, size_of_filesystem(value).value);
  EXPECT_EQ(4096LL * 1000000001LL, free_of_filesystem(value).value);
  EXPECT_EQ(4096LL * 1999999999LL, used_of_filesystem(value).value);
  EXPECT_EQ(33, percentfree_of_filesystem(value).value);
  EXPECT_EQ(66, percentused_of_filesystem(value).value);
  EXPECT_EQ(4000000000LL, nodes_of_filesystem(value).value);
  EXPECT_EQ(7, freenodes_of_filesystem(value).value);
  EXPECT_EQ(3999999993LL, usednodes_of_filesystem(value).value);
}

TEST(FilesystemFiguresTest, NoBlocksIsNoPercent) {
  filesystem const value(Record(4096, 0, 0, 0, 0), kUnknown, "/x", Stringy());
  EXPECT_EQ(0, percentfree_of_filesystem(value).value);
  EXPECT_EQ(0, percentused_of_filesystem(value).value);
  EXPECT_EQ(0, size_of_filesystem(value).value);
}

TEST(FilesystemFiguresTest, OnlyFixedAndUnknownKindsHaveFigures) {
  for (MountPointEntry::Type type : {kRemovable, kRemote, kCdRom}) {
    filesystem const value(Record(4096, 10, 5, 10, 5), type, "/mnt/x", Stringy("/mnt/x"));
    EXPECT_THROW(size_of_filesystem(value), NoSuchObject);
    EXPECT_THROW(free_of_filesystem(value), NoSuchObject);
    EXPECT_THROW(used_of_filesystem(value), NoSuchObject);
    EXPECT_THROW(percentfree_of_filesystem(value), NoSuchObject);
    EXPECT_THROW(percentused_of_filesystem(value), NoSuchObject);
    EXPECT_THROW(nodes_of_filesystem(value), NoSuchObject);
    EXPECT_THROW(freenodes_of_filesystem(value), NoSuchObject);
    EXPECT_THROW(usednodes_of_filesystem(value), NoSuchObject);
    surveyor_string const name = name_of_filesystem(value);
    EXPECT_EQ("/mnt/x", std::string(reinterpret_cast<char const*>(name.data), name.length));
  }
  char const* const texts[] = {"DRIVE_REMOVABLE", "DRIVE_FIXED", "DRIVE_REMOTE", "DRIVE_CDROM",
                               "DRIVE_UNKNOWN"};
  for (MountPointEntry::Type type : {kRemovable, kFixed, kRemote, kCdRom, kUnknown}) {
    filesystem const value(Record(1, 1, 1, 1, 1), type, "/", Stringy());
    surveyor_string const text = type_of_filesystem(value);
    EXPECT_EQ(texts[type], std::string(reinterpret_cast<char const*>(text.data), text.length));
  }
}

TEST(FilesystemFiguresTest, APathThatStatfsRefusesHasNoFilesystem) {
  std::string const missing = "/nonexistent/survey";
  EXPECT_THROW(filesystem_of_world(
                   surveyor_string{reinterpret_cast<unsigned char const*>(missing.data()),
                                   missing.size()}),
               NoSuchObject);
  EXPECT_THROW(filesystem_of_world(surveyor_string{reinterpret_cast<unsigned char const*>(""), 0}),
               NoSuchObject);
}

}  // namespace
