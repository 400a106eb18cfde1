#include "survey/files/filesystem_object.h"

#include <cstring>
#include <memory>
#include <utility>

#include "survey/frame/table.h"

namespace UnixPlatform {

namespace {

// The type bits of a mode and the values of the two kinds that matter here.
constexpr unsigned kTypeMask = 0xF000;
constexpr unsigned kRegularFile = 0x8000;
constexpr unsigned kDirectory = 0x4000;

}  // namespace

FilesystemInfo::FilesystemInfo(FileLocation const& where, bool flag)
    : FilesystemInfo(where, flag, false) {}

FilesystemInfo::FilesystemInfo(FileLocation const& where, bool, bool allowMissing)
    : location(where), exists(false) {
  if (::stat(location.FullPathName(), &status) == 0) {
    exists = true;
    return;
  }
  if (!allowMissing) throw NoSuchObject();
  std::memset(&status, 0, sizeof status);
}

FilesystemInfo::FilesystemInfo(FileLocation const& where, struct stat const& looked)
    : status(looked), location(where), exists(true) {}

bool ValidFileName(ConstData) { return true; }

bool IsFile(FilesystemInfo const& info) {
  return (static_cast<unsigned>(info.status.st_mode) & kTypeMask) == kRegularFile;
}

bool IsFolder(FilesystemInfo const& info) {
  return (static_cast<unsigned>(info.status.st_mode) & kTypeMask) == kDirectory;
}

bool IsRoot(FilesystemInfo const& info) {
  return std::strcmp(info.location.FullPathName(), "/") == 0;
}

char const* Name(FilesystemInfo const& info) {
  char const* const path = info.location.FullPathName();
  char const* const slash = std::strrchr(path, '/');
  if (slash == nullptr) return path;
  if (slash[1] == '\0' && !IsFile(info)) return slash;
  return slash + 1;
}

long long FileSize(FilesystemInfo const& info) {
  // `off_t` is 32 bits wide in the 32-bit build and 64 bits in the 64-bit
  // one; either way the value widens to 64 bits unchanged.
  return static_cast<long long>(info.status.st_size);
}

FileLocation ParentFolder(FileLocation const& location, bool) {
  char const* const path = location.FullPathName();
  if (path[0] == '\0') throw NoSuchObject();
  char const* const slash = std::strrchr(path, '/');
  if (slash == nullptr) {
    return FileLocation(std::strcmp(path, ".") == 0 ? ".." : ".");
  }
  if (slash == path) {
    if (path[1] == '\0') throw NoSuchObject();
    return FileLocation("/");
  }
  std::unique_ptr<char[]> const parent(new char[slash - path + 1]);
  std::memcpy(parent.get(), path, static_cast<unsigned long>(slash - path));
  parent[slash - path] = '\0';
  FileLocation result;
  result.SetFullPathName(parent.get());
  return result;
}

}  // namespace UnixPlatform

filesystem_object::filesystem_object(FileLocation const& where, bool platformFlag)
    : FilesystemInfo(where, platformFlag), path(where), flag(platformFlag) {}

filesystem_object::filesystem_object(FileLocation const& where, bool platformFlag,
                                     struct stat const& looked)
    : FilesystemInfo(where, looked), path(where), flag(platformFlag) {}

filesystem_object::filesystem_object(FileLocation&& where, bool platformFlag,
                                     struct stat const& looked)
    : FilesystemInfo(where, looked), path(std::move(where)), flag(platformFlag) {}

file::file(FileLocation const& where, bool platformFlag) : filesystem_object(where, platformFlag) {
  if (!UnixPlatform::IsFile(*this)) throw NoSuchObject();
}

file::file(FileLocation const& where, bool platformFlag, struct stat const& looked)
    : filesystem_object(where, platformFlag, looked) {
  if (!UnixPlatform::IsFile(*this)) throw NoSuchObject();
}

file::file(FileLocation&& where, bool platformFlag, struct stat const& looked)
    : filesystem_object(std::move(where), platformFlag, looked) {
  if (!UnixPlatform::IsFile(*this)) throw NoSuchObject();
}

folder::folder(FileLocation const& where, bool platformFlag)
    : filesystem_object(where, platformFlag) {
  if (!UnixPlatform::IsFolder(*this)) throw NoSuchObject();
}

folder::folder(FileLocation const& where, bool platformFlag, struct stat const& looked)
    : filesystem_object(where, platformFlag, looked) {
  if (!UnixPlatform::IsFolder(*this)) throw NoSuchObject();
}

folder::folder(FileLocation&& where, bool platformFlag, struct stat const& looked)
    : filesystem_object(std::move(where), platformFlag, looked) {
  if (!UnixPlatform::IsFolder(*this)) throw NoSuchObject();
}

Fingerprinter& operator<<(Fingerprinter& fingerprinter, file const& object) {
  char const* const text = object.Path().FullPathName();
  Fingerprint_Byte_Range(fingerprinter, text, text + std::strlen(text));
  // The size and the time at their width on this build: 32 bits each in the
  // 32-bit build, 64 in the 64-bit one, where a change in the high bits of
  // a large file's size must change the fingerprint too.
  Fingerprint_Byte_Range(fingerprinter, &object.status.st_size, &object.status.st_size + 1);
  Fingerprint_Byte_Range(fingerprinter, &object.status.st_mtime, &object.status.st_mtime + 1);
  Fingerprint_Byte_Range(fingerprinter, &object.exists, &object.exists + 1);
  return fingerprinter;
}

// ---------------------------------------------------------------------------
// Lookups by name.

