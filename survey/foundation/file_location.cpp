#include "survey/foundation/file_location.h"

#include <cstring>

#include "survey/foundation/stringy.h"

namespace {

char* CopyText(char const* text, unsigned long length) {
  char* copy = new char[length + 1];
  std::memcpy(copy, text, length);
  copy[length] = '\0';
  return copy;
}

// The length of `text` without its trailing slashes, keeping at least
// `keep` bytes when the text has them.
unsigned long CutTrailingSlashes(char const* text, unsigned long length, unsigned long keep) {
  while (length > keep && text[length - 1] == '/') --length;
  return length;
}

}  // namespace

FileLocation::FileLocation(char const* path) : path_(nullptr) {
  if (path == nullptr) return;
  unsigned long length = std::strlen(path);
  path_ = CopyText(path, CutTrailingSlashes(path, length, 1));
}

FileLocation::FileLocation(FileLocation const& other)
    : path_(other.path_ ? CopyText(other.path_, std::strlen(other.path_)) : nullptr) {}

FileLocation::FileLocation(FileLocation const& folder, char const* name) : path_(nullptr) {
  Join(folder, name ? name : "", name ? std::strlen(name) : 0);
}

FileLocation::FileLocation(FileLocation const& folder, ConstData const& name) : path_(nullptr) {
  Join(folder, reinterpret_cast<char const*>(name.begin), name.Length());
}

void FileLocation::Join(FileLocation const& folder, char const* name, unsigned long nameLength) {
  nameLength = CutTrailingSlashes(name, nameLength, 0);
  char const* folderText = folder.FullPathName();
  unsigned long folderLength = std::strlen(folderText);
  if (folderLength == 0 && nameLength == 0) return;
  bool separator = folderLength != 0 && nameLength != 0;
  unsigned long length = folderLength + (separator ? 1 : 0) + nameLength;
  char* text = new char[length + 1];
  std::memcpy(text, folderText, folderLength);
  if (separator) text[folderLength] = '/';
  if (nameLength != 0) std::memcpy(text + folderLength + (separator ? 1 : 0), name, nameLength);
  text[length] = '\0';
  path_ = text;
}

FileLocation& FileLocation::operator=(FileLocation const& other) {
  if (this != &other) SetFullPathName(other.path_);
  return *this;
}

FileLocation& FileLocation::operator=(FileLocation&& other) noexcept {
  if (this != &other) {
    delete[] path_;
    path_ = other.path_;
    other.path_ = nullptr;
  }
  return *this;
}

void FileLocation::SetFullPathName(char const* path) {
  if (path == path_) return;
  char* copy = path ? CopyText(path, std::strlen(path)) : nullptr;
  delete[] path_;
  path_ = copy;
}

char const* FileLocation::Name() const {
  if (path_ == nullptr) return "";
  char const* slash = std::strrchr(path_, '/');
  return slash ? slash + 1 : "";
}

FileLocation MakeFileLocation(char const* path) { return FileLocation(path); }

bool operator==(FileLocation const& a, FileLocation const& b) {
  return CompareIgnoreCase(a.FullPathName(), b.FullPathName()) == 0;
}

bool operator!=(FileLocation const& a, FileLocation const& b) { return !(a == b); }

bool operator<(FileLocation const& a, FileLocation const& b) {
  return CompareIgnoreCase(a.FullPathName(), b.FullPathName()) < 0;
}

char const* FileExtension(char const* path) {
  if (path == nullptr) return "";
  for (char const* p = path + std::strlen(path); p != path;) {
    --p;
    if (*p == '/') break;
    if (*p == '.') return p;
  }
  return "";
}
