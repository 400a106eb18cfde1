// File systems and the mount table: the value "filesystem" (also called
// "drive"), made from a path, a file, a folder or a link by `statfs`, or by
// walking the mount table "/etc/mtab"; how full it is, how many files it
// holds, where it is mounted and of which kind it is.
#pragma once

#include <sys/vfs.h>

#include <vector>

#include "survey/files/filesystem_object.h"
#include "survey/files/symlinks.h"
#include "survey/foundation/data.h"
#include "survey/foundation/stringy.h"
#include "survey/frame/adaptors.h"

// One mount of the mount table: where, and of which kind.
struct SURVEY_API MountPointEntry {
  // The kinds of mount. The space figures are known only for fixed and
  // unknown ones.
  enum Type {
    kRemovable = 0,
    kFixed = 1,
    kRemote = 2,
    kCdRom = 3,
    kUnknown = 4,
  };

  Stringy path;
  Type type;
};

// The mount table.
inline constexpr char kMountTable[] = "/etc/mtab";

// The kind a mount's type word stands for, compared exactly: "nfs" is
// remote; "hsfs", "cdfs", "cdrfs", "subfs" CD-ROM; "pcsf", "fd", "msdos",
// "usbfs", "usbdevfs" removable; any other word fixed.
SURVEY_API MountPointEntry::Type ClassifyMountType(Stringy const& word);

// Reads the lines of a mount table as they come, in blocks of any size:
// device, mount point and type, separated by spaces or tabs. A device with a
// colon in it (a host and a path) makes the mount remote whatever its type.
// A mount is taken when the field after its mount point ends, so a last line
// without an ending counts only if its type word was followed by a blank.
class SURVEY_API MountTableScanner {
 public:
  explicit MountTableScanner(std::vector<MountPointEntry>& entries) : entries_(entries) {}

  // Takes the next block of the table.
  void Scan(ConstData block);

 private:
  enum State { kDevice = 0, kMountPoint = 1, kTypeWord = 2, kRestOfLine = 3 };

  void Add(MountPointEntry::Type type);
  void EndOfLine();

  std::vector<MountPointEntry>& entries_;
  State state_ = kDevice;
  bool remote_ = false;
  Stringy mountPoint_;
  Stringy typeWord_;
};

// Empties the vector and fills it with the mounts of the table at that
// location, in the table's order. A failure to read ends the reading and
// keeps what was found; only a lack of memory is thrown.
SURVEY_API void MountedFilesystems(FileLocation const& table,
                                   std::vector<MountPointEntry>& entries);
// The mounts of "/etc/mtab".
SURVEY_API void BuildMountPoints(std::vector<MountPointEntry>& entries);

// "filesystem": the `statfs` record, the kind of mount, the path asked about
// (in evaluator memory) and the mount point's name when the value came from
// the mount table, else empty.
class SURVEY_API filesystem {
 public:
  static constexpr char const* TypeName() { return "filesystem"; }

  filesystem(struct statfs const& record, MountPointEntry::Type type, char const* path,
             Stringy name);

  struct statfs status;
  MountPointEntry::Type type;
  char const* path;
  Stringy name;
};

// The file system that holds the path, of the unknown kind: NoSuchObject
// when `statfs` fails, for the empty path too.
SURVEY_API filesystem filesystem_of_world(surveyor_string const& path);
SURVEY_API filesystem filesystem_of_folder(folder const& object);
SURVEY_API filesystem filesystem_of_file(file const& object);
// The file system of the folder that holds the link, not of its target.
SURVEY_API filesystem filesystem_of_symlink(symbolic_link const& link);

// "filesystems" of the world: the mounts of the table in its order. Fixed
// mounts are measured with `statfs`; a mount that cannot be measured ends
// the walk. Remote, removable and CD-ROM mounts are never touched.
class SURVEY_API filesystem_iterator {
 public:
  filesystem First();
  filesystem Next();

 private:
  std::vector<MountPointEntry> entries_;
  unsigned long next_ = 0;
  bool filled_ = false;
};

// The mount point: the name from the table, or else the first mount of the
// table whose device is that of the path.
SURVEY_API surveyor_string name_of_filesystem(filesystem const& value);
// The space figures, in bytes, and the file counts: NoSuchObject unless the
// kind is fixed or unknown.
SURVEY_API integer size_of_filesystem(filesystem const& value);
SURVEY_API integer free_of_filesystem(filesystem const& value);
SURVEY_API integer used_of_filesystem(filesystem const& value);
// Whole percentages, rounded down; 0 for a file system of no blocks.
SURVEY_API integer percentfree_of_filesystem(filesystem const& value);
SURVEY_API integer percentused_of_filesystem(filesystem const& value);
SURVEY_API integer nodes_of_filesystem(filesystem const& value);
SURVEY_API integer freenodes_of_filesystem(filesystem const& value);
SURVEY_API integer usednodes_of_filesystem(filesystem const& value);
// "DRIVE_REMOVABLE", "DRIVE_FIXED", "DRIVE_REMOTE", "DRIVE_CDROM" or
// "DRIVE_UNKNOWN".
SURVEY_API surveyor_string type_of_filesystem(filesystem const& value);
