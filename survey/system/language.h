// The system's language, from the process's locale name, and the English
// names of its language and country codes.
#pragma once

#include "survey/foundation/stringy.h"
#include "survey/frame/adaptors.h"

// "language": the locale's two-letter language and country codes, each
// NUL-terminated and empty when absent, and the whole locale name.
struct SURVEY_API language {
  static constexpr char const* TypeName() { return "language"; }

  char code[3] = {};
  char country[3] = {};
  Stringy platformId;
};

// "primary language": the two-letter language code, NUL-terminated.
struct SURVEY_API primary_language {
  static constexpr char const* TypeName() { return "primary language"; }

  char code[3] = {};
};

SURVEY_API Fingerprinter& operator<<(Fingerprinter& fingerprinter, language const& value);
SURVEY_API Fingerprinter& operator<<(Fingerprinter& fingerprinter, primary_language const& value);

// The English name of a two-letter code, or null when the first two bytes
// are not a known code: capital letters for a country, small ones for a
// language. Bytes after the second are ignored.
SURVEY_API char const* GetCountryName(char const* code);
SURVEY_API char const* GetLanguageName(char const* code);

SURVEY_API language system_locale_of_world();
SURVEY_API surveyor_string system_language_of_world();
SURVEY_API primary_language primary_language_of_language(language const& value);
SURVEY_API surveyor_string platform_id_of_language(language const& value);
SURVEY_API surveyor_string AsString(language const& value);
SURVEY_API surveyor_string AsString(primary_language const& value);
