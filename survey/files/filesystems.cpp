#include "survey/files/filesystems.h"

#include <sys/stat.h>

#include <cstring>
#include <memory>
#include <utility>

#include "survey/foundation/file_item.h"
#include "survey/foundation/file_reader.h"
#include "survey/frame/table.h"

namespace {

// The window through which the mount table is read.
constexpr unsigned long kMountTableWindow = 4096;

bool IsBlank(unsigned char c) { return c == ' ' || c == '\t'; }
bool IsLineEnd(unsigned char c) { return c == '\r' || c == '\n'; }

// The path as a NUL-terminated copy in evaluator memory.
char const* PathInEvaluatorMemory(char const* text, unsigned long length) {
  auto* const copy = reinterpret_cast<char*>(Allocate_Surveyor_Memory(length + 1));
  if (length != 0) std::memcpy(copy, text, length);
  copy[length] = '\0';
  return copy;
}

// The file system that holds the path, of the unknown kind, with no name.
filesystem FilesystemOfPath(char const* path, unsigned long length) {
  char const* const copy = PathInEvaluatorMemory(path, length);
  struct statfs record;
  if (::statfs(copy, &record) != 0) throw NoSuchObject();
  return filesystem(record, MountPointEntry::kUnknown, copy, Stringy());
}

filesystem FilesystemOfPath(char const* path) {
  return FilesystemOfPath(path, std::strlen(path));
}

// Only fixed mounts and file systems made from a path are measured.
bool Measured(MountPointEntry::Type type) {
  return type == MountPointEntry::kFixed || type == MountPointEntry::kUnknown;
}

// The record of a file system that has space figures; NoSuchObject for the
// others.
struct statfs const& Measures(filesystem const& value) {
  if (!Measured(value.type)) throw NoSuchObject();
  return value.status;
}

// The record's counts, widened: 32-bit fields in the 32-bit build.
long long BlockSize(struct statfs const& record) { return static_cast<long long>(record.f_bsize); }
long long Blocks(struct statfs const& record) { return static_cast<long long>(record.f_blocks); }
long long FreeBlocks(struct statfs const& record) {
  return static_cast<long long>(record.f_bfree);
}

// A part of the blocks in whole percent, rounded down; 0 when there are no
// blocks.
integer Percent(long long part, long long whole) {
  if (whole == 0) return integer{0};
  return integer{part * 100 / whole};
}

}  // namespace

// ---------------------------------------------------------------------------
// The mount table.

MountPointEntry::Type ClassifyMountType(Stringy const& word) {
  struct Kind {
    char const* word;
    MountPointEntry::Type type;
  };
  static Kind const kKinds[] = {
      {"nfs", MountPointEntry::kRemote},       {"hsfs", MountPointEntry::kCdRom},
      {"cdfs", MountPointEntry::kCdRom},       {"cdrfs", MountPointEntry::kCdRom},
      {"subfs", MountPointEntry::kCdRom},      {"pcsf", MountPointEntry::kRemovable},
      {"fd", MountPointEntry::kRemovable},     {"msdos", MountPointEntry::kRemovable},
      {"usbfs", MountPointEntry::kRemovable},  {"usbdevfs", MountPointEntry::kRemovable},
  };
  for (Kind const& kind : kKinds) {
    if (std::strcmp(word.CString(), kind.word) == 0) return kind.type;
  }
  return MountPointEntry::kFixed;
}

void MountTableScanner::Add(MountPointEntry::Type type) {
  entries_.push_back(MountPointEntry{mountPoint_, type});
}

void MountTableScanner::EndOfLine() {
  state_ = kDevice;
  remote_ = false;
  mountPoint_ = Stringy();
  typeWord_ = Stringy();
}

