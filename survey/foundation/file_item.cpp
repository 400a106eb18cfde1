#include "survey/foundation/file_item.h"

#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "survey/foundation/file_reader.h"
#include "survey/foundation/lock.h"

Instant FileTimeToInstant(long long const& seconds) {
  return Instant(static_cast<std::int64_t>(seconds) * 1000000);
}

void throwFileIOError(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
    case ELOOP:
      throw FileNotFoundError();
    case EACCES:
      throw FilePermissionError();
    default:
      throw FileIOError();
  }
}

namespace {

// The name rule shared by both item classes: after the last "/", or, in a
// path without one, from the second byte on.
char const* ItemName(char const* path) {
  char const* slash = std::strrchr(path, '/');
  if (slash != nullptr) return slash + 1;
  return *path != '\0' ? path + 1 : path;
}

// The whole seconds of an instant, rounded down.
time_t SecondsOf(Instant instant) {
  std::int64_t seconds = instant.microseconds / 1000000;
  if (instant.microseconds % 1000000 < 0) --seconds;
  return static_cast<time_t>(seconds);
}

// Writes the access and modification seconds of a record to the path.
int WriteTimes(char const* path, struct stat const& status) {
  struct timeval times[2];
  times[0].tv_sec = status.st_atime;
  times[0].tv_usec = 0;
  times[1].tv_sec = status.st_mtime;
  times[1].tv_usec = 0;
  return utimes(path, times);
}

// The CRC of a file's bytes from the start to the end, read through a
// block of 1024 bytes on the stack.
std::uint32_t FileChecksum(FileLocation const& location) {
  unsigned char block[1024];
  FileReadingPath path(location);
  FileReadingLoop loop(Data(block, sizeof block), path, 0);
  ChecksumReceiver receiver;
  for (; loop.Remaining() != 0; ++loop) receiver.Receive(loop.Block());
  return ~receiver.Remainder();
}

}  // namespace

// ---------------------------------------------------------------------------
// FileItem

FileItem::FileItem() : valid_(false) { std::memset(&status_, 0, sizeof status_); }

FileItem::FileItem(FileLocation const& location) : FileItem() { Get(location); }

bool FileItem::TryToGet() {
  valid_ = false;
  if (stat(location_.FullPathName(), &status_) != 0) return false;
  valid_ = true;
  return true;
}

bool FileItem::TryToGet(FileLocation const& location) {
  location_ = location;
  return TryToGet();
}

void FileItem::Get() {
  if (!TryToGet()) throw FileItemError();
}

void FileItem::Get(FileLocation const& location) {
  if (!TryToGet(location)) throw FileItemError();
}

void FileItem::Require() const {
  if (!valid_) throw FileItemError();
}

bool FileItem::IsDirectory() const {
  Require();
  return S_ISDIR(status_.st_mode);
}

bool FileItem::IsFile() const {
  Require();
  return S_ISREG(status_.st_mode);
}

bool FileItem::IsReadOnly() const {
  Require();
  if (access(location_.FullPathName(), W_OK) == 0) return false;
  if (errno == EACCES) return true;
  throw FileItemError();
}

char const* FileItem::Name() const {
  Require();
  return ItemName(location_.FullPathName());
}

long FileItem::Length() const {
  Require();
  return status_.st_size;
}

Instant FileItem::ModificationTime() const {
  Require();
  return FileTimeToInstant(status_.st_mtime);
}

Instant FileItem::AccessTime() const {
  Require();
  return FileTimeToInstant(status_.st_atime);
}

struct stat const& FileItem::Status() const {
  Require();
  return status_;
}

dev_t FileItem::Device() const {
  Require();
  return status_.st_dev;
}

ino_t FileItem::Inode() const {
  Require();
  return status_.st_ino;
}

void FileItem::SetModificationTime(Instant instant) {
  Require();
  status_.st_mtime = SecondsOf(instant);
}

void FileItem::Set() {
  Require();
  if (WriteTimes(location_.FullPathName(), status_) != 0) throw FileItemError();
}

FileType FileItem::Type() const {
  Require();
  return AdviceFileTypes::TypeOfExtension(FileExtension(location_.FullPathName()));
}

// Asks nothing of the look: the reading raises what there is to raise.
std::uint32_t FileItem::Checksum() const { return FileChecksum(location_); }

Instant FileItem::RoundToFileSystem(Instant instant) const {
  Require();
  return instant;
}

// ---------------------------------------------------------------------------
// NewFileItem

NewFileItem::NewFileItem() : targetExists_(false), valid_(false) {
  std::memset(&target_, 0, sizeof target_);
  std::memset(&link_, 0, sizeof link_);
}

NewFileItem::NewFileItem(FileLocation const& location) : NewFileItem() { Get(location); }

void NewFileItem::Get(bool allowBrokenLink) {
  valid_ = false;
  char const* path = location_.FullPathName();
  bool const found = stat(path, &target_) == 0;
  int const error = errno;
  bool const looked = lstat(path, &link_) == 0;
  if (!looked) throwFileIOError(error);
  if (!found && (!S_ISLNK(link_.st_mode) || !allowBrokenLink)) throwFileIOError(error);
  targetExists_ = found;
  valid_ = true;
}

