#include "survey/files/folder_listing.h"

#include <dirent.h>
#include <endian.h>
#include <fcntl.h>
#include <limits.h>
#include <locale.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>

namespace {

// The listings that hold their folder's handle now.
std::atomic<int> handlesHeld{0};

// Room for the directory entries of one read.
constexpr std::size_t kReadSize = 32768;

bool IsDotOrDotDot(char const* name) {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// Whether the collation in force is the byte order, so that `strcoll` and
// `strcmp` agree: the "C" and "POSIX" locales of the program, with no
// locale of the thread's own.
bool CollatesAsBytes() {
  if (uselocale(static_cast<locale_t>(nullptr)) != LC_GLOBAL_LOCALE) return false;
  char const* const name = setlocale(LC_COLLATE, nullptr);
  return name != nullptr && (std::strcmp(name, "C") == 0 || std::strcmp(name, "POSIX") == 0);
}

// Whether an entry's number and position fit the build's own directory
// record: the 32-bit build's reading of a folder fails on an entry whose
// inode or position does not fit its 32-bit fields.
bool FitsTheRecord(struct dirent64 const& entry) {
  if (sizeof(ino_t) >= sizeof entry.d_ino && sizeof(off_t) >= sizeof entry.d_off) return true;
  return static_cast<std::uint64_t>(static_cast<ino_t>(entry.d_ino)) ==
             static_cast<std::uint64_t>(entry.d_ino) &&
         static_cast<std::int64_t>(static_cast<off_t>(entry.d_off)) ==
             static_cast<std::int64_t>(entry.d_off);
}

// The sort key of a name of `length` bytes, from byte `from` on. Eight
// bytes are read whatever the length: the block of names has room after
// its last name.
std::uint64_t KeyOf(char const* name, std::size_t length, std::size_t from) {
  std::size_t const left = length - from;
  if (left == 0) return 0;
  std::uint64_t word;
  std::memcpy(&word, name + from, sizeof word);
  word = be64toh(word);
  if (left >= 8) return word;
  return word & (~std::uint64_t{0} << (8 * (8 - left)));
}

}  // namespace

FolderListing::FolderListing(char const* folder)
    : folderLength_(std::strlen(folder)), index_(0), handle_(-1) {
  std::memset(&status_, 0, sizeof status_);
  // The folder's text, "/", and room for the longest name and its end.
  path_.resize(folderLength_ + 1 + NAME_MAX + 1);
  std::memcpy(path_.data(), folder, folderLength_);
  path_[folderLength_] = '/';
  path_[folderLength_ + 1] = '\0';
  int const handle = open(folder, O_RDONLY | O_NONBLOCK | O_DIRECTORY | O_CLOEXEC);
  if (handle < 0) return;
  bool read = false;
  try {
    read = Read(handle);
    if (read) Sort();
  } catch (...) {
    close(handle);
    throw;
  }
  if (!read) {
    entries_.clear();
    names_.reset();
  }
  // The handle is kept for looking at the items, while few are held.
  if (!entries_.empty() && handlesHeld.fetch_add(1) < kMostHandlesHeld) {
    handle_ = handle;
  } else {
    if (!entries_.empty()) handlesHeld.fetch_sub(1);
    close(handle);
  }
  Settle();
}

FolderListing::~FolderListing() { Release(); }

int FolderListing::HandlesHeld() { return handlesHeld.load(); }

bool FolderListing::Read(int handle) {
  std::unique_ptr<char[]> const buffer(new char[kReadSize]);
  // The bytes of `names_` in use; the rest, up to `capacity`, is room for the
  // next names and is not cleared.
  std::size_t used = 0;
  std::size_t capacity = 0;
  for (;;) {
    ssize_t const got = getdents64(handle, buffer.get(), kReadSize);
    if (got <= 0) {
      // Room for a key's eight bytes after the last name, cleared.
      Reserve(used, used + 8, capacity);
      std::memset(names_.get() + used, 0, 8);
      // The end; or a folder removed while it is read, which ends there; any
      // other failure makes the whole folder unreadable.
      return got == 0 || errno == ENOENT;
    }
    // No name of this read is longer than its entry, and no entry is
    // shorter than 24 bytes.
    Reserve(used, used + static_cast<std::size_t>(got), capacity);
    std::size_t const most = entries_.size() + static_cast<std::size_t>(got) / 24;
    if (most > entries_.capacity()) entries_.reserve(std::max(most, 2 * entries_.capacity()));
    char* const names = names_.get();
    for (ssize_t at = 0; at < got;) {
      auto const* const entry = reinterpret_cast<struct dirent64 const*>(buffer.get() + at);
      at += entry->d_reclen;
      // An entry without an inode is a removed one.
      if (entry->d_ino == 0) continue;
      if (!FitsTheRecord(*entry)) return false;
      char const* const name = entry->d_name;
      if (IsDotOrDotDot(name)) continue;
      std::size_t const length = std::strlen(name);
      std::memcpy(names + used, name, length + 1);
      entries_.push_back(
          Entry{0, used, static_cast<unsigned short>(length), entry->d_type});
      used += length + 1;
    }
  }
}

void FolderListing::Reserve(std::size_t used, std::size_t wanted, std::size_t& capacity) {
  if (wanted <= capacity) return;
  // At least double, so that a large folder is copied a few times only.
  std::size_t const grown = std::max(wanted, 2 * capacity);
  std::unique_ptr<char[]> larger(new char[grown]);
  if (used != 0) std::memcpy(larger.get(), names_.get(), used);
  names_ = std::move(larger);
  capacity = grown;
}

void FolderListing::Sort() {
  if (entries_.empty()) return;
  char const* const names = names_.get();
  if (CollatesAsBytes()) {
    // The bytes that all names share at their start decide nothing; the
    // keys are taken from the first byte after them.
    std::size_t shared = entries_[0].length;
    char const* const first = names + entries_[0].offset;
    for (Entry const& entry : entries_) {
      char const* const name = names + entry.offset;
      std::size_t at = 0;
      while (at < shared && name[at] == first[at]) ++at;
      shared = at;
    }
    for (Entry& entry : entries_) entry.key = KeyOf(names + entry.offset, entry.length, shared);
    // Names are unique, so no two compare equal and any sort gives the
    // one order. Equal keys where a name ends within them would be one name
    // twice; otherwise the rest of the names decides.
    std::size_t const rest = shared + 8;
    std::sort(entries_.begin(), entries_.end(), [names, rest](Entry const& a, Entry const& b) {
      if (a.key != b.key) return a.key < b.key;
      if (a.length < rest || b.length < rest) return a.length < b.length;
      return std::strcmp(names + a.offset + rest, names + b.offset + rest) < 0;
    });
  } else {
    // A collation may hold two names equal; they stay in the order read,
    // as the stable sort of a scan leaves them.
    std::stable_sort(entries_.begin(), entries_.end(), [names](Entry const& a, Entry const& b) {
      return std::strcoll(names + a.offset, names + b.offset) < 0;
    });
  }
}

bool FolderListing::LookAt(Entry const& entry) {
  // A path of PATH_MAX bytes or more cannot be looked at.
  if (folderLength_ + 1 + entry.length >= PATH_MAX) return false;
  // A file system may have names longer than the usual longest.
  if (path_.size() < folderLength_ + 1 + entry.length + 1u) {
    path_.resize(folderLength_ + 1 + entry.length + 1u);
  }
  char* const name = path_.data() + folderLength_ + 1;
  std::memcpy(name, names_.get() + entry.offset, entry.length + 1u);
  // A link met as the last part of a path counts towards the limit of the
  // links that the whole path meets; only the full path keeps that count.
  if (handle_ >= 0 && entry.type != DT_LNK && entry.type != DT_UNKNOWN) {
    return fstatat(handle_, name, &status_, 0) == 0;
  }
  return ::stat(path_.data(), &status_) == 0;
}

void FolderListing::Settle() {
  for (; index_ < entries_.size(); ++index_) {
    if (LookAt(entries_[index_])) return;
  }
  Release();
}

void FolderListing::Advance() {
  if (Finished()) return;
  ++index_;
  Settle();
}

void FolderListing::Release() {
  if (handle_ >= 0) {
    close(handle_);
    handle_ = -1;
    handlesHeld.fetch_sub(1);
  }
  names_.reset();
  std::vector<Entry>().swap(entries_);
  index_ = 0;
}
