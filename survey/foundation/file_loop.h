// Directory loops: the names of one folder, in `alphasort` order, filtered
// by a wildcard pattern, each presented as a located file item.
//
// A loop reads the whole folder when it starts and keeps only the matching
// entries; the item is looked at when the loop arrives at it. A folder that
// cannot be read is an empty loop, and an item that cannot be looked at (it
// vanished, it is a dangling link, its path is too long) is skipped in
// silence. Only exceptions outside the file error family leave a loop.
//
//   for (FileLoop loop(folder); loop.Unfinished(); ++loop)
//     use(loop.Location(), loop.Item());
#pragma once

#include <dirent.h>

#include <cstdint>

#include "survey/foundation/file_item.h"

// The selector of a scan: nonzero keeps the entry.
using DirectorySelector = int (*)(dirent const*);

// Whether `name` matches the wildcard `pattern`: "?" stands for one byte,
// "*" for any run of bytes, and every other byte for itself, case counting.
bool Match(char const* name, char const* pattern);

// Keeps every entry but "." and "..".
int SelectAllFunc(dirent const* entry);

class FileLoop {
 public:
  FileLoop();
  explicit FileLoop(FileLocation const& folder);
  FileLoop(FileLoop const&) = delete;
  FileLoop& operator=(FileLoop const&) = delete;
  ~FileLoop();

  // Walks `folder`, every name, or the names that match `pattern`. A new
  // start replaces the folder and the list.
  void Start(FileLocation const& folder);
  void WildcardStart(FileLocation const& folder, char const* pattern);
  // Scans the loop's folder afresh and arrives at the first item that can be
  // looked at.
  void DoScanDirectory(DirectorySelector selector, char const* pattern);

  // The next item that can be looked at, or the end.
  FileLoop& operator++();
  bool Unfinished() const { return list_ != nullptr && index_ < count_; }
  bool Finished() const { return !Unfinished(); }
  // Looks at the present entry; raises the file error family if it cannot.
  void SetLoopItem();

  // The present item and its path; meaningful while the loop is unfinished.
  FileLocation const& Location() const { return location_; }
  FileItem const& Item() const { return item_; }
  FileItem& Item() { return item_; }

 private:
  void FreeList();
  void SetFolder(FileLocation const& folder);

  FileLocation location_;
  char* folder_;
  FileItem item_;
  dirent** list_;
  std::int32_t count_;
  std::int32_t index_;
};

class NewFileLoop {
 public:
  // Something went wrong with the loop itself.
  class Error : public DebuggableException {};
  // The loop has no present item.
  class InvalidIteratorPosition : public Error {};

  NewFileLoop();
  explicit NewFileLoop(FileLocation const& folder);
  // With `allowBrokenLink` true, a dangling link is an item of the loop.
  NewFileLoop(FileLocation const& folder, bool allowBrokenLink);
  NewFileLoop(NewFileLoop const&) = delete;
  NewFileLoop& operator=(NewFileLoop const&) = delete;
  ~NewFileLoop();

  void Start(FileLocation const& folder) { Start(folder, false); }
  void Start(FileLocation const& folder, bool allowBrokenLink);
  void WildcardStart(FileLocation const& folder, char const* pattern) {
    WildcardStart(folder, pattern, false);
  }
  void WildcardStart(FileLocation const& folder, char const* pattern, bool allowBrokenLink);

  NewFileLoop& operator++();
  bool Unfinished() const { return list_ != nullptr && index_ < count_; }
  bool Finished() const { return !Unfinished(); }

  // Looks at the present entry with the walk's flag, or with `allowBrokenLink`.
  void SetLoopItem() { SetLoopItem(allowBrokenLink_); }
  void SetLoopItem(bool allowBrokenLink);

  // Scans the folder into the list of matching entries; raises `Error` when
  // the list cannot be allocated.
  void BuildNameList(DirectorySelector selector, char const* pattern);
  // Frees the loop's list and ends the loop.
  void EmptyNameList();
  // Frees `count` entries and the array that holds them.
  static void EmptyScandirList(dirent** list, int count);
  // Frees the folder's text.
  void FreePathName();
  // Scans the folder and arrives at the first item that can be looked at.
  void DoScanDirectory(DirectorySelector selector, char const* pattern);
  void DoScanDirectory(DirectorySelector selector, char const* pattern, bool allowBrokenLink);
  // Starts on the folder; on failure frees what it holds and rethrows.
  void init(FileLocation const& folder, bool allowBrokenLink);

  // The present item and its path; raise `InvalidIteratorPosition` when the
  // loop is finished.
  FileLocation const& Location() const;
  NewFileItem const& Item() const;
  NewFileItem& Item();

 private:
  void SetFolder(FileLocation const& folder);

  FileLocation location_;
  NewFileItem item_;
  char* folder_;
  dirent** list_;
  std::int32_t count_;
  std::int32_t index_;
  bool allowBrokenLink_;
};

// A file loop over the names of one type, or of a pattern.
class TypedFileLoop : public FileLoop {
 public:
  // The names that end in the type's extension.
  TypedFileLoop(FileLocation const& folder, FileType type);
  TypedFileLoop(FileLocation const& folder, char const* pattern);

  void Start(FileLocation const& folder, FileType type);
};
