#include "survey/files/lines.h"

#include <climits>
#include <cstring>
#include <memory>
#include <type_traits>

#include "survey/foundation/ascii.h"
#include "survey/frame/table.h"

namespace {

// The longest string that "contains" looks for, and the reading window of
// its search.
constexpr unsigned long kLongestSought = 0x8000;
constexpr unsigned long kContentWindow = 0x8000;
// The memory an iteration over lines reads the file into, many windows at
// a time.
constexpr unsigned long kLineReadAhead = 0x10000;
// How many lines a pass over lines moves on by between two checks for the
// host's interruption: at most 2 MiB of text, each line being at most the
// buffer's length.
constexpr unsigned long kLinesPerCheck = 1024;
// How many bytes a search of the lines passes over between two checks for
// the host's interruption: a pass over the lines before a find crosses at
// most the bytes read ahead, and each line passed takes a byte at least.
constexpr unsigned long kBytesPassedPerCheck = 0x10000;

surveyor_string CopyToSurveyorMemory(ConstData text) {
  unsigned long const length = text.Length();
  unsigned char* const copy = Allocate_Surveyor_Memory(length);
  if (length != 0) std::memcpy(copy, text.begin, length);
  return surveyor_string{copy, length};
}

}  // namespace

// ---------------------------------------------------------------------------
// file_line

file_line::file_line(ConstData lineText, long long lineIndex, Range<unsigned long> lineRange,
                     SharingPtr<FileReadingPath> const& file, bool fileFlag)
    : text(CopyToSurveyorMemory(lineText)),
      index(lineIndex),
      range(lineRange),
      path(file),
      flag(fileFlag) {}

Fingerprinter& operator<<(Fingerprinter& fingerprinter, file_line const& line) {
  return fingerprinter << line.text;
}

// ---------------------------------------------------------------------------
// line_iterator
//
// Step and Deliver serve this file alone and run once a line: they are
// defined `inline`, so that the calls need not go through their symbols.

line_iterator::line_iterator() : buffer_(), offset_(0), index_(0) {}

void line_iterator::Open(file const& object) {
  // Open errors leave as they are: a file that cannot be read is not a file
  // without lines.
  SharingPtr<FileReadingPath> path(new FileReadingPath(object.Path()));
  offset_ = 0;
  index_ = 0;
  // The old loop goes before the path that it reads.
  loop_ = SharingPtr<FileLineLoop>();
  path_ = path;
  loop_ = SharingPtr<FileLineLoop>(new FileLineLoop(Data(buffer_, sizeof buffer_)));
  // An iteration reads on through the file: one read serves many refills of
  // the line buffer.
  loop_->ReadAhead(kLineReadAhead);
  loop_->Start(*path_, 0);
  if (loop_->Finished()) throw NoSuchObject();
}

inline void line_iterator::Step() {
  if (!loop_ || loop_->Finished()) throw NoSuchObject();
  offset_ += loop_->ByteCount();
  ++*loop_;
  ++index_;
  if (loop_->Finished()) throw NoSuchObject();
}

inline file_line line_iterator::Deliver(file const& object) const {
  Range<unsigned long> const range{offset_, offset_ + loop_->ByteCount()};
  return file_line(loop_->Line(), index_, range, path_, object.Flag());
}

template <class Test>
file_line line_iterator::Seek(bool first, file const& object, Test const& test) {
  if (first) {
    Open(object);
  } else {
    Step();
  }
  // Lines that fail the test are passed over without a copy of their text.
  while (!test(loop_->Line().AsSurveyorString())) Step();
  return Deliver(object);
}

namespace {

struct Every {
  bool operator()(surveyor_string const&) const { return true; }
};

struct StartingWith {
  surveyor_string const& prefix;
  bool operator()(surveyor_string const& text) const { return StartsWith(text, prefix).value; }
};

// Where the string first occurs in the bytes, or their end.
unsigned char const* FirstOccurrence(ConstData bytes, surveyor_string const& sought) {
  unsigned char const* const found = FindBytes(bytes, ConstData(sought));
  return found != nullptr ? found : bytes.end;
}

// The host's comparison of exact bytes.
struct Containing {
  surveyor_string const& sought;
  bool operator()(surveyor_string const& text) const { return Contains(text, sought).value; }
};

}  // namespace

