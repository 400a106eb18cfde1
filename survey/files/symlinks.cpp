#include "survey/files/symlinks.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cstring>
#include <memory>

#include "survey/frame/table.h"

namespace {

// The type bits of a mode, and those of a link.
constexpr unsigned kTypeMask = 0xF000;
constexpr unsigned kSymbolicLink = 0xA000;
// The buffer that `readlink` fills.
constexpr unsigned long kLinkBufferSize = 4096;

surveyor_string InEvaluatorMemory(char const* text) {
  unsigned long const length = std::strlen(text);
  unsigned char* const copy = Allocate_Surveyor_Memory(length);
  if (length != 0) std::memcpy(copy, text, length);
  return surveyor_string{copy, length};
}

// Seconds since 1970, as the link's record keeps them, as a moment.
moment FromEpochSeconds(time_t seconds) {
  return january_1_1970() + second_of() * integer{static_cast<long long>(seconds)};
}

// The index as a NUL-terminated text. Bytes after an embedded NUL are not
// part of a path.
std::unique_ptr<char[]> Terminated(surveyor_string const& name) {
  std::unique_ptr<char[]> text(new char[name.length + 1]);
  if (name.length != 0) std::memcpy(text.get(), name.data, name.length);
  text[name.length] = '\0';
  return text;
}

}  // namespace

symbolic_link::symbolic_link(FileLocation const& location, bool flag)
    : FilesystemInfo(location, flag, true), path(location) {
  if (::lstat(path.FullPathName(), &linkStatus) != 0) throw NoSuchObject();
  if ((static_cast<unsigned>(linkStatus.st_mode) & kTypeMask) != kSymbolicLink) {
    throw NoSuchObject();
  }
  char buffer[kLinkBufferSize];
  ssize_t const length = ::readlink(path.FullPathName(), buffer, kLinkValueLimit);
  if (length <= 0) throw NoSuchObject();
  buffer[length] = '\0';
  // Up to the first NUL, which a link's text cannot hold anyway.
  value = Stringy(buffer);
}

// ---------------------------------------------------------------------------
// Lookups and conversions.

symbolic_link SymlinkOfWorld(surveyor_string const& name) {
  if (name.length == 0) throw NoSuchObject();
  if (!UnixPlatform::ValidFileName(ConstData(name))) throw NoSuchObject();
  return symbolic_link(MakeFileLocation(Terminated(name).get()), false);
}

symbolic_link SymlinkOfFolder(surveyor_string const& name, Of, folder const& parent) {
  if (name.length == 0) throw NoSuchObject();
  if (!UnixPlatform::ValidFileName(ConstData(name))) throw NoSuchObject();
  return symbolic_link(FileLocation(parent.Path(), Terminated(name).get()), false);
}

symbolic_link SymlinkFromFilesystemObj(filesystem_object const& object) {
  return symbolic_link(object.Path(), false);
}

symbolic_link SymlinkFromSymlink(symbolic_link const& link) {
  return symbolic_link(link.Path(), false);
}

file FileFromSymbolicLink(symbolic_link const& link) { return file(link.Path(), false); }

folder FolderFromSymbolicLink(symbolic_link const& link) { return folder(link.Path(), false); }

// ---------------------------------------------------------------------------
// Walks.

symbolic_link symlink_iterator::First(folder const& parent) {
  // Dangling links are items of this walk: they are links all the same.
  loop_.Start(parent.Path(), true);
  return Next(parent);
}

symbolic_link symlink_iterator::Next(folder const&) {
  while (loop_.Unfinished() && !loop_.Item().IsSymlink()) ++loop_;
  if (loop_.Finished()) throw NoSuchObject();
  symbolic_link found(loop_.Location(), false);
  ++loop_;
  return found;
}

folder symlink_ancestor_iterator::First(symbolic_link const& link) {
  folder parent = ParentFolderOfSymlink(link);
  last_ = parent.Path();
  return parent;
}

folder symlink_ancestor_iterator::Next(symbolic_link const&) {
  filesystem_object const current(last_, false);
  folder parent = ParentFolder(Of(0), current);
  last_ = parent.Path();
  return parent;
}

// ---------------------------------------------------------------------------
// Properties.

surveyor_string NameOfSymlink(symbolic_link const& link) {
  return InEvaluatorMemory(UnixPlatform::Name(link));
}

surveyor_string PathOfSymlink(symbolic_link const& link) {
  return InEvaluatorMemory(link.Path().FullPathName());
}

surveyor_string LocationOfSymlink(symbolic_link const& link) {
  return Path(Of(0), ParentFolderOfSymlink(link));
}

