#include "survey/foundation/file_item.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/failing_allocation.h"
#include "tests/unit/foundation/file_tree.h"

namespace {

using file_tree::Output;
using file_tree::RunProgram;
using file_tree::ScratchFolder;

// `stat` of a path with a format, as the tool reports it.
std::string StatText(std::string const& format, std::string const& path, bool follow = true) {
  std::vector<std::string> arguments = {"stat"};
  if (follow) arguments.push_back("-L");
  arguments.push_back("-c");
  arguments.push_back(format);
  arguments.push_back(path);
  std::string text = Output(arguments);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

long long StatNumber(std::string const& format, std::string const& path) {
  return std::stoll(StatText(format, path));
}

FileLocation At(std::string const& path) { return FileLocation(path.c_str()); }

int InChild(int (*check)(std::string const&), std::string const& argument) {
  return file_tree::InChildWithoutPrivilege([&] { return check(argument); });
}

// The name of an item looked at by a path without a slash, from inside its
// folder.
template <class Item>
std::string NameOfPlain() {
  ScratchFolder folder;
  folder.WriteFile("plain", "");
  char previous[4096];
  if (getcwd(previous, sizeof previous) == nullptr) return "(no folder)";
  if (chdir(folder.Path().c_str()) != 0) return "(no chdir)";
  Item item;
  bool const looked = item.TryToGet(FileLocation("plain"));
  if (chdir(previous) != 0) return "(no way back)";
  return looked ? item.Name() : "(no look)";
}

// ---------------------------------------------------------------------------
// Errors and times

TEST(ThrowFileIOErrorTest, MapsErrnoToTheFamily) {
  EXPECT_THROW(throwFileIOError(ENOENT), FileNotFoundError);
  EXPECT_THROW(throwFileIOError(ENOTDIR), FileNotFoundError);
  EXPECT_THROW(throwFileIOError(ELOOP), FileNotFoundError);
  EXPECT_THROW(throwFileIOError(EACCES), FilePermissionError);
  try {
    throwFileIOError(EIO);
    FAIL() << "nothing raised";
  } catch (FileNotFoundError const&) {
    FAIL() << "EIO is no missing file";
  } catch (FilePermissionError const&) {
    FAIL() << "EIO is no permission error";
  } catch (FileIOError const&) {
  }
  EXPECT_THROW(throwFileIOError(EOVERFLOW), FileIOError);
}

TEST(FileTimeToInstantTest, SecondsBecomeMicroseconds) {
  EXPECT_EQ(FileTimeToInstant(0).microseconds, 0);
  EXPECT_EQ(FileTimeToInstant(1).microseconds, 1000000);
  // Past 2038, which a 32-bit count of microseconds or seconds cannot hold.
  EXPECT_EQ(FileTimeToInstant(4102444800LL).microseconds, 4102444800000000LL);
  EXPECT_EQ(FileTimeToInstant(-1).microseconds, -1000000);
}

// ---------------------------------------------------------------------------
// FileItem

TEST(FileItemTest, WithoutALookEveryAccessorRaisesButLocationAndBias) {
  FileItem item;
  EXPECT_FALSE(item.Valid());
  EXPECT_THROW(item.IsDirectory(), FileItemError);
  EXPECT_THROW(item.IsFile(), FileItemError);
  EXPECT_THROW(item.IsReadOnly(), FileItemError);
  EXPECT_THROW(item.Name(), FileItemError);
  EXPECT_THROW(item.Length(), FileItemError);
  EXPECT_THROW(item.ModificationTime(), FileItemError);
  EXPECT_THROW(item.AccessTime(), FileItemError);
  EXPECT_THROW(item.SetModificationTime(Instant(0)), FileItemError);
  EXPECT_THROW(item.Set(), FileItemError);
  EXPECT_THROW(item.RoundToFileSystem(Instant(5)), FileItemError);
  EXPECT_EQ(item.GetTimeBias(), 0);
  EXPECT_STREQ(item.Location().FullPathName(), "");
}

TEST(FileItemTest, AFileAgainstStat) {
  ScratchFolder folder;
  folder.WriteFile("data.txt", std::string(12345, 'x'));
  std::string const path = folder / "data.txt";
  FileItem item(At(path));
  EXPECT_TRUE(item.Valid());
  EXPECT_TRUE(item.IsFile());
  EXPECT_FALSE(item.IsDirectory());
  EXPECT_EQ(item.Length(), StatNumber("%s", path));
  EXPECT_EQ(item.ModificationTime().microseconds, StatNumber("%Y", path) * 1000000);
  EXPECT_EQ(item.AccessTime().microseconds, StatNumber("%X", path) * 1000000);
  EXPECT_STREQ(item.Name(), "data.txt");
  EXPECT_STREQ(item.Location().FullPathName(), path.c_str());
  EXPECT_EQ(item.RoundToFileSystem(Instant(123456789)).microseconds, 123456789);
  EXPECT_EQ(item.GetTimeBias(), 0);
}

TEST(FileItemTest, TypesAgainstStat) {
  ScratchFolder folder;
  folder.WriteFile("f", "");
  folder.MakeFolder("d");
  ASSERT_EQ(mkfifo((folder / "p").c_str(), 0644), 0);
  folder.Link("d", "to-d");
  folder.Link("f", "to-f");
  for (std::string name : {"f", "d", "p", "to-d", "to-f"}) {
    std::string const path = folder / name;
    std::string const type = StatText("%F", path);
    FileItem item(At(path));
    EXPECT_EQ(item.IsDirectory(), type == "directory") << name;
    EXPECT_EQ(item.IsFile(), type == "regular file" || type == "regular empty file") << name;
  }
  FileItem device(At("/dev/null"));
  EXPECT_FALSE(device.IsFile());
  EXPECT_FALSE(device.IsDirectory());
}

TEST(FileItemTest, FailedLooks) {
  ScratchFolder folder;
  FileItem item;
  EXPECT_FALSE(item.TryToGet(At(folder / "missing")));
  EXPECT_FALSE(item.Valid());
  EXPECT_STREQ(item.Location().FullPathName(), (folder / "missing").c_str());
  EXPECT_THROW(item.Get(), FileItemError);
  EXPECT_THROW(FileItem(At(folder / "missing")), FileItemError);
  // A good look, then a failed one, leaves the item without a look.
  folder.WriteFile("f", "");
  EXPECT_TRUE(item.TryToGet(At(folder / "f")));
  EXPECT_TRUE(item.Valid());
  EXPECT_FALSE(item.TryToGet(At(folder / "f/below")));
  EXPECT_THROW(item.Length(), FileItemError);
}

TEST(FileItemTest, ADanglingLinkCannotBeLookedAt) {
  ScratchFolder folder;
  folder.Link("nowhere", "dangling");
  FileItem item;
  EXPECT_FALSE(item.TryToGet(At(folder / "dangling")));
  EXPECT_THROW(item.Get(), FileItemError);
}

TEST(FileItemTest, NameWithoutASlashSkipsTheFirstByte) {
  EXPECT_EQ(NameOfPlain<FileItem>(), "lain");
  EXPECT_STREQ(FileLocation("plain").Name(), "");
}

TEST(FileItemTest, SetWritesTheKeptSeconds) {
  ScratchFolder folder;
  folder.WriteFile("f", "abc");
  std::string const path = folder / "f";
  FileItem item(At(path));
  long long const access = StatNumber("%X", path);
  item.SetModificationTime(Instant(1000000000LL * 1000000 + 999999));
  // Nothing is written until Set.
  EXPECT_NE(StatNumber("%Y", path), 1000000000LL);
  EXPECT_EQ(item.ModificationTime().microseconds, 1000000000LL * 1000000);
  item.Set();
  EXPECT_EQ(StatNumber("%Y", path), 1000000000LL);
  EXPECT_EQ(StatNumber("%X", path), access);
  // The microseconds are 0.
  EXPECT_EQ(StatText("%y", path).substr(19, 10), ".000000000");
  item.Get();
  EXPECT_EQ(item.ModificationTime().microseconds, 1000000000LL * 1000000);
  // A file removed after the look cannot be set.
  ASSERT_EQ(unlink(path.c_str()), 0);
  EXPECT_THROW(item.Set(), FileItemError);
}

bool Writable(std::string const& path) { return RunProgram({"test", "-w", path}).status == 0; }

int ReadOnlyMatchesTest(std::string const& path) {
  try {
    FileItem item{FileLocation(path.c_str())};
    NewFileItem newItem{FileLocation(path.c_str())};
    bool const writable = Writable(path);
    if (item.IsReadOnly() != !writable) return 1;
    if (newItem.IsReadOnly() != !writable) return 2;
    return writable ? 10 : 11;
  } catch (...) {
    return 3;
  }
}

TEST(FileItemTest, ReadOnlyAgainstTest) {
  ScratchFolder folder;
  ASSERT_EQ(chmod(folder.Path().c_str(), 0755), 0);
  folder.WriteFile("locked", "x");
  folder.WriteFile("open", "x");
  ASSERT_EQ(chmod((folder / "locked").c_str(), 0444), 0);
  ASSERT_EQ(chmod((folder / "open").c_str(), 0666), 0);
  EXPECT_EQ(ReadOnlyMatchesTest(folder / "locked") / 10, 1);
  EXPECT_EQ(ReadOnlyMatchesTest(folder / "open"), 10);
  // Where permissions bind, the locked file is read-only.
  EXPECT_EQ(InChild(ReadOnlyMatchesTest, folder / "locked"), 11);
  EXPECT_EQ(InChild(ReadOnlyMatchesTest, folder / "open"), 10);
}

TEST(FileItemTest, ReadOnlyTestOfAVanishedFileRaises) {
  ScratchFolder folder;
  folder.WriteFile("f", "");
  FileItem item(At(folder / "f"));
  NewFileItem newItem(At(folder / "f"));
  ASSERT_EQ(unlink((folder / "f").c_str()), 0);
  EXPECT_THROW(item.IsReadOnly(), FileItemError);
  EXPECT_THROW(newItem.IsReadOnly(), FileNotFoundError);
}

// A file of 5 GiB with no blocks: the 64-bit build measures it, the 32-bit
// build cannot look at it.
TEST(FileItemTest, AFileOfFiveGibibytes) {
  ScratchFolder folder;
  std::string const path = folder / "big";
  if (RunProgram({"truncate", "-s", "5G", path}).status != 0)
    GTEST_SKIP() << "the file system refuses a sparse file of 5 GiB";
  long long const size = StatNumber("%s", path);
  ASSERT_EQ(size, 5LL << 30);
  FileItem item;
  NewFileItem newItem;
  if (sizeof(long) == 8) {
    ASSERT_TRUE(item.TryToGet(At(path)));
    EXPECT_EQ(item.Length(), size);
    EXPECT_TRUE(item.IsFile());
    newItem.Get(At(path));
    EXPECT_EQ(newItem.Length(), size);
  } else {
    EXPECT_FALSE(item.TryToGet(At(path)));
    EXPECT_THROW(item.Length(), FileItemError);
    EXPECT_THROW(newItem.Get(At(path)), FileIOError);
    EXPECT_FALSE(newItem.TryToGet(At(path)));
    // The same file below 2 GiB is found again.
    ASSERT_EQ(RunProgram({"truncate", "-s", "2147483647", path}).status, 0);
    ASSERT_TRUE(item.TryToGet(At(path)));
    EXPECT_EQ(item.Length(), StatNumber("%s", path));
  }
}

TEST(FileItemTest, OverlongPathIsAFailedLook) {
  std::string path = "/";
  while (path.size() <= 2 * PATH_MAX) path += "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa/";
  path += "f";
  FileItem item;
  EXPECT_FALSE(item.TryToGet(At(path)));
  NewFileItem newItem;
  EXPECT_THROW(newItem.Get(At(path)), FileIOError);
}

// ---------------------------------------------------------------------------
// NewFileItem

// A failed look is false; a failed allocation is no failed look and goes on.
TEST(NewFileItemTest, TryToGetAnswersForFailedLooksOnly) {
  ScratchFolder folder;
  folder.WriteFile("f", "");
  FileLocation const missing = At(folder / "missing");
  FileLocation const present = At(folder / "f");
  NewFileItem item;
  EXPECT_FALSE(item.TryToGet(missing));
  survey::testing::FailNextAllocation();
  EXPECT_THROW(item.TryToGet(present), std::bad_alloc);
  EXPECT_FALSE(survey::testing::AllocationFailurePending());
  EXPECT_TRUE(item.TryToGet(present));
}

TEST(NewFileItemTest, WithoutALookEveryAccessorRaisesButLocation) {
  NewFileItem item;
  EXPECT_FALSE(item.Valid());
  EXPECT_THROW(item.IsDirectory(), NewFileItem::Invalid);
  EXPECT_THROW(item.IsFile(), NewFileItem::Invalid);
  EXPECT_THROW(item.IsCharDev(), NewFileItem::Invalid);
  EXPECT_THROW(item.IsBlockDev(), NewFileItem::Invalid);
  EXPECT_THROW(item.IsFifo(), NewFileItem::Invalid);
  EXPECT_THROW(item.IsSocket(), NewFileItem::Invalid);
  EXPECT_THROW(item.IsSymlink(), NewFileItem::Invalid);
  EXPECT_THROW(item.IsBrokenSymlink(), NewFileItem::Invalid);
  EXPECT_THROW(item.IsNonbrokenSymlink(), NewFileItem::Invalid);
  EXPECT_THROW(item.Name(), NewFileItem::Invalid);
  EXPECT_THROW(item.IsReadOnly(), NewFileItem::Invalid);
  EXPECT_THROW(item.Length(), NewFileItem::Invalid);
  EXPECT_THROW(item.ModificationTime(), NewFileItem::Invalid);
  EXPECT_THROW(item.AccessTime(), NewFileItem::Invalid);
  EXPECT_THROW(item.SetModificationTime(Instant(0)), NewFileItem::Invalid);
  EXPECT_THROW(item.Set(), NewFileItem::Invalid);
  EXPECT_THROW(item.RoundToFileSystem(Instant(0)), NewFileItem::Invalid);
  EXPECT_THROW(item.GetTimeBias(), NewFileItem::Invalid);
  EXPECT_STREQ(item.Location().FullPathName(), "");
  // The item's errors stand apart from the file error family.
  try {
    item.Length();
  } catch (FileIOError const&) {
    FAIL() << "Invalid is in the file error family";
  } catch (NewFileItem::Error const&) {
  }
}

TEST(NewFileItemTest, ADanglingLink) {
  ScratchFolder folder;
  folder.Link("nowhere", "dangling");
  FileLocation const location = At(folder / "dangling");
  NewFileItem item;
  EXPECT_THROW(item.Get(location), FileNotFoundError);
  EXPECT_FALSE(item.Valid());
  EXPECT_FALSE(item.TryToGet(location));
  EXPECT_THROW(NewFileItem{location}, FileNotFoundError);

  item.Get(location, true);
  EXPECT_TRUE(item.Valid());
  EXPECT_FALSE(item.TargetExists());
  EXPECT_TRUE(item.IsSymlink());
  EXPECT_TRUE(item.IsBrokenSymlink());
  EXPECT_FALSE(item.IsNonbrokenSymlink());
  EXPECT_FALSE(item.IsFile());
  EXPECT_FALSE(item.IsDirectory());
  EXPECT_FALSE(item.IsFifo());
  EXPECT_STREQ(item.Name(), "dangling");
  // Without a target there is nothing to measure.
  EXPECT_THROW(item.Length(), NewFileItem::Invalid);
  EXPECT_THROW(item.ModificationTime(), NewFileItem::Invalid);
  EXPECT_THROW(item.IsReadOnly(), NewFileItem::Invalid);
  EXPECT_THROW(item.Set(), NewFileItem::Invalid);
  EXPECT_TRUE(item.TryToGet(location, true));
}

TEST(NewFileItemTest, ALoopOfLinks) {
  ScratchFolder folder;
  folder.Link("b", "a");
  folder.Link("a", "b");
  folder.Link("self", "self");
  for (std::string name : {"a", "b", "self"}) {
    NewFileItem item;
    EXPECT_THROW(item.Get(At(folder / name)), FileNotFoundError) << name;
    item.Get(At(folder / name), true);
    EXPECT_TRUE(item.IsBrokenSymlink()) << name;
    FileItem old;
    EXPECT_FALSE(old.TryToGet(At(folder / name))) << name;
  }
}

TEST(NewFileItemTest, MissingPathsRaiseTheFileErrors) {
  ScratchFolder folder;
  folder.WriteFile("f", "");
  NewFileItem item;
  EXPECT_THROW(item.Get(At(folder / "missing")), FileNotFoundError);
  EXPECT_THROW(item.Get(At(folder / "missing"), true), FileNotFoundError);
  EXPECT_THROW(item.Get(At(folder / "f/below")), FileNotFoundError);
}

int LookInsideClosedFolder(std::string const& path) {
  NewFileItem item;
  try {
    item.Get(FileLocation(path.c_str()));
  } catch (FilePermissionError const&) {
    return 0;
  } catch (...) {
    return 2;
  }
  return 1;
}

TEST(NewFileItemTest, AClosedFolderIsAPermissionError) {
  ScratchFolder folder;
  ASSERT_EQ(chmod(folder.Path().c_str(), 0755), 0);
  folder.MakeFolder("closed");
  folder.WriteFile("closed/f", "");
  ASSERT_EQ(chmod((folder / "closed").c_str(), 0), 0);
  EXPECT_EQ(InChild(LookInsideClosedFolder, folder / "closed/f"), 0);
}

TEST(NewFileItemTest, TypesAgainstStat) {
  ScratchFolder folder;
  folder.WriteFile("f", "hello");
  folder.MakeFolder("d");
  ASSERT_EQ(mkfifo((folder / "p").c_str(), 0644), 0);
  int sock = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_GE(sock, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::string const socketPath = folder / "s";
  bool haveSocket = socketPath.size() < sizeof address.sun_path;
  if (haveSocket) {
    std::strcpy(address.sun_path, socketPath.c_str());
    haveSocket = bind(sock, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }
  close(sock);
  folder.Link("f", "to-f");
  folder.Link("d", "to-d");
  folder.Link("p", "to-p");
  folder.Link("/dev/null", "to-null");
  std::vector<std::string> paths;
  for (std::string name : {"f", "d", "p", "to-f", "to-d", "to-p", "to-null"})
    paths.push_back(folder / name);
  if (haveSocket) paths.push_back(socketPath);
  paths.push_back("/dev/null");
  std::string const blocks = Output({"find", "/dev", "-maxdepth", "1", "-type", "b"});
  if (!blocks.empty()) paths.push_back(blocks.substr(0, blocks.find('\n')));
  for (auto const& path : paths) {
    std::string const type = StatText("%F", path);
    std::string const own = StatText("%F", path, false);
    NewFileItem item(At(path));
    EXPECT_TRUE(item.TargetExists()) << path;
    EXPECT_EQ(item.IsDirectory(), type == "directory") << path;
    EXPECT_EQ(item.IsFile(), type == "regular file" || type == "regular empty file") << path;
    EXPECT_EQ(item.IsFifo(), type == "fifo") << path;
    EXPECT_EQ(item.IsSocket(), type == "socket") << path;
    EXPECT_EQ(item.IsCharDev(), type == "character special file") << path;
    EXPECT_EQ(item.IsBlockDev(), type == "block special file") << path;
    EXPECT_EQ(item.IsSymlink(), own == "symbolic link") << path;
    EXPECT_EQ(item.IsNonbrokenSymlink(), own == "symbolic link") << path;
    EXPECT_FALSE(item.IsBrokenSymlink()) << path;
    EXPECT_EQ(item.Length(), StatNumber("%s", path)) << path;
    EXPECT_EQ(item.ModificationTime().microseconds, StatNumber("%Y", path) * 1000000) << path;
    EXPECT_EQ(item.AccessTime().microseconds, StatNumber("%X", path) * 1000000) << path;
  }
}

TEST(NewFileItemTest, NameFollowsTheItemRule) { EXPECT_EQ(NameOfPlain<NewFileItem>(), "lain"); }

TEST(NewFileItemTest, SetWritesTheKeptSecondsThroughALink) {
  ScratchFolder folder;
  folder.WriteFile("f", "abc");
  folder.Link("f", "link");
  NewFileItem item(At(folder / "link"));
  item.SetModificationTime(Instant(1234567890LL * 1000000));
  item.Set();
  EXPECT_EQ(StatNumber("%Y", folder / "f"), 1234567890LL);
  EXPECT_EQ(item.GetTimeBias(), 0);
  EXPECT_EQ(item.RoundToFileSystem(Instant(77)).microseconds, 77);
  ASSERT_EQ(unlink((folder / "f").c_str()), 0);
  EXPECT_THROW(item.Set(), FileNotFoundError);
}

// ---------------------------------------------------------------------------
// ChecksumReceiver

// The CRC straight from the generator polynomial, one bit at a time.
std::uint32_t BitwiseCrc(std::vector<unsigned char> const& bytes) {
  std::uint32_t remainder = 0xFFFFFFFFu;
  for (unsigned char byte : bytes) {
    for (int bit = 7; bit >= 0; --bit) {
      bool const top = ((remainder >> 31) ^ ((byte >> bit) & 1u)) != 0;
      remainder <<= 1;
      if (top) remainder ^= 0x04C11DB7u;
    }
  }
  return ~remainder;
}

std::uint32_t TableCrc(std::vector<unsigned char> const& bytes, std::size_t block) {
  ChecksumReceiver receiver;
  receiver.Start();
  for (std::size_t at = 0; at < bytes.size(); at += block) {
    std::size_t const length = std::min(block, bytes.size() - at);
    receiver.Receive(ConstData(bytes.data() + at, length));
  }
  receiver.ReceiveEnd();
  return ~receiver.Remainder();
}

TEST(ChecksumReceiverTest, CheckValue) {
  std::string const text = "123456789";
  std::vector<unsigned char> bytes(text.begin(), text.end());
  EXPECT_EQ(TableCrc(bytes, 100), 0xFC891918u);
  EXPECT_EQ(BitwiseCrc(bytes), 0xFC891918u);
}

TEST(ChecksumReceiverTest, NothingReceivedIsZeroAfterTheComplement) {
  ChecksumReceiver receiver;
  EXPECT_EQ(receiver.Remainder(), 0xFFFFFFFFu);
  EXPECT_EQ(~receiver.Remainder(), 0u);
  receiver.Receive(ConstData("abc"));
  EXPECT_NE(receiver.Remainder(), 0xFFFFFFFFu);
  receiver.Start();
  EXPECT_EQ(receiver.Remainder(), 0xFFFFFFFFu);
}

TEST(ChecksumReceiverTest, AgreesWithTheBitwiseRuleOnRandomData) {
  std::mt19937 random(20261122);
  for (int round = 0; round < 200; ++round) {
    std::vector<unsigned char> bytes(random() % 3000);
    for (auto& byte : bytes) byte = static_cast<unsigned char>(random());
    std::size_t const block = 1 + random() % 1100;
    ASSERT_EQ(TableCrc(bytes, block), BitwiseCrc(bytes)) << "round " << round;
  }
}

TEST(ChecksumReceiverTest, TheTableIsMadeOnceForAllThreads) {
  std::vector<std::uint32_t const*> seen(8, nullptr);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < seen.size(); ++i)
    threads.emplace_back([&seen, i] { seen[i] = ChecksumReceiver::Table(); });
  for (auto& thread : threads) thread.join();
  for (auto const* table : seen) EXPECT_EQ(table, ChecksumReceiver::Table());
  EXPECT_EQ(ChecksumReceiver::MakeTable(), ChecksumReceiver::Table());
  std::uint32_t const* table = ChecksumReceiver::Table();
  EXPECT_EQ(table[0], 0u);
  EXPECT_EQ(table[1], 0x04C11DB7u);
}

// ---------------------------------------------------------------------------
// Checksums of files

std::vector<unsigned char> FileBytes(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), {});
}

TEST(FileChecksumTest, KnownTexts) {
  ScratchFolder folder;
  folder.WriteFile("check", "123456789");
  folder.WriteFile("empty", "");
  EXPECT_EQ(FileItem(At(folder / "check")).Checksum(), 0xFC891918u);
  EXPECT_EQ(NewFileItem(At(folder / "check")).Checksum(), 0xFC891918u);
  EXPECT_EQ(FileItem(At(folder / "empty")).Checksum(), 0u);
  EXPECT_EQ(NewFileItem(At(folder / "empty")).Checksum(), 0u);
}

TEST(FileChecksumTest, FilesOfManySizesAgainstTheBitwiseRule) {
  ScratchFolder folder;
  std::mt19937 random(1122);
  for (std::size_t size : {1u, 1023u, 1024u, 1025u, 2048u, 3000u, 70001u}) {
    std::string contents(size, '\0');
    for (auto& byte : contents) byte = static_cast<char>(random());
    std::string const name = "f" + std::to_string(size);
    folder.WriteFile(name, contents);
    std::vector<unsigned char> const bytes = FileBytes(folder / name);
    ASSERT_EQ(bytes.size(), static_cast<std::size_t>(StatNumber("%s", folder / name)));
    EXPECT_EQ(FileItem(At(folder / name)).Checksum(), BitwiseCrc(bytes)) << size;
    EXPECT_EQ(NewFileItem(At(folder / name)).Checksum(), BitwiseCrc(bytes)) << size;
  }
}

TEST(FileChecksumTest, ThroughALinkAndWithoutATarget) {
  ScratchFolder folder;
  folder.WriteFile("f", "123456789");
  folder.Link("f", "link");
  folder.Link("nowhere", "dangling");
  EXPECT_EQ(NewFileItem(At(folder / "link")).Checksum(), 0xFC891918u);
  NewFileItem dangling;
  dangling.Get(At(folder / "dangling"), true);
  EXPECT_THROW(dangling.Checksum(), NewFileItem::Invalid);
  EXPECT_THROW(NewFileItem().Checksum(), NewFileItem::Invalid);
  // The older item needs no look; a path that cannot be opened raises the
  // file error family.
  FileItem item;
  EXPECT_FALSE(item.TryToGet(At(folder / "dangling")));
  EXPECT_THROW(item.Checksum(), FileIOError);
  ASSERT_TRUE(item.TryToGet(At(folder / "link")));
  EXPECT_EQ(item.Checksum(), 0xFC891918u);
  ASSERT_EQ(unlink((folder / "f").c_str()), 0);
  EXPECT_THROW(item.Checksum(), FileNotFoundError);
}

int ChecksumOfClosedFile(std::string const& path) {
  try {
    FileItem(FileLocation(path.c_str())).Checksum();
  } catch (FilePermissionError const&) {
    return 0;
  } catch (...) {
    return 2;
  }
  return 1;
}

TEST(FileChecksumTest, AnUnreadableFileRaisesThePermissionError) {
  ScratchFolder folder;
  ASSERT_EQ(chmod(folder.Path().c_str(), 0755), 0);
  folder.WriteFile("secret", "x");
  ASSERT_EQ(chmod((folder / "secret").c_str(), 0), 0);
  EXPECT_EQ(InChild(ChecksumOfClosedFile, folder / "secret"), 0);
}

}  // namespace