void MountTableScanner::Scan(ConstData block) {
  for (unsigned char const* at = block.begin; at != block.end; ++at) {
    unsigned char const c = *at;
    switch (state_) {
      case kDevice:
        // A line end here does not end the device field: a line of one
        // field runs on into the next line.
        if (IsBlank(c)) {
          state_ = kMountPoint;
        } else if (c == ':') {
          remote_ = true;
        }
        break;
      case kMountPoint:
        if (!IsBlank(c) && !IsLineEnd(c)) {
          mountPoint_ += static_cast<char>(c);
        } else if (mountPoint_.IsEmpty()) {
          // Blanks before the mount point; a line that ends here has none.
          if (IsLineEnd(c)) EndOfLine();
        } else if (remote_) {
          Add(MountPointEntry::kRemote);
          if (IsLineEnd(c)) {
            EndOfLine();
          } else {
            state_ = kRestOfLine;
          }
        } else if (IsLineEnd(c)) {
          // A line of two fields has no type word, and so no mount.
          EndOfLine();
        } else {
          state_ = kTypeWord;
        }
        break;
      case kTypeWord:
        if (!IsBlank(c) && !IsLineEnd(c)) {
          typeWord_ += static_cast<char>(c);
        } else {
          Add(ClassifyMountType(typeWord_));
          if (IsLineEnd(c)) {
            EndOfLine();
          } else {
            state_ = kRestOfLine;
          }
        }
        break;
      case kRestOfLine:
        if (IsLineEnd(c)) EndOfLine();
        break;
    }
  }
}

void MountedFilesystems(FileLocation const& table, std::vector<MountPointEntry>& entries) {
  entries.clear();
  try {
    FileItem const item(table);
    FileReadingPath const path(item.Location());
    std::unique_ptr<unsigned char[]> const window(new unsigned char[kMountTableWindow]);
    FileReadingLoop loop(Data(window.get(), kMountTableWindow));
    MountTableScanner scanner(entries);
    loop.Start(path, 0);
    while (loop.Remaining() != 0) {
      scanner.Scan(loop.Block());
      ++loop;
    }
  } catch (DebuggableException const&) {
    // A table that cannot be read, or that ends before its length (as those
    // of the kernel, which have none), gives what was found up to there.
  }
}

void BuildMountPoints(std::vector<MountPointEntry>& entries) {
  MountedFilesystems(FileLocation(kMountTable), entries);
}

// ---------------------------------------------------------------------------
// Values.

filesystem::filesystem(struct statfs const& record, MountPointEntry::Type kind,
                       char const* asked, Stringy mountPoint)
    : status(record), type(kind), path(asked), name(std::move(mountPoint)) {}

filesystem filesystem_of_world(surveyor_string const& path) {
  // The bytes up to an embedded NUL are the path; the empty path is passed
  // to `statfs` as it is, which refuses it.
  return FilesystemOfPath(reinterpret_cast<char const*>(path.data), path.length);
}

filesystem filesystem_of_folder(folder const& object) {
  return FilesystemOfPath(object.Path().FullPathName());
}

filesystem filesystem_of_file(file const& object) {
  return FilesystemOfPath(object.Path().FullPathName());
}

filesystem filesystem_of_symlink(symbolic_link const& link) {
  FileLocation const parent = UnixPlatform::ParentFolder(link.Path(), false);
  return FilesystemOfPath(parent.FullPathName());
}

filesystem filesystem_iterator::First() {
  if (!filled_) {
    BuildMountPoints(entries_);
    filled_ = true;
  }
  next_ = 0;
  return Next();
}

filesystem filesystem_iterator::Next() {
  if (next_ >= entries_.size()) throw NoSuchObject();
  MountPointEntry const& entry = entries_[next_++];
  struct statfs record;
  std::memset(&record, 0, sizeof record);
  char const* const path = PathInEvaluatorMemory(entry.path.CString(), entry.path.GetLength());
  // Remote, removable and CD-ROM mounts are left alone, so that a server
  // that does not answer or an empty drive cannot hold the client up.
  if (Measured(entry.type) && ::statfs(path, &record) != 0) throw NoSuchObject();
  return filesystem(record, entry.type, path, entry.path);
}

// ---------------------------------------------------------------------------
// Properties.

surveyor_string name_of_filesystem(filesystem const& value) {
  if (!value.name.IsEmpty()) {
    return ConstData(PathInEvaluatorMemory(value.name.CString(), value.name.GetLength()),
                     value.name.GetLength())
        .AsSurveyorString();
  }
  struct stat asked;
  if (::stat(value.path, &asked) != 0) throw NoSuchObject();
  std::vector<MountPointEntry> entries;
  // The table's own failures end in what was read; only a lack of memory
  // leaves it, and passes.
  BuildMountPoints(entries);
  for (MountPointEntry const& entry : entries) {
    struct stat mounted;
    std::memset(&mounted, 0, sizeof mounted);
    // Unmeasured kinds are compared with a zeroed record, unlooked at.
    if (Measured(entry.type) && ::stat(entry.path.CString(), &mounted) != 0) continue;
    if (mounted.st_dev == asked.st_dev) {
      char const* const copy = PathInEvaluatorMemory(entry.path.CString(), entry.path.GetLength());
      return ConstData(copy, entry.path.GetLength()).AsSurveyorString();
    }
  }
  throw NoSuchObject();
}