surveyor_string ValueOfSymlink(symbolic_link const& link) {
  return ConstData(link.value.CString()).AsSurveyorString();
}

boolean ValueAccessibleOfSymlink(symbolic_link const& link) {
  return boolean{static_cast<unsigned char>(link.exists ? 1 : 0)};
}

folder ParentFolderOfSymlink(symbolic_link const& link) {
  if (std::strcmp(link.Path().FullPathName(), "/") == 0) throw NoSuchObject();
  return folder(UnixPlatform::ParentFolder(link.Path(), false), false);
}

moment ModificationTimeOfSymlink(symbolic_link const& link) {
  return FromEpochSeconds(link.linkStatus.st_mtime);
}

moment AccessedTimeOfSymlink(symbolic_link const& link) {
  return FromEpochSeconds(link.linkStatus.st_atime);
}

moment ChangeTimeOfSymlink(symbolic_link const& link) {
  return FromEpochSeconds(link.linkStatus.st_ctime);
}

// The look-ups are not reentrant: the name is copied out at once.
surveyor_string UserNameOfSymlink(symbolic_link const& link) {
  passwd const* const entry = getpwuid(link.linkStatus.st_uid);
  if (entry == nullptr || entry->pw_name == nullptr) throw NoSuchObject();
  return InEvaluatorMemory(entry->pw_name);
}

surveyor_string GroupNameOfSymlink(symbolic_link const& link) {
  group const* const entry = getgrgid(link.linkStatus.st_gid);
  if (entry == nullptr || entry->gr_name == nullptr) throw NoSuchObject();
  return InEvaluatorMemory(entry->gr_name);
}

integer UIDOfSymlink(symbolic_link const& link) {
  return integer{static_cast<long long>(link.linkStatus.st_uid)};
}

integer GIDOfSymlink(symbolic_link const& link) {
  return integer{static_cast<long long>(link.linkStatus.st_gid)};
}

integer LinkCountOfSymlink(symbolic_link const& link) {
  return integer{static_cast<long long>(link.linkStatus.st_nlink)};
}

surveyor_string SymlinkAsString(symbolic_link const& link) {
  return ConstData(link.Path().FullPathName()).AsSurveyorString();
}

// ---------------------------------------------------------------------------
// Registration, in table order. The lookups and attributes look at the disk
// on every evaluation; the link count and the conversions depend on their
// operands alone.

namespace {

RegistrationTable table{
    TypeRow<symbolic_link>(),

    IndexedRow("symlink", "symlinks", &SymlinkOfWorld),
    IndexedRow("symlink", "symlinks", &SymlinkOfFolder),
    IndexedRow("symlink", "symlinks", &SymlinkFromFilesystemObj),
    IndexedRow("symlink", "symlinks", &SymlinkFromSymlink),
    IndexedRow("file", "files", &FileFromSymbolicLink),
    IndexedRow("folder", "folders", &FolderFromSymbolicLink),
    IteratedRow<symlink_iterator>("symlink", "symlinks"),
    IteratedRow<symlink_ancestor_iterator>("ancestor", "ancestors"),
    PropertyRow("name", "names", &NameOfSymlink),
    PropertyRow("pathname", "pathnames", &PathOfSymlink),
    PropertyRow("location", "locations", &LocationOfSymlink),
    PropertyRow("value", "values", &ValueOfSymlink),
    PropertyRow("value accessible", "values accessible", &ValueAccessibleOfSymlink),
    PropertyRow("parent folder", "parent folders", &ParentFolderOfSymlink),
    PropertyRow("modification time", "modification times", &ModificationTimeOfSymlink),
    PropertyRow("accessed time", "accessed times", &AccessedTimeOfSymlink),
    PropertyRow("change time", "change times", &ChangeTimeOfSymlink),
    PropertyRow("user name", "user names", &UserNameOfSymlink),
    PropertyRow("group name", "group names", &GroupNameOfSymlink),
    PropertyRow("uid", "uids", &UIDOfSymlink),
    PropertyRow("gid", "gids", &GIDOfSymlink),

    PropertyRow("link count", "link counts", &LinkCountOfSymlink, &DependsOnlyOnParameters),
    CastRow("symlink", &SymlinkFromFilesystemObj, &DependsOnlyOnParameters),
    CastRow("symlink", &SymlinkFromSymlink, &DependsOnlyOnParameters),
    CastRow("file", &FileFromSymbolicLink, &DependsOnlyOnParameters),
    CastRow("folder", &FolderFromSymbolicLink, &DependsOnlyOnParameters),
    CastRow("string", &SymlinkAsString, &DependsOnlyOnParameters),
};

}  // namespace
