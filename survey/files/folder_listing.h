// One folder of a tree walk: its names read in one go and sorted in
// `alphasort` order, "." and ".." left out, then looked at one by one with
// one `stat` each, the item that cannot be looked at skipped in silence.
//
// This is what a `FileLoop` does for a folder, with less work per item: the
// names are kept in one block rather than one allocation each, the path of
// the present item is written into one buffer behind the folder's text, and
// an item whose directory entry says it is not a symbolic link is looked at
// through the folder's open handle rather than by its full path. Both looks
// follow links and give the same record, as long as the full path is short
// enough to be looked at (an item whose path is too long is skipped as
// `stat` would skip it). An item that is or may be a link is looked at by
// its full path, so that the limit on links met along the path holds as it
// does for `stat`.
//
// A folder that cannot be opened or read lists nothing. The number of
// handles that all listings keep open at once is bounded; a listing without
// one looks at every item by its full path.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "survey/frame/boundary.h"

class SURVEY_API FolderListing {
 public:
  // Reads the folder whose path is this text, as it stands, and arrives at
  // its first item that can be looked at.
  explicit FolderListing(char const* folder);
  FolderListing(FolderListing const&) = delete;
  FolderListing& operator=(FolderListing const&) = delete;
  ~FolderListing();

  // Arrives at the next item that can be looked at, or at the end. The
  // handle and the names are let go at the end.
  void Advance();
  bool Finished() const { return index_ >= entries_.size(); }

  // The present item, while the listing is not finished: its full path
  // (the folder's text, "/" and the name), its name, and what the look at
  // it gave.
  char const* Path() const { return path_.data(); }
  char const* Name() const { return path_.data() + folderLength_ + 1; }
  struct stat const& Status() const { return status_; }
  bool IsDirectory() const { return S_ISDIR(status_.st_mode); }
  bool IsFile() const { return S_ISREG(status_.st_mode); }

  // How many listings hold their folder's handle now, and how many may.
  static int HandlesHeld();
  static constexpr int kMostHandlesHeld = 64;

 private:
  struct Entry {
    // Eight bytes of the name, from the first after the part that all names
    // of the folder share, the first in the highest place, with zeros after
    // the name's end: the order of two keys is that of the two names,
    // unless the keys are equal.
    std::uint64_t key;
    // Where the name starts in `names_`, and its length.
    std::size_t offset;
    unsigned short length;
    // The type that the directory entry gave (`DT_*`).
    unsigned char type;
  };

  // Reads the folder's entries; false when it cannot be read.
  bool Read(int handle);
  // Makes `names_` hold at least `wanted` bytes, keeping the first `used`.
  void Reserve(std::size_t used, std::size_t wanted, std::size_t& capacity);
  // Puts the entries in `alphasort` order.
  void Sort();
  // Arrives at the first item from `index_` on that can be looked at.
  void Settle();
  // Writes the item's path and looks at it; false when that fails.
  bool LookAt(Entry const& entry);
  // Lets go of the handle and the names.
  void Release();

  // The folder's text and "/", then the present item's name.
  std::vector<char> path_;
  std::size_t folderLength_;
  // The names, each with its end, one after the other.
  std::unique_ptr<char[]> names_;
  std::vector<Entry> entries_;
  std::size_t index_;
  // The folder's open handle, or -1.
  int handle_;
  struct stat status_;
};