namespace {

// The index as a NUL-terminated text. Bytes after an embedded NUL are not
// part of a path.
std::unique_ptr<char[]> Terminated(surveyor_string const& name) {
  std::unique_ptr<char[]> text(new char[name.length + 1]);
  if (name.length != 0) std::memcpy(text.get(), name.data, name.length);
  text[name.length] = '\0';
  return text;
}

// The location of a name asked of the world, after the checks that every
// lookup makes. `checkName` asks the platform whether the name is valid.
FileLocation WorldLocation(surveyor_string const& name, bool checkName) {
  if (name.length == 0) throw NoSuchObject();
  if (checkName && !UnixPlatform::ValidFileName(ConstData(name))) throw NoSuchObject();
  return MakeFileLocation(Terminated(name).get());
}

FileLocation FolderLocation(surveyor_string const& name, folder const& parent, bool checkName) {
  if (name.length == 0) throw NoSuchObject();
  if (checkName && !UnixPlatform::ValidFileName(ConstData(name))) throw NoSuchObject();
  return FileLocation(parent.Path(), Terminated(name).get());
}

}  // namespace

file FileOfWorld(surveyor_string const& name) { return file(WorldLocation(name, true), false); }

file FileOfFolder(surveyor_string const& name, Of, folder const& parent) {
  return file(FolderLocation(name, parent, true), parent.Flag());
}

folder FolderOfWorld(surveyor_string const& name) {
  return folder(WorldLocation(name, false), false);
}

folder FolderOfFolder(surveyor_string const& name, Of, folder const& parent) {
  return folder(FolderLocation(name, parent, false), parent.Flag());
}

application ApplicationOfWorld(surveyor_string const& name) {
  return application(WorldLocation(name, true), false);
}

application ApplicationOfFolder(surveyor_string const& name, Of, folder const& parent) {
  return application(FolderLocation(name, parent, true), parent.Flag());
}

// ---------------------------------------------------------------------------
// The four properties.

namespace {

surveyor_string CopyToSurveyorMemory(char const* text) {
  unsigned long const length = std::strlen(text);
  unsigned char* const copy = Allocate_Surveyor_Memory(length);
  if (length != 0) std::memcpy(copy, text, length);
  return surveyor_string{copy, length};
}

}  // namespace

surveyor_string Name(Of, filesystem_object const& object) {
  return CopyToSurveyorMemory(UnixPlatform::Name(object));
}

surveyor_string Path(Of, filesystem_object const& object) {
  return CopyToSurveyorMemory(object.Path().FullPathName());
}

folder ParentFolder(Of, filesystem_object const& object) {
  if (UnixPlatform::IsRoot(object)) throw NoSuchObject();
  return folder(UnixPlatform::ParentFolder(object.Path(), object.Flag()), object.Flag());
}

surveyor_string Location(Of, filesystem_object const& object) {
  return Path(Of(0), ParentFolder(Of(0), object));
}

// ---------------------------------------------------------------------------
// Listings of one folder.

template <class Kind>
Kind filesystem_object_iterator::NextOfKind(bool (FileItem::*wanted)() const,
                                            folder const& parent) {
  while (Unfinished() && !(Item().*wanted)()) ++*this;
  if (Finished()) throw NoSuchObject();
  // An item that vanished since the scan ends the listing here.
  Kind found(Location(), parent.Flag());
  ++*this;
  return found;
}

file filesystem_object_iterator::FirstFile(Of, folder const& parent) {
  Start(parent.Path());
  return NextFile(Of(0), parent);
}

file filesystem_object_iterator::NextFile(Of, folder const& parent) {
  return NextOfKind<file>(&FileItem::IsFile, parent);
}

folder filesystem_object_iterator::FirstFolder(Of, folder const& parent) {
  Start(parent.Path());
  return NextFolder(Of(0), parent);
}

folder filesystem_object_iterator::NextFolder(Of, folder const& parent) {
  return NextOfKind<folder>(&FileItem::IsDirectory, parent);
}

file filesystem_object_iterator::FilteredFirstFile(surveyor_string const& pattern, Of,
                                                   folder const& parent) {
  WildcardStart(parent.Path(), Terminated(pattern).get());
  return NextFile(Of(0), parent);
}

file filesystem_object_iterator::FilteredNextFile(surveyor_string const&, Of,
                                                  folder const& parent) {
  return NextFile(Of(0), parent);
}

// ---------------------------------------------------------------------------
// Registration, in table order. No row has a dependency: every evaluation
// looks at the disk anew.

namespace {

using Walk = filesystem_object_iterator;

RegistrationTable table{
    TypeRow<filesystem_object>(),
    FingerprintedTypeRow<file, filesystem_object>(),
    TypeRow<folder, filesystem_object>(),
    FingerprintedTypeRow<application, file>(),

    PropertyRow("name", "names", &Name),
    PropertyRow("pathname", "pathnames", &Path),
    PropertyRow("location", "locations", &Location),
    PropertyRow("parent folder", "parent folders", &ParentFolder),

    IndexedRow("file", "files", &FileOfWorld),
    IndexedRow("file", "files", &FileOfFolder),
    IndexedRow("folder", "folders", &FolderOfWorld),
    IndexedRow("folder", "folders", &FolderOfFolder),
    IndexedRow("application", "applications", &ApplicationOfWorld),
    IndexedRow("application", "applications", &ApplicationOfFolder),

    IteratedRow("file", "files", &Walk::FirstFile, &Walk::NextFile),
    IteratedRow("find file", "find files", &Walk::FilteredFirstFile, &Walk::FilteredNextFile),
    IteratedRow("folder", "folders", &Walk::FirstFolder, &Walk::NextFolder),
};

}  // namespace
