// A path held as owned text.
//
// A location owns one NUL-terminated array, or nothing (the null location).
// It is never shared: every copy duplicates the text. Locations compare
// without regard to the case of letters.
#pragma once

#include "survey/foundation/data.h"

class FileLocation {
 public:
  // The null location.
  FileLocation() : path_(nullptr) {}
  // Trailing slashes are cut, but one byte stays, so "/" and "//" give "/".
  // Null gives the null location; "" gives an allocated empty text.
  explicit FileLocation(char const* path);
  FileLocation(FileLocation const& other);
  FileLocation(FileLocation&& other) noexcept : path_(other.path_) { other.path_ = nullptr; }
  // The folder's text, a "/" when both parts are non-empty, and the name
  // with its trailing slashes cut. The folder's own trailing slash is not
  // looked at, so "/" joined with "etc" gives "//etc". Both parts empty give
  // the null location.
  FileLocation(FileLocation const& folder, char const* name);
  FileLocation(FileLocation const& folder, ConstData const& name);
  ~FileLocation() { delete[] path_; }

  FileLocation& operator=(FileLocation const& other);
  FileLocation& operator=(FileLocation&& other) noexcept;

  // The text; the null location reads as "".
  char const* FullPathName() const { return path_ ? path_ : ""; }
  // Replaces the text by a copy of `path`, unchanged (no cutting); null
  // gives the null location. Passing the location's own text does nothing.
  void SetFullPathName(char const* path);
  // The text after the last "/"; a path without one has the empty name.
  char const* Name() const;
  bool IsNull() const { return path_ == nullptr; }

 private:
  void Join(FileLocation const& folder, char const* name, unsigned long nameLength);

  char* path_;
};

FileLocation MakeFileLocation(char const* path);

// Case-blind comparisons of the full texts.
bool operator==(FileLocation const& a, FileLocation const& b);
bool operator!=(FileLocation const& a, FileLocation const& b);
bool operator<(FileLocation const& a, FileLocation const& b);

// From the last "." that has no "/" after it to the end, dot included; else
// the empty text. The result points into `path`.
char const* FileExtension(char const* path);
