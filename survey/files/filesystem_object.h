// Things on disk as the query language sees them: the value types
// "filesystem object", "file", "folder" and "application", the platform's
// look at a path, the lookups by name, the four properties that every
// filesystem object has (name, pathname, location, parent folder), and the
// listings of a folder.
//
// An object holds the result of one `stat` taken when it was made; no later
// property looks at the disk again, so all attributes of one object are of
// one instant.
#pragma once

#include <sys/stat.h>

#include "survey/foundation/data.h"
#include "survey/foundation/file_location.h"
#include "survey/foundation/file_loop.h"
#include "survey/frame/adaptors.h"

namespace UnixPlatform {

// What one `stat` of a path gave. The record is `stat`'s, not `lstat`'s, so a
// symbolic link reads as what it points to.
//
// In the 32-bit build this is the C library's 32-bit `stat`, which refuses a
// file of 2 GiB or more (EOVERFLOW): such a file does not exist there. The
// 64-bit build has a 64-bit `stat` and finds and measures every file.
class SURVEY_API FilesystemInfo {
 public:
  // Looks at the path; a failed `stat`, whatever its reason, throws
  // NoSuchObject. The flag has no effect on this platform.
  FilesystemInfo(FileLocation const& location, bool flag);
  // The same, but with `allowMissing` true a failed `stat` is no error: the
  // record is zero-filled and `exists` is false.
  FilesystemInfo(FileLocation const& location, bool flag, bool allowMissing);
  // What a `stat` of the path gave already, taken as it is: a walk that has
  // looked at an item does not look again.
  FilesystemInfo(FileLocation const& location, struct stat const& looked);

  struct stat status;
  // The path looked at.
  FileLocation location;
  // Whether the `stat` succeeded.
  bool exists;
};

// Every name is a valid file name here.
SURVEY_API bool ValidFileName(ConstData name);
// A regular file, after links are followed.
SURVEY_API bool IsFile(FilesystemInfo const& info);
// A directory, after links are followed. Devices, pipes and sockets are
// neither files nor folders.
SURVEY_API bool IsFolder(FilesystemInfo const& info);
// The path is exactly "/".
SURVEY_API bool IsRoot(FilesystemInfo const& info);
// The last component of the path: the text after the last "/", or the whole
// path when it has none. For anything but a regular file, a path that ends
// in "/" names itself by that "/", so the root folder is named "/". The
// result points into the location's text.
SURVEY_API char const* Name(FilesystemInfo const& info);
// The size in bytes. In the 32-bit build `st_size` is a 32-bit value,
// widened here; the 64-bit build gives the full 64-bit size.
SURVEY_API long long FileSize(FilesystemInfo const& info);
// The folder that holds a path, found from the text alone: "." for a bare
// name, ".." for ".", "/" for a path with its only "/" in front, otherwise
// the text before the last "/". The empty path and "/" itself have no
// parent: NoSuchObject.
SURVEY_API FileLocation ParentFolder(FileLocation const& location, bool flag);

}  // namespace UnixPlatform

// "filesystem object": anything a `stat` finds.
class SURVEY_API filesystem_object : public UnixPlatform::FilesystemInfo {
 public:
  static constexpr char const* TypeName() { return "filesystem object"; }

  // Runs `stat` on the location; NoSuchObject when it fails. Objects made
  // from a name pass false as the flag; objects made from other objects
  // pass on theirs. The flag only travels on this platform.
  filesystem_object(FileLocation const& location, bool flag);
  // From the `stat` of the location that the caller has just made.
  filesystem_object(FileLocation const& location, bool flag, struct stat const& looked);
  // The same, taking over the location's text for one of the two copies.
  filesystem_object(FileLocation&& location, bool flag, struct stat const& looked);

  // The path by which queries know the object (the same text as the one
  // looked at).
  FileLocation const& Path() const { return path; }
  bool Flag() const { return flag; }

  FileLocation path;
  bool flag;
};

