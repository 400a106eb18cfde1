// File types by extension: the reserved extensions of the client's files,
// the types they stand for, and the table that maps one to the other.
#pragma once

#include <cstdint>

#include "survey/foundation/file_location.h"

// The reserved file extensions and the names of the site data files, which
// have none.
extern char const* const cRESERVED_FILE_EXTENSION_PROFILE;
extern char const* const cRESERVED_FILE_EXTENSION_PREFERENCES;
extern char const* const cRESERVED_FILE_EXTENSION_SITE_DATA;
extern char const* const cRESERVED_FILE_EXTENSION_DLL;
extern char const* const cRESERVED_FILE_EXTENSION_NOTATION;
extern char const* const cRESERVED_FILE_EXTENSION_NOTATION_TEMP;
extern char const* const cRESERVED_FILE_EXTENSION_SITE_BACKUP_LOG_FILE;
extern char const* const cRESERVED_FILE_EXTENSION_SITE_LOG_FILE;
extern char const* const cRESERVED_FILE_EXTENSION_QNA_FILE;
extern char const* const cRESERVED_FILE_EXTENSION_SITE_DEFINITION;
extern char const* const cRESERVED_FILE_EXTENSION_ADVICE_POOL;
extern char const* const cRESERVED_FILE_EXTENSION_ADVICE_FILE;
extern char const* const cRESERVED_FILE_EXTENSION_TEXT;
extern char const* const cRESERVED_EXTENSION_LONG;
extern char const* const cRESERVED_EXTENSION;

// A file type: one number. The miscellaneous type stands for "none of the
// known types" and so equals no type, itself included.
class FileType {
 public:
  explicit constexpr FileType(std::uint32_t number) : number_(number) {}

  std::uint32_t Number() const { return number_; }

  bool operator==(FileType const& other) const;
  bool operator!=(FileType const& other) const { return !(*this == other); }

 private:
  std::uint32_t number_;
};

class AdviceFileTypes {
 public:
  static FileType Masthead() { return FileType(0); }
  static FileType Pool() { return FileType(1); }
  static FileType Advice() { return FileType(2); }
  static FileType HTML() { return FileType(3); }
  static FileType Text() { return FileType(4); }
  static FileType Log() { return FileType(5); }
  static FileType Surveyor() { return FileType(6); }
  static FileType Notation() { return FileType(7); }
  static FileType Site() { return FileType(8); }
  static FileType Profile() { return FileType(9); }
  static FileType Preferences() { return FileType(10); }
  static FileType Miscellany() { return FileType(11); }
  static FileType BackLog() { return FileType(12); }

  // The type of the first row of the table whose extension equals the
  // argument, ignoring case; `Miscellany()` when none does. A file without
  // an extension is site data.
  static FileType TypeOfExtension(char const* extension);
  // The extension of the first row of that type; "" for a type with no row.
  static char const* ExtensionOfType(FileType type);
};

// A new location on the heap, owned by the caller: `name` within `folder`.
FileLocation* SurveyorFileLocation(FileLocation const& folder, char const* name);