template <class Test>
file_line line_iterator::SeekHolding(bool first, surveyor_string const& sought, file const& object,
                                     Test const& test) {
  // The bytes held from a line on, those of the window and those read
  // ahead after it, are searched once for the string's first occurrence; a
  // line that ends before that occurrence could end cannot hold the string,
  // and is passed over without the test. A read or a move of the bytes held,
  // or a line that starts past the occurrence (one that ran across a line
  // ending), asks for a new search; the window may move on over the bytes
  // read ahead without one. The lines that may hold the string are given to
  // the test.
  unsigned char const* hit = nullptr;
  unsigned long moves = 0;
  // Moves on from the present line, which ends at `end`: the lines after it
  // that end before the occurrence are passed over in the loop of blocks,
  // as the steps would pass them; each starts at or before the occurrence
  // and cannot hold it. The window moves on over the bytes read ahead as
  // the steps would move it; the loop stops short of any line that a read
  // or a move of the bytes would bring. A line that ends at or past the
  // occurrence has none such after it. The pass moves on to the line after
  // them, the one that may hold the occurrence, as the next step would;
  // where it moves to no line, the step is taken.
  auto const moveOn = [&](unsigned char const* end) {
    unsigned long moved = 0;
    if (hit != nullptr && moves == loop_->Moves() && end < hit) {
      moved = loop_->PassOnto(ULONG_MAX, hit, offset_);
      index_ += static_cast<long long>(moved);
    }
    if (moved == 0) Step();
  };
  if (first) {
    Open(object);
  } else if (loop_ && loop_->Unfinished()) {
    // The line given last may hold an occurrence; the search starts at its
    // end, where the lines after it start.
    ConstData const line = loop_->Line();
    hit = FirstOccurrence(ConstData(line.end, loop_->Ahead().end), sought);
    moves = loop_->Moves();
    moveOn(line.end);
  } else {
    Step();
  }
  // A search without a test of its own stands for many calls of Next,
  // between which the host would check for interruption: it checks itself.
  // The test of "lines containing" is the host's, and its search goes on as
  // it always has.
  constexpr bool kChecks = std::is_same_v<Test, Every>;
  [[maybe_unused]] unsigned long checkAt = offset_ + kBytesPassedPerCheck;
  for (;;) {
    ConstData const line = loop_->Line();
    if (hit == nullptr || moves != loop_->Moves() || hit < line.begin) {
      // None held: the end of what is held, past every line in it.
      hit = FirstOccurrence(loop_->Ahead(), sought);
      moves = loop_->Moves();
    }
    bool const mayHold =
        hit <= line.end && static_cast<unsigned long>(line.end - hit) >= sought.length;
    if (mayHold && test(line.AsSurveyorString())) break;
    moveOn(line.end);
    if constexpr (kChecks) {
      if (offset_ >= checkAt) {
        Check_For_Surveyor_Interruption();
        checkAt = offset_ + kBytesPassedPerCheck;
      }
    }
  }
  return Deliver(object);
}

file_line line_iterator::First(file const& object) { return Seek(true, object, Every{}); }

file_line line_iterator::Next(file const& object) { return Seek(false, object, Every{}); }

file_line line_iterator::FirstStartingWith(surveyor_string const& prefix, Of, file const& object) {
  return Seek(true, object, StartingWith{prefix});
}

file_line line_iterator::NextStartingWith(surveyor_string const& prefix, Of, file const& object) {
  return Seek(false, object, StartingWith{prefix});
}

file_line line_iterator::FirstContaining(surveyor_string const& sought, Of, file const& object) {
  return SeekHolding(true, sought, object, Containing{sought});
}

file_line line_iterator::NextContaining(surveyor_string const& sought, Of, file const& object) {
  return SeekHolding(false, sought, object, Containing{sought});
}

