// Reading inside a file: its lines, one by one, by number, by what they
// start with or contain, and their neighbours; its bytes; a streaming search
// of its whole content; and the numeric value of a string.
//
// Lines are read through one fixed buffer of 2048 bytes, so a line longer
// than that comes in pieces of at most 2048 bytes, each with its own number.
// Nothing here reads a whole file into memory.
#pragma once

#include "survey/files/filesystem_object.h"
#include "survey/foundation/file_reader.h"
#include "survey/foundation/range.h"
#include "survey/foundation/sharing.h"
#include "survey/frame/adaptors.h"

// The size of the buffer that lines are read through.
inline constexpr unsigned long kLineBufferSize = 2048;

// "file line": a line of a file. Its base type is "string", and so it starts
// with the string's layout: the line's text without its ending, a copy in
// evaluator memory.
class SURVEY_API file_line {
 public:
  static constexpr char const* TypeName() { return "file line"; }

  file_line(ConstData text, long long index, Range<unsigned long> range,
            SharingPtr<FileReadingPath> const& path, bool flag);

  ConstData Text() const { return ConstData(text); }

  surveyor_string text;
  // Counting from 0.
  long long index;
  // The offsets in the file of the line's first byte and of the byte after
  // its ending.
  Range<unsigned long> range;
  // The open file, shared by every line of one iteration, so that a line
  // finds its neighbours after its iterator has gone.
  SharingPtr<FileReadingPath> path;
  // The flag of the file the line came from.
  bool flag;
};

// A line is fingerprinted as its text.
SURVEY_API Fingerprinter& operator<<(Fingerprinter& fingerprinter, file_line const& line);

// The lines of a file, read from one open file through the state's buffer.
// The file stays open until the iterator and every line it gave are gone.
class SURVEY_API line_iterator {
 public:
  line_iterator();
  line_iterator(line_iterator const&) = delete;
  line_iterator& operator=(line_iterator const&) = delete;

  // The first line; NoSuchObject for an empty file. A file that cannot be
  // opened raises its file error.
  file_line First(file const& object);
  // The next line; NoSuchObject after the last.
  file_line Next(file const& object);

  // The lines that start with, or contain, the string, by the host's
  // comparisons of exact bytes.
  file_line FirstStartingWith(surveyor_string const& prefix, Of, file const& object);
  file_line NextStartingWith(surveyor_string const& prefix, Of, file const& object);
  file_line FirstContaining(surveyor_string const& sought, Of, file const& object);
  file_line NextContaining(surveyor_string const& sought, Of, file const& object);

  // Moves on by at most `most` lines, as that many calls of Next would, for
  // a host that keeps nothing of them (survey/frame/pass_over.h). Each line
  // is copied into evaluator memory, as Next copies it, into one place that
  // serves every line of the pass. How many lines it passed over: fewer than
  // `most` once the lines have run out.
  unsigned long PassOver(unsigned long most, file const& object);

  // The next line as Next gives it, passing over, as Next steps, the lines
  // that cannot hold the bytes (survey/frame/holding.h); a line it gives
  // may or may not hold them.
  file_line NextHolding(surveyor_string const& bytes, file const& object);

 private:
  // Opens the file and reads its first line; NoSuchObject when it has none.
  void Open(file const& object);
  // Counts off the present line and reads the next; NoSuchObject at the end.
  inline void Step();
  // The present line, with its range from the offset, as a value.
  inline file_line Deliver(file const& object) const;
  // Opens or steps, then steps on until a line passes the test.
  template <class Test>
  file_line Seek(bool first, file const& object, Test const& test);
  // Seek, passing over without the test the lines that a search of the
  // buffer shows cannot hold the string.
  template <class Test>
  file_line SeekHolding(bool first, surveyor_string const& sought, file const& object,
                        Test const& test);

  SharingPtr<FileReadingPath> path_;
  SharingPtr<FileLineLoop> loop_;
  unsigned char buffer_[kLineBufferSize];
  // The file offset of the next line.
  unsigned long offset_;
  long long index_;
};

// "file content": a file seen as one stream of bytes, in a case mode.
struct SURVEY_API content {
  static constexpr char const* TypeName() { return "file content"; }

  enum Mode : int { kAsStored = 0, kLowerCase = 1, kUpperCase = 2 };

  file const* object;
  int mode;
};

// Fingerprinted as its file.
SURVEY_API Fingerprinter& operator<<(Fingerprinter& fingerprinter, content const& value);

SURVEY_API integer LineNumber(file_line const& line);
SURVEY_API file_line PreviousLine(file_line const& line);
SURVEY_API file_line NextLine(file_line const& line);
SURVEY_API file_line NumberedLine(integer const& number, Of, file const& object);

SURVEY_API content content_of(file const& object);
SURVEY_API content AsUppercase(content const& value);
SURVEY_API content AsLowercase(content const& value);
// Whether the file's bytes, folded as the content's mode says, hold the
// string; the string itself is not folded.
SURVEY_API boolean Contains(content const& value, surveyor_string const& sought);

// The byte at an offset, 0 to 255; every failure is NoSuchObject.
SURVEY_API integer byte_of(unsigned long long index, file const& object);
// The first run of decimal digits in the string, as a number.
SURVEY_API integer numeric_value_of(surveyor_string const& text);
