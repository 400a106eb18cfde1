// Symbolic links as values of their own: "symlink", with the attributes of
// the link itself rather than of its target, the text it holds, whether its
// target can be reached, and the ways to and from files and folders.
//
// A filesystem object looks through links (it is made by `stat`); a symlink
// is made by `lstat`, and only a link is one.
#pragma once

#include <sys/stat.h>

#include "survey/files/filesystem_object.h"
#include "survey/foundation/file_loop.h"
#include "survey/foundation/stringy.h"
#include "survey/frame/adaptors.h"

// "symlink": the look through the link (the target's record, zero-filled
// with `exists` false when the target cannot be reached), the link's path,
// its own `lstat` record and the text it holds.
class SURVEY_API symbolic_link : public UnixPlatform::FilesystemInfo {
 public:
  static constexpr char const* TypeName() { return "symlink"; }

  // The link at that path: NoSuchObject when nothing is there, when what is
  // there is not a link, or when the link's text cannot be read. A link
  // whose target is missing is a link all the same.
  symbolic_link(FileLocation const& location, bool flag);

  FileLocation const& Path() const { return path; }

  // The link's path.
  FileLocation path;
  // The link's own record.
  struct stat linkStatus;
  // The link's text as `readlink` gave it, at most 4095 bytes.
  Stringy value;
};

// The longest link text read: `readlink` is given one byte less than its
// buffer of 4096.
inline constexpr unsigned long kLinkValueLimit = 0xFFF;

// ---------------------------------------------------------------------------
// Lookups and conversions.

// The link at a path, as "file" looks up a file; an empty name is
// NoSuchObject.
SURVEY_API symbolic_link SymlinkOfWorld(surveyor_string const& name);
// The link of that name in the folder.
SURVEY_API symbolic_link SymlinkOfFolder(surveyor_string const& name, Of, folder const& parent);
// The link at the object's path: an object reached through a link.
SURVEY_API symbolic_link SymlinkFromFilesystemObj(filesystem_object const& object);
// The link made again from its path.
SURVEY_API symbolic_link SymlinkFromSymlink(symbolic_link const& link);
// The target as a file or folder, under the link's own path: NoSuchObject
// for a dangling link or a target of another kind.
SURVEY_API file FileFromSymbolicLink(symbolic_link const& link);
SURVEY_API folder FolderFromSymbolicLink(symbolic_link const& link);

// ---------------------------------------------------------------------------
// Walks.

// "symlinks" of a folder: its links, dangling ones included, in the order
// of the folder's listing.
class SURVEY_API symlink_iterator {
 public:
  symbolic_link First(folder const& parent);
  symbolic_link Next(folder const& parent);

 private:
  NewFileLoop loop_;
};

// "ancestors" of a symlink: the folder that holds the link, its parent and
// so on up to the root, on the path text.
class SURVEY_API symlink_ancestor_iterator {
 public:
  folder First(symbolic_link const& link);
  folder Next(symbolic_link const& link);

 private:
  FileLocation last_;
};

// ---------------------------------------------------------------------------
// Properties. Texts that are copied go to evaluator memory.

// The last component of the link's path.
SURVEY_API surveyor_string NameOfSymlink(symbolic_link const& link);
SURVEY_API surveyor_string PathOfSymlink(symbolic_link const& link);
// The pathname of the parent folder.
SURVEY_API surveyor_string LocationOfSymlink(symbolic_link const& link);
// The link's text, not resolved: a view of the value's own bytes.
SURVEY_API surveyor_string ValueOfSymlink(symbolic_link const& link);
// Whether the look through the link reached a target.
SURVEY_API boolean ValueAccessibleOfSymlink(symbolic_link const& link);
// NoSuchObject at the root.
SURVEY_API folder ParentFolderOfSymlink(symbolic_link const& link);
// The link's own times, owners and link count.
SURVEY_API moment ModificationTimeOfSymlink(symbolic_link const& link);
SURVEY_API moment AccessedTimeOfSymlink(symbolic_link const& link);
SURVEY_API moment ChangeTimeOfSymlink(symbolic_link const& link);
// NoSuchObject for an owner number without a name.
SURVEY_API surveyor_string UserNameOfSymlink(symbolic_link const& link);
SURVEY_API surveyor_string GroupNameOfSymlink(symbolic_link const& link);
SURVEY_API integer UIDOfSymlink(symbolic_link const& link);
SURVEY_API integer GIDOfSymlink(symbolic_link const& link);
SURVEY_API integer LinkCountOfSymlink(symbolic_link const& link);
// The link's path, as a view of its own text.
SURVEY_API surveyor_string SymlinkAsString(symbolic_link const& link);