unsigned long line_iterator::PassOver(unsigned long most, file const&) {
  // Where Step would throw NoSuchObject at once.
  if (!loop_ || loop_->Finished() || most == 0) return 0;
  unsigned long passed = 0;
  while (passed != most) {
    // Step, as Next takes it, without a value and without the copy of
    // Deliver, which nothing would see: many lines at a time between
    // checks.
    unsigned long const wanted = most - passed < kLinesPerCheck ? most - passed : kLinesPerCheck;
    unsigned long const moved = loop_->Advance(wanted, offset_);
    passed += moved;
    if (moved != wanted) {
      // The step that found the end counts, as Step counts it.
      index_ += static_cast<long long>(moved) + 1;
      break;
    }
    index_ += static_cast<long long>(moved);
    Check_For_Surveyor_Interruption();
  }
  return passed;
}

file_line line_iterator::NextHolding(surveyor_string const& bytes, file const& object) {
  // Every line holds no bytes at all.
  if (bytes.length == 0) return Next(object);
  return SeekHolding(false, bytes, object, Every{});
}

// ---------------------------------------------------------------------------
// Lines by number and neighbours. Each makes a loop of its own in a buffer
// on the stack.

integer LineNumber(file_line const& line) { return integer{line.index + 1}; }

file_line NumberedLine(integer const& number, Of, file const& object) {
  long long const n = number.value;
  if (n == 0) throw NoSuchObject();
  SharingPtr<FileReadingPath> path(new FileReadingPath(object.Path()));
  unsigned char buffer[kLineBufferSize];
  FileLineLoop loop(Data(buffer, sizeof buffer), *path, 0);
  unsigned long offset = 0;
  // A negative number ends this walk at once: the first line, carrying the
  // number asked for.
  for (long long i = 0; loop.Unfinished() && i < n - 1; ++i) {
    offset += loop.ByteCount();
    ++loop;
  }
  if (loop.Finished()) throw NoSuchObject();
  return file_line(loop.Line(), n - 1, Range<unsigned long>{offset, offset + loop.ByteCount()},
                   path, object.Flag());
}

file_line NextLine(file_line const& line) {
  unsigned char buffer[kLineBufferSize];
  unsigned long const offset = line.range.end;
  FileLineLoop loop(Data(buffer, sizeof buffer), *line.path, offset);
  if (loop.Finished()) throw NoSuchObject();
  return file_line(loop.Line(), line.index + 1,
                   Range<unsigned long>{offset, offset + loop.ByteCount()}, line.path, line.flag);
}

file_line PreviousLine(file_line const& line) {
  if (line.index == 0) throw NoSuchObject();
  unsigned long const start = line.range.begin;
  unsigned long const from = start - (start < kLineBufferSize ? start : kLineBufferSize);
  // The walk's window reaches two bytes past the start of this line, so
  // that the ending in front of it is read whole: a window that ended on a
  // lone LF would have to hold it back as the possible first half of a pair,
  // and the previous line would run on into this one.
  unsigned char buffer[kLineBufferSize + 2];
  FileLineLoop loop(Data(buffer, sizeof buffer), *line.path, from);
  // Walk forward from at most 2048 bytes back; pieces before the wanted
  // line are passed over.
  unsigned long offset = from;
  for (;;) {
    if (loop.Finished()) throw NoSuchObject();
    unsigned long const end = offset + loop.ByteCount();
    if (end >= start) {
      return file_line(loop.Line(), line.index - 1, Range<unsigned long>{offset, end}, line.path,
                       line.flag);
    }
    offset = end;
    ++loop;
  }
}

// ---------------------------------------------------------------------------
// Content

Fingerprinter& operator<<(Fingerprinter& fingerprinter, content const& value) {
  return fingerprinter << *value.object;
}

content content_of(file const& object) { return content{&object, content::kAsStored}; }

content AsUppercase(content const& value) { return content{value.object, content::kUpperCase}; }

content AsLowercase(content const& value) { return content{value.object, content::kLowerCase}; }