// "file": a filesystem object that is a regular file.
class SURVEY_API file : public filesystem_object {
 public:
  static constexpr char const* TypeName() { return "file"; }

  // NoSuchObject when the path is missing or is not a regular file.
  file(FileLocation const& location, bool flag);
  // The same from the `stat` of the location that the caller has just made.
  file(FileLocation const& location, bool flag, struct stat const& looked);
  file(FileLocation&& location, bool flag, struct stat const& looked);
};

// "folder": a filesystem object that is a directory.
class SURVEY_API folder : public filesystem_object {
 public:
  static constexpr char const* TypeName() { return "folder"; }

  // NoSuchObject when the path is missing or is not a directory.
  folder(FileLocation const& location, bool flag);
  // The same from the `stat` of the location that the caller has just made.
  folder(FileLocation const& location, bool flag, struct stat const& looked);
  folder(FileLocation&& location, bool flag, struct stat const& looked);
};

// "application": a file, looked up and checked exactly as a file is; only
// its type differs.
class SURVEY_API application : public file {
 public:
  static constexpr char const* TypeName() { return "application"; }

  application(FileLocation const& location, bool flag) : file(location, flag) {}
};

// The fingerprint of a file (and so of an application): the path text, the
// size, the modification time and whether the object exists.
SURVEY_API Fingerprinter& operator<<(Fingerprinter& fingerprinter, file const& object);

// ---------------------------------------------------------------------------
// Lookups by name. An empty name is NoSuchObject. The world forms take the
// name as a path (relative to the working directory, trailing slashes cut);
// the folder forms append "/" and the name to the folder's path whatever the
// name holds, so an absolute name is not honoured and ".." is not folded.

SURVEY_API file FileOfWorld(surveyor_string const& name);
SURVEY_API file FileOfFolder(surveyor_string const& name, Of, folder const& parent);
SURVEY_API folder FolderOfWorld(surveyor_string const& name);
SURVEY_API folder FolderOfFolder(surveyor_string const& name, Of, folder const& parent);
SURVEY_API application ApplicationOfWorld(surveyor_string const& name);
SURVEY_API application ApplicationOfFolder(surveyor_string const& name, Of, folder const& parent);

// ---------------------------------------------------------------------------
// The properties of every filesystem object. Texts are copies in evaluator
// memory.

// "name": the last path component.
SURVEY_API surveyor_string Name(Of, filesystem_object const& object);
// "pathname": the path as held.
SURVEY_API surveyor_string Path(Of, filesystem_object const& object);
// "location": the pathname of the parent folder.
SURVEY_API surveyor_string Location(Of, filesystem_object const& object);
// "parent folder": NoSuchObject for the root, and for a parent that cannot
// be looked at.
SURVEY_API folder ParentFolder(Of, filesystem_object const& object);

// ---------------------------------------------------------------------------
// Listings of one folder: "files", "find files" and "folders". The state is
// the folder's loop, nothing more: the names of the whole folder taken once
// when the listing starts, in `alphasort` order, "." and ".." left out and
// dot names kept. Items that cannot be looked at are passed over, and a
// folder that cannot be read lists nothing.
class SURVEY_API filesystem_object_iterator : public FileLoop {
 public:
  // Every regular file of the folder.
  file FirstFile(Of, folder const& parent);
  file NextFile(Of, folder const& parent);
  // The regular files whose names match the wildcard: "*" for any run of
  // bytes, "?" for one byte, every other byte for itself, case counting.
  file FilteredFirstFile(surveyor_string const& pattern, Of, folder const& parent);
  // The pattern is the loop's from the start; the index is not read again.
  file FilteredNextFile(surveyor_string const& pattern, Of, folder const& parent);
  // Every folder of the folder.
  folder FirstFolder(Of, folder const& parent);
  folder NextFolder(Of, folder const& parent);

 private:
  // Steps over items until one passes `wanted`, and makes the object of it
  // with the folder's flag; NoSuchObject at the end.
  template <class Kind>
  Kind NextOfKind(bool (FileItem::*wanted)() const, folder const& parent);
};
