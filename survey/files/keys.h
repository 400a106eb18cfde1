// Configuration-style text files: the value of a key anywhere in a file, a
// section by its bracketed header and a key within it, every variable of a
// file in one normalised text, and a file's SHA-1 hash as the host computes
// it.
//
// These read through the C library's streams with line buffers of their
// own, not through the library's file readers: a key line is at most 65535
// bytes (a longer physical line reads as several), a variable line at most
// 2046 bytes.
#pragma once

#include <cstdio>

#include "survey/files/filesystem_object.h"
#include "survey/foundation/stringy.h"
#include "survey/frame/adaptors.h"

// The size of the line buffer of the key and section properties.
inline constexpr unsigned long kKeyLineBufferSize = 0x10000;
// The size of the line buffer of the variables.
inline constexpr int kVariableLineBufferSize = 2047;

// Reads one line into the buffer with `fgetc`, NUL-terminated, and sets
// `length` to the bytes stored (the ending is not stored). LF, CR and CR LF
// each end a line. After `size` - 1 stored bytes it returns, and the rest of
// the line is what the next call reads. Null at the end of the stream with
// nothing stored, and for a size below 2 (with a length of 0).
SURVEY_API char* fgets_with_len(char* buffer, unsigned long size, FILE* stream,
                                unsigned long& length);

// "file section": a range of a file, from the byte after a section's header
// line to the byte after the line that ends it. The file is opened afresh
// from its path on each use.
class SURVEY_API file_section {
 public:
  static constexpr char const* TypeName() { return "file section"; }

  // An end that is not greater than the start is stored as 0: no end.
  file_section(char const* path, long start, long end);

  // The file's path, in evaluator memory.
  char const* path;
  long start;
  // 0 when the section runs to the end of the file.
  long end;
};

// ---------------------------------------------------------------------------
// The readers over an open stream, from its present position. The
// properties below open the file and call these.

// Whether the line (its stored bytes) is a line of the key: blanks, the key
// compared without regard to case over its own length, blanks, then "=" or
// ":". On a match `value` is set to the first byte of the value, after the
// blanks that follow the delimiter.
SURVEY_API bool MatchKeyLine(char const* line, unsigned long length, char const* key,
                             unsigned long keyLength, char const** value);

// The value as a key gives it: cut at the first ";", trailing spaces, tabs,
// CRs and LFs taken off. The result is the length that remains of the
// NUL-terminated text.
SURVEY_API unsigned long CutKeyValue(char* value);

// Reads lines until one matches the key, and leaves the line's value cut in
// the buffer: true and the value's first byte and length. A non-zero `end`
// stops the search once the stream's position reaches it. The buffer holds
// kKeyLineBufferSize bytes.
SURVEY_API bool FindKeyInStream(FILE* stream, char* buffer, char const* key,
                                unsigned long keyLength, long end, char const** value,
                                unsigned long* valueLength);

// Finds the header of the named section and the end of the section: true
// with the offsets after the header line and after the line that ends the
// section (the end of the stream when none does). The buffer holds
// kKeyLineBufferSize bytes.
SURVEY_API bool FindSectionInStream(FILE* stream, char* buffer, char const* name,
                                    unsigned long nameLength, long* start, long* end);

// Reads lines until one makes a variable, keeping the present section's
// header in `section`: true with the element's text in `element`, false at
// the end of the stream.
SURVEY_API bool NextVariableInStream(FILE* stream, Stringy& section, Stringy& element);

// ---------------------------------------------------------------------------
// The properties.

// "key": the value of the first line of the file that matches the key.
SURVEY_API surveyor_string key_of_file(surveyor_string const& key, Of, file const& object);
// "section": the section whose header first names it.
SURVEY_API file_section section_of_file(surveyor_string const& name, Of, file const& object);
// "key" of a section: the first matching line within the section's range.
SURVEY_API surveyor_string key_of_section(surveyor_string const& key, Of,
                                          file_section const& section);

// "variables": every "key = value" line of a file as "[section].key=value",
// the section text being the last header line's bracketed text as it
// stands, or nothing before any header.
class SURVEY_API variable_iterator {
 public:
  variable_iterator() = default;
  variable_iterator(variable_iterator const&) = delete;
  variable_iterator& operator=(variable_iterator const&) = delete;
  ~variable_iterator();

  // Opens the file afresh; NoSuchObject for an empty file or one that
  // cannot be opened.
  surveyor_string First(file const& object);
  // The next element; NoSuchObject at the end or on any failure of the
  // library's own. An interruption and a lack of memory pass.
  surveyor_string Next(file const& object);

 private:
  void Close();

  FILE* stream_ = nullptr;
  Stringy section_;
};

// "sha1": the file's SHA-1 digest as text, computed by the host.
SURVEY_API surveyor_string FileSHA1(Of, file const& object);
