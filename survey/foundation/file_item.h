// What a look at a path says: the file items, and the CRC over a file.
//
// `FileItem` runs one `stat` and raises `FileItemError` when anything is
// asked of it without a successful look. `NewFileItem` runs `stat` and
// `lstat`, so that it can report on a link itself, and can accept a dangling
// link when asked to; it raises the file error family when the look fails
// and `NewFileItem::Invalid` when asked without one. The two differ on
// purpose and both stay.
//
// The record is the C library's own `struct stat` of the build: in the
// 32-bit build a file of 2 GiB or more cannot be looked at (`EOVERFLOW`), in
// the 64-bit build sizes are 64-bit and any file is measured.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>

#include "survey/foundation/data_stream.h"
#include "survey/foundation/file_errors.h"
#include "survey/foundation/file_location.h"
#include "survey/foundation/file_types.h"
#include "survey/foundation/time.h"

// Every unit must see the same record layout: a unit that asks for 64-bit
// offsets in the 32-bit build would disagree with the library about the size
// of the items.
static_assert(sizeof(off_t) == sizeof(long), "file items need the build's native offsets");

// Seconds since 1970, as the file system keeps them, as an instant.
Instant FileTimeToInstant(long long const& seconds);

// Raises the file error that fits an `errno`: `ENOENT`, `ENOTDIR` and `ELOOP`
// raise `FileNotFoundError`, `EACCES` `FilePermissionError`, any other
// `FileIOError`.
[[noreturn]] void throwFileIOError(int error);

class FileItem {
 public:
  FileItem();
  // Looks at the path, and raises `FileItemError` if that fails.
  explicit FileItem(FileLocation const& location);

  // A `stat` of the path. True on success.
  bool TryToGet();
  bool TryToGet(FileLocation const& location);
  // The same, raising `FileItemError` on failure.
  void Get();
  void Get(FileLocation const& location);

  // The accessors below, but Checksum, raise `FileItemError` unless the last
  // look succeeded.
  // Both tests follow links.
  bool IsDirectory() const;
  bool IsFile() const;
  // Whether writing is refused (`EACCES`); other failures of the test raise.
  bool IsReadOnly() const;
  // The text after the last "/"; for a path without one, the text from its
  // second byte on.
  char const* Name() const;
  long Length() const;
  Instant ModificationTime() const;
  Instant AccessTime() const;
  // The device and inode of what the path leads to, after links: two paths
  // with the same pair lead to one object.
  dev_t Device() const;
  ino_t Inode() const;
  // Keeps the instant's seconds in the record; `Set` writes them.
  void SetModificationTime(Instant instant);
  // Writes the record's access and modification seconds to the file.
  void Set();
  // Times need no rounding here and have no bias.
  Instant RoundToFileSystem(Instant instant) const;
  long GetTimeBias() const { return 0; }
  // The type that the path's extension stands for.
  FileType Type() const;
  // The CRC of the file's bytes, read from the start to the end. It needs no
  // look of its own; the errors of opening and reading pass through.
  std::uint32_t Checksum() const;

  FileLocation const& Location() const { return location_; }
  // Whether the last look succeeded.
  bool Valid() const { return valid_; }
  // The record of the last successful look.
  struct stat const& Status() const;

 private:
  void Require() const;

  struct stat status_;
  FileLocation location_;
  bool valid_;
};

class NewFileItem {
 public:
  class Error : public DebuggableException {};
  // Asked without a successful look, or of a target that does not exist.
  class Invalid : public Error {};

  NewFileItem();
  // Looks at the path; a failed look raises the file error family.
  explicit NewFileItem(FileLocation const& location);

  // `stat` of the target and `lstat` of the path. A failure raises the file
  // error family; a dangling link is accepted only with `allowBrokenLink`.
  void Get() { Get(false); }
  void Get(bool allowBrokenLink);
  void Get(FileLocation const& location) { Get(location, false); }
  void Get(FileLocation const& location, bool allowBrokenLink);
  // The same, with any failure as false.
  bool TryToGet() { return TryToGet(false); }
  bool TryToGet(bool allowBrokenLink);
  bool TryToGet(FileLocation const& location) { return TryToGet(location, false); }
  bool TryToGet(FileLocation const& location, bool allowBrokenLink);

  // The type tests of the target: false when there is no target.
  bool IsDirectory() const;
  bool IsFile() const;
  bool IsCharDev() const;
  bool IsBlockDev() const;
  bool IsFifo() const;
  bool IsSocket() const;
  // The tests of the path itself.
  bool IsSymlink() const;
  bool IsBrokenSymlink() const;
  bool IsNonbrokenSymlink() const;
  // As `FileItem::Name`.
  char const* Name() const;

  // These need a target.
  // Whether writing is refused (`EACCES`, `EROFS`); other failures raise.
  bool IsReadOnly() const;
  long Length() const;
  Instant ModificationTime() const;
  Instant AccessTime() const;
  void SetModificationTime(Instant instant);
  void Set();
  // The type that the path's extension stands for.
  FileType Type() const;
  // As `FileItem::Checksum`.
  std::uint32_t Checksum() const;

  Instant RoundToFileSystem(Instant instant) const;
  long GetTimeBias() const;

  FileLocation const& Location() const { return location_; }
  bool Valid() const { return valid_; }
  bool TargetExists() const { return targetExists_; }

 private:
  void RequireValid() const;
  void RequireTarget() const;

  struct stat target_;
  bool targetExists_;
  struct stat link_;
  bool valid_;
  FileLocation location_;
};

// The CRC with the generator 0x04C11DB7, most significant bit first,
// unreflected, from 0xFFFFFFFF. The final complement is the caller's:
// `ReceiveEnd` is the inherited empty one.
class ChecksumReceiver : public DataReceiver {
 public:
  ChecksumReceiver() : remainder_(0xFFFFFFFFu), table_(Table()) {}

  void Start() override { remainder_ = 0xFFFFFFFFu; }
  void Receive(ConstData data) override;

  std::uint32_t Remainder() const { return remainder_; }

  // The table of 256 entries, made once per process.
  static std::uint32_t const* Table();
  // Makes the table under a lock, if it is not made yet.
  static std::uint32_t const* MakeTable();

 private:
  std::uint32_t remainder_;
  std::uint32_t const* table_;
};
