#include "survey/foundation/file_types.h"

#include <strings.h>

char const* const cRESERVED_FILE_EXTENSION_PROFILE = "";
char const* const cRESERVED_FILE_EXTENSION_PREFERENCES = "";
char const* const cRESERVED_FILE_EXTENSION_SITE_DATA = "";
char const* const cRESERVED_FILE_EXTENSION_DLL = ".so";
char const* const cRESERVED_FILE_EXTENSION_NOTATION = ".dat";
char const* const cRESERVED_FILE_EXTENSION_NOTATION_TEMP = ".tmp";
char const* const cRESERVED_FILE_EXTENSION_SITE_BACKUP_LOG_FILE = ".bkg";
char const* const cRESERVED_FILE_EXTENSION_SITE_LOG_FILE = ".log";
char const* const cRESERVED_FILE_EXTENSION_QNA_FILE = ".qna";
char const* const cRESERVED_FILE_EXTENSION_SITE_DEFINITION = ".num";
char const* const cRESERVED_FILE_EXTENSION_ADVICE_POOL = ".nug";
char const* const cRESERVED_FILE_EXTENSION_ADVICE_FILE = ".nuf";
char const* const cRESERVED_FILE_EXTENSION_TEXT = ".txt";
char const* const cRESERVED_EXTENSION_LONG = ".html";
char const* const cRESERVED_EXTENSION = ".htm";

namespace {

struct ExtensionRow {
  char const* extension;
  std::uint32_t type;
};

// The three empty extensions stand last, and the first of them wins, so a
// name without an extension is site data.
ExtensionRow const kExtensionTable[] = {
    {cRESERVED_FILE_EXTENSION_SITE_DEFINITION, 0},
    {cRESERVED_FILE_EXTENSION_ADVICE_POOL, 1},
    {cRESERVED_FILE_EXTENSION_ADVICE_FILE, 2},
    {cRESERVED_EXTENSION, 3},
    {cRESERVED_EXTENSION_LONG, 3},
    {cRESERVED_FILE_EXTENSION_TEXT, 4},
    {cRESERVED_FILE_EXTENSION_SITE_LOG_FILE, 5},
    {cRESERVED_FILE_EXTENSION_SITE_BACKUP_LOG_FILE, 12},
    {cRESERVED_FILE_EXTENSION_DLL, 6},
    {cRESERVED_FILE_EXTENSION_NOTATION, 7},
    {cRESERVED_FILE_EXTENSION_SITE_DATA, 8},
    {cRESERVED_FILE_EXTENSION_PREFERENCES, 10},
    {cRESERVED_FILE_EXTENSION_PROFILE, 9},
};

}  // namespace

bool FileType::operator==(FileType const& other) const {
  std::uint32_t const miscellany = AdviceFileTypes::Miscellany().Number();
  if (number_ == miscellany || other.number_ == miscellany) return false;
  return number_ == other.number_;
}

FileType AdviceFileTypes::TypeOfExtension(char const* extension) {
  if (extension == nullptr) extension = "";
  for (ExtensionRow const& row : kExtensionTable)
    if (strcasecmp(row.extension, extension) == 0) return FileType(row.type);
  return Miscellany();
}

char const* AdviceFileTypes::ExtensionOfType(FileType type) {
  for (ExtensionRow const& row : kExtensionTable)
    if (row.type == type.Number()) return row.extension;
  return "";
}

FileLocation* SurveyorFileLocation(FileLocation const& folder, char const* name) {
  return new FileLocation(folder, name);
}