boolean Contains(content const& value, surveyor_string const& sought) {
  // The empty string is in every file, even one that cannot be read.
  if (sought.length == 0) return boolean{true};
  if (sought.length > kLongestSought) throw NoSuchObject();
  // The reading window, and in front of it room for the tail of the bytes
  // searched so far that a match across a block border may begin with: the
  // string's length less one.
  unsigned long const room = sought.length - 1;
  std::unique_ptr<unsigned char[]> const buffer(new unsigned char[room + kContentWindow]);
  unsigned char* const window = buffer.get() + room;
  FileReadingPath path(value.object->Path());
  FileReadingLoop loop(Data(window, kContentWindow));
  // The bytes in front of the window that hold the tail, as many as the
  // file has given up to the room.
  unsigned long kept = 0;
  try {
    loop.Start(path, 0);
    while (loop.Remaining() != 0) {
      // The block is folded in place; the string never is.
      unsigned long const length = loop.Block().Length();
      Data const block(window, length);
      if (value.mode == content::kLowerCase) Ascii::LowerCase(block, block);
      if (value.mode == content::kUpperCase) Ascii::RaiseCase(block, block);
      // The region searched takes in the tail kept from before, so that a
      // match across a block border is found.
      unsigned char* const region = window - kept;
      unsigned long const regionLength = kept + length;
      if (regionLength >= sought.length &&
          ::memmem(region, regionLength, sought.data, sought.length) != nullptr) {
        return boolean{true};
      }
      unsigned long const tail = regionLength < room ? regionLength : room;
      std::memmove(window - tail, region + regionLength - tail, tail);
      kept = tail;
      Check_For_Surveyor_Interruption();
      ++loop;
    }
  } catch (FileReadingLoopEndOfFileError const&) {
    // The end of a file that has no length, or of one that shrank while it
    // was read.
  }
  return boolean{false};
}

// ---------------------------------------------------------------------------
// Bytes and numbers

integer byte_of(unsigned long long index, file const& object) {
  // An offset that a position cannot hold (the upper 32 bits, in the 32-bit
  // build), or one at or past the size that the look gave.
  if (index > ULONG_MAX) throw NoSuchObject();
  long long const size = UnixPlatform::FileSize(object);
  if (size < 0 || index >= static_cast<unsigned long long>(size)) throw NoSuchObject();
  try {
    FileReadingPath path(object.Path());
    FileReader reader(path, static_cast<unsigned long>(index));
    unsigned char byte = 0;
    reader >> Data(&byte, &byte + 1);
    return integer{byte};
  } catch (DebuggableException const&) {
    throw NoSuchObject();
  }
}

integer numeric_value_of(surveyor_string const& text) {
  unsigned char const* at = text.data;
  unsigned char const* const end = text.data + text.length;
  while (at != end && !(*at >= '0' && *at <= '9')) ++at;
  if (at == end) throw NoSuchObject();
  long long value = 0;
  for (; at != end && *at >= '0' && *at <= '9'; ++at) {
    // Past 2^63 - 1 there is no value.
    if (__builtin_mul_overflow(value, 10LL, &value) ||
        __builtin_add_overflow(value, static_cast<long long>(*at - '0'), &value)) {
      throw NoSuchObject();
    }
  }
  return integer{value};
}

// ---------------------------------------------------------------------------
// Registration, in table order, types first.

namespace {

RegistrationTable table{
    FingerprintedTypeRow<file_line, surveyor_string>(),
    FingerprintedTypeRow<content>(),

    PropertyRow("line number", "line numbers", &LineNumber, &DependsOnlyOnParameters),
    PropertyRow("previous line", "previous lines", &PreviousLine),
    PropertyRow("next line", "next lines", &NextLine),
    IndexedRow("line", "lines", &NumberedLine),
    IteratedRow<line_iterator>("line", "lines"),
    IteratedRow("line starting with", "lines starting with", &line_iterator::FirstStartingWith,
                &line_iterator::NextStartingWith),
    IteratedRow("line containing", "lines containing", &line_iterator::FirstContaining,
                &line_iterator::NextContaining),
    PropertyRow("content", "contents", &content_of),
    CastRow("uppercase", &AsUppercase, &DependsOnlyOnParameters),
    CastRow("lowercase", &AsLowercase, &DependsOnlyOnParameters),
    OperatorRow<content>(kOperatorContains, &Contains, &DependsOnlyOnParameters),
    IndexedRow("byte", "bytes", &byte_of, &DependsOnlyOnParameters),
    PropertyRow("numeric value", "numeric values", &numeric_value_of, &DependsOnlyOnParameters),
};

}  // namespace