integer size_of_filesystem(filesystem const& value) {
  struct statfs const& record = Measures(value);
  return integer{BlockSize(record) * Blocks(record)};
}

integer free_of_filesystem(filesystem const& value) {
  struct statfs const& record = Measures(value);
  return integer{BlockSize(record) * FreeBlocks(record)};
}

integer used_of_filesystem(filesystem const& value) {
  struct statfs const& record = Measures(value);
  return integer{BlockSize(record) * (Blocks(record) - FreeBlocks(record))};
}

integer percentfree_of_filesystem(filesystem const& value) {
  struct statfs const& record = Measures(value);
  return Percent(FreeBlocks(record), Blocks(record));
}

integer percentused_of_filesystem(filesystem const& value) {
  struct statfs const& record = Measures(value);
  return Percent(Blocks(record) - FreeBlocks(record), Blocks(record));
}

integer nodes_of_filesystem(filesystem const& value) {
  return integer{static_cast<long long>(Measures(value).f_files)};
}

integer freenodes_of_filesystem(filesystem const& value) {
  return integer{static_cast<long long>(Measures(value).f_ffree)};
}

integer usednodes_of_filesystem(filesystem const& value) {
  struct statfs const& record = Measures(value);
  return integer{static_cast<long long>(record.f_files) - static_cast<long long>(record.f_ffree)};
}

surveyor_string type_of_filesystem(filesystem const& value) {
  static char const* const kTexts[] = {"DRIVE_REMOVABLE", "DRIVE_FIXED", "DRIVE_REMOTE",
                                       "DRIVE_CDROM", "DRIVE_UNKNOWN"};
  unsigned const index = static_cast<unsigned>(value.type);
  if (index >= sizeof kTexts / sizeof kTexts[0]) throw NoSuchObject();
  return ConstData(kTexts[index]).AsSurveyorString();
}

// ---------------------------------------------------------------------------
// Registration, in table order: every way to a file system under both of its
// names, then its properties, which depend on the value alone.

namespace {

using Mounts = filesystem_iterator;

RegistrationTable table{
    TypeRow<filesystem>(),

    IndexedRow("filesystem", "filesystems", &filesystem_of_world),
    IndexedRow("drive", "drives", &filesystem_of_world),
    PropertyRow("filesystem", "filesystems", &filesystem_of_folder),
    PropertyRow("drive", "drives", &filesystem_of_folder),
    PropertyRow("filesystem", "filesystems", &filesystem_of_file),
    PropertyRow("drive", "drives", &filesystem_of_file),
    PropertyRow("filesystem", "filesystems", &filesystem_of_symlink),
    PropertyRow("drive", "drives", &filesystem_of_symlink),
    IteratedRow<Mounts>("filesystem", "filesystems"),
    IteratedRow<Mounts>("drive", "drives"),

    PropertyRow("name", "names", &name_of_filesystem, &DependsOnlyOnParameters),
    PropertyRow("size", "sizes", &size_of_filesystem, &DependsOnlyOnParameters),
    PropertyRow("total space", "total spaces", &size_of_filesystem, &DependsOnlyOnParameters),
    PropertyRow("free space", "free spaces", &free_of_filesystem, &DependsOnlyOnParameters),
    PropertyRow("used space", "used spaces", &used_of_filesystem, &DependsOnlyOnParameters),
    PropertyRow("free percent", "free percents", &percentfree_of_filesystem,
                &DependsOnlyOnParameters),
    PropertyRow("used percent", "used percents", &percentused_of_filesystem,
                &DependsOnlyOnParameters),
    PropertyRow("file count", "file counts", &nodes_of_filesystem, &DependsOnlyOnParameters),
    PropertyRow("free file count", "free file counts", &freenodes_of_filesystem,
                &DependsOnlyOnParameters),
    PropertyRow("used file count", "used file counts", &usednodes_of_filesystem,
                &DependsOnlyOnParameters),
    PropertyRow("type", "types", &type_of_filesystem, &DependsOnlyOnParameters),
};

}  // namespace
