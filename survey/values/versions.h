// Dotted versions that compare by number and not by letter: "version",
// ordered by CompareVersions, and "strverscmp version", ordered by the C
// library's strverscmp. Every text is a version; nothing here fails on any
// input.
#pragma once

#include "survey/frame/boundary.h"

// The order of "version": below zero, zero or above zero as `a` is below,
// equal to or above `b`; only the sign means anything. Both texts end at
// their first NUL. A run of digits is a number: the longer run is the
// greater, and of runs of equal length the first differing digit decides;
// while a number holds nothing but zeros, the side whose zeros go on is the
// lesser, as in a fraction. Anywhere else the bytes decide as unsigned
// values. There is no padding: "2" is below "2.0".
SURVEY_API int CompareVersions(char const* a, char const* b);

// "version": one pointer to NUL-terminated text in evaluator memory (or to
// a constant), so there is nothing to destroy.
struct SURVEY_API surveyor_version {
  char const* text;

  // The empty version.
  surveyor_version();
  explicit surveyor_version(char const* nulTerminated) : text(nulTerminated) {}

  static constexpr char const* TypeName() { return "version"; }
};

// "strverscmp version", based on "version": the same single field, ordered
// by strverscmp instead.
struct SURVEY_API surveyor_strverscmp_version {
  char const* text;

  surveyor_strverscmp_version();
  explicit surveyor_strverscmp_version(char const* nulTerminated) : text(nulTerminated) {}

  static constexpr char const* TypeName() { return "strverscmp version"; }
};

static_assert(sizeof(surveyor_version) == sizeof(void*), "a version is one pointer");
static_assert(sizeof(surveyor_strverscmp_version) == sizeof(surveyor_version),
              "a strverscmp version has the layout of its base");

SURVEY_API bool operator==(surveyor_version const& left, surveyor_version const& right);
SURVEY_API bool operator<(surveyor_version const& left, surveyor_version const& right);
SURVEY_API bool operator<=(surveyor_version const& left, surveyor_version const& right);

// Both are fingerprinted by their text up to the first NUL.
SURVEY_API Fingerprinter& operator<<(Fingerprinter& fingerprinter, surveyor_version const& value);
SURVEY_API Fingerprinter& operator<<(Fingerprinter& fingerprinter,
                                     surveyor_strverscmp_version const& value);

// The text up to its first NUL, not copied.
SURVEY_API surveyor_string AsString(surveyor_version const& version);

// A version made from a string: the bytes are copied whole into evaluator
// memory with a NUL added, though only those before the first NUL count.
SURVEY_API surveyor_version version_of(surveyor_string const& text);
SURVEY_API surveyor_version AsVersion(surveyor_string const& text);
SURVEY_API surveyor_strverscmp_version strverscmp_version_of(surveyor_string const& text);
SURVEY_API surveyor_strverscmp_version AsStrverscmpVersion(surveyor_string const& text);

// The relations with a string on either side are registered by the unit
// itself: the string is copied to gain a NUL and compared by the order of
// the version's type, CompareVersions or strverscmp.