void NewFileItem::Get(FileLocation const& location, bool allowBrokenLink) {
  location_ = location;
  Get(allowBrokenLink);
}

// A failed look is false; anything else, such as a failed allocation,
// is not the look's to answer and goes on.
bool NewFileItem::TryToGet(bool allowBrokenLink) {
  try {
    Get(allowBrokenLink);
    return true;
  } catch (FileIOError const&) {
    return false;
  }
}

bool NewFileItem::TryToGet(FileLocation const& location, bool allowBrokenLink) {
  try {
    Get(location, allowBrokenLink);
    return true;
  } catch (FileIOError const&) {
    return false;
  }
}

void NewFileItem::RequireValid() const {
  if (!valid_) throw Invalid();
}

void NewFileItem::RequireTarget() const {
  if (!valid_ || !targetExists_) throw Invalid();
}

bool NewFileItem::IsDirectory() const {
  RequireValid();
  return targetExists_ && S_ISDIR(target_.st_mode);
}

bool NewFileItem::IsFile() const {
  RequireValid();
  return targetExists_ && S_ISREG(target_.st_mode);
}

bool NewFileItem::IsCharDev() const {
  RequireValid();
  return targetExists_ && S_ISCHR(target_.st_mode);
}

bool NewFileItem::IsBlockDev() const {
  RequireValid();
  return targetExists_ && S_ISBLK(target_.st_mode);
}

bool NewFileItem::IsFifo() const {
  RequireValid();
  return targetExists_ && S_ISFIFO(target_.st_mode);
}

bool NewFileItem::IsSocket() const {
  RequireValid();
  return targetExists_ && S_ISSOCK(target_.st_mode);
}

bool NewFileItem::IsSymlink() const {
  RequireValid();
  return S_ISLNK(link_.st_mode);
}

bool NewFileItem::IsBrokenSymlink() const {
  RequireValid();
  return S_ISLNK(link_.st_mode) && !targetExists_;
}

bool NewFileItem::IsNonbrokenSymlink() const {
  RequireValid();
  return S_ISLNK(link_.st_mode) && targetExists_;
}

char const* NewFileItem::Name() const {
  RequireValid();
  return ItemName(location_.FullPathName());
}

bool NewFileItem::IsReadOnly() const {
  RequireTarget();
  if (access(location_.FullPathName(), W_OK) == 0) return false;
  int const error = errno;
  if (error == EACCES || error == EROFS) return true;
  throwFileIOError(error);
}

long NewFileItem::Length() const {
  RequireTarget();
  return target_.st_size;
}

Instant NewFileItem::ModificationTime() const {
  RequireTarget();
  return FileTimeToInstant(target_.st_mtime);
}

Instant NewFileItem::AccessTime() const {
  RequireTarget();
  return FileTimeToInstant(target_.st_atime);
}

void NewFileItem::SetModificationTime(Instant instant) {
  RequireTarget();
  target_.st_mtime = SecondsOf(instant);
}

void NewFileItem::Set() {
  RequireTarget();
  if (WriteTimes(location_.FullPathName(), target_) == 0) return;
  switch (errno) {
    case ENOENT:
      throw FileNotFoundError();
    case EACCES:
      throw FilePermissionError();
    default:
      throw FileIOError();
  }
}

FileType NewFileItem::Type() const {
  RequireTarget();
  return AdviceFileTypes::TypeOfExtension(FileExtension(location_.FullPathName()));
}

std::uint32_t NewFileItem::Checksum() const {
  RequireTarget();
  return FileChecksum(location_);
}

Instant NewFileItem::RoundToFileSystem(Instant instant) const {
  RequireValid();
  return instant;
}

long NewFileItem::GetTimeBias() const {
  RequireValid();
  return 0;
}

// ---------------------------------------------------------------------------
// ChecksumReceiver

void ChecksumReceiver::Receive(ConstData data) {
  std::uint32_t remainder = remainder_;
  for (unsigned char const* p = data.begin; p != data.end; ++p)
    remainder = (remainder << 8) ^ table_[(remainder >> 24) ^ *p];
  remainder_ = remainder;
}

std::uint32_t const* ChecksumReceiver::Table() {
  static std::uint32_t const* const table = MakeTable();
  return table;
}

std::uint32_t const* ChecksumReceiver::MakeTable() {
  static CriticalSectionPL section;
  static std::uint32_t entries[256];
  static bool made = false;
  CriticalSectionTokenPL const token = section.GetToken();
  if (!made) {
    for (std::uint32_t index = 0; index < 256; ++index) {
      std::uint32_t entry = index << 24;
      for (int bit = 0; bit < 8; ++bit)
        entry = (entry & 0x80000000u) ? (entry << 1) ^ 0x04C11DB7u : entry << 1;
      entries[index] = entry;
    }
    made = true;
  }
  return entries;
}
