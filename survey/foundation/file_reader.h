// Readers of open files that never allocate while they read: the caller
// supplies every buffer.
//
// `FileReadingPath` owns an open descriptor. `FileReader` reads from it at a
// position of its own, seeking before every read, so that several readers
// can share one descriptor. `FileReadingLoop` hands out a range of a file
// block by block through a window; `FileLineLoop` hands out lines out of one
// fixed buffer. `LineMaker` finds lines in data that is pushed to it.
//
// Positions, lengths and counts are `unsigned long`: 32-bit in the 32-bit
// build, where a file of 2 GiB or more does not open, and 64-bit in the
// 64-bit build, where any file is read whole. Many special files (those
// under /proc above all) have no length; their length reads as
// `kUnknownFileLength`, and their end is found by trying to read.
#pragma once

#include <memory>

#include "survey/foundation/data.h"
#include "survey/foundation/data_stream.h"
#include "survey/foundation/file_errors.h"
#include "survey/foundation/file_location.h"
#include "survey/foundation/range.h"

// The length of a file that cannot tell its length: the largest position.
inline constexpr unsigned long kUnknownFileLength = ~0UL;

// An open descriptor for reading, closed by the destructor.
class FileReadingPath {
 public:
  // A closed path.
  FileReadingPath() = default;
  // Opens the file; see OpenExisting.
  explicit FileReadingPath(FileLocation const& location);
  FileReadingPath(FileReadingPath const&) = delete;
  FileReadingPath& operator=(FileReadingPath const&) = delete;
  // Closes the descriptor and swallows any error of doing so.
  virtual ~FileReadingPath();

  // Opens an existing file for reading, close-on-exec, closing any earlier
  // descriptor first. "/proc/kmsg" is refused with FileIOError before any
  // open, since a read there waits for the kernel's next message. A failed
  // open raises the error of its errno (ThrowError).
  void OpenExisting(FileLocation const& location);
  // The length, found by seeking to the end and back. A file that cannot
  // seek to its end (EINVAL) has kUnknownFileLength from then on. No
  // descriptor raises FileNotOpenError; other failures go to ThrowError.
  unsigned long Length() const;
  // Closes the descriptor, if any; a failed close goes to ThrowError. The
  // path is closed afterwards either way.
  void Close();
  bool IsOpen() const { return descriptor_ >= 0; }
  int Descriptor() const { return descriptor_; }

  // Raises the file error that stands for an errno; 0 returns.
  [[noreturn]] static void ThrowErrorAlways(int error);
  static void ThrowError(int error) {
    if (error != 0) ThrowErrorAlways(error);
  }

 private:
  int descriptor_ = -1;
  mutable bool lengthUnknown_ = false;
};

// Reads a file from a position of its own. Each read seeks first.
class FileReader : public DataReader {
 public:
  FileReader() = default;
  FileReader(FileReadingPath const& path, unsigned long position) { Start(path, position); }

  // Takes the path's length now, sets the position and forgets any byte
  // read ahead.
  void Start(FileReadingPath const& path, unsigned long position);

  unsigned long Position() const { return position_; }
  void SetPosition(unsigned long position);
  // The length the path gave at the start; kUnknownFileLength for a file
  // that cannot tell.
  unsigned long Length() const { return length_; }

  // With a known length, whether the position is below it. With an unknown
  // length, a one-byte read at the position tells; the byte is kept as a
  // look-ahead but not consumed, since the next read seeks to the position
  // and reads it again.
  bool Unfinished() const override;
  bool Finished() const { return !Unfinished(); }

  // Fills the whole target. Reads until the target is full or the file
  // gives nothing more; bytes short of the target are added to the position
  // and raise EndOfFileError. An empty target returns at once.
  FileReader& operator>>(Data target);
  // Reads as much as one read gives into the buffer's room, and moves the
  // position and the cursor by that count. Nothing read is no error.
  void operator>>(Buffer& output) override;

  // Raises the error of an errno: EPERM and EACCES FilePermissionError,
  // EINVAL FileSeekError, kShortRead EndOfFileError, others FileIOError; 0
  // returns.
  static void ThrowError(int error);
  // The private code of a read that came up short.
  static constexpr int kShortRead = 90;

 private:
  // Seeks the descriptor to the position; a failure goes to ThrowError.
  void Seek() const;
  // One read of at most `count` bytes at the position, which the read
  // does not move: a read at an offset, or for a descriptor that has none
  // to read at, a seek and a read. No descriptor raises FileNotOpenError; a
  // failed seek goes to ThrowError; the read's result is returned, -1 with
  // errno set.
  long ReadHere(unsigned char* into, unsigned long count) const;

  FileReadingPath const* path_ = nullptr;
  unsigned long position_ = 0;
  unsigned long length_ = 0;
  mutable unsigned char lookAhead_ = 0;
  mutable bool lookAheadHeld_ = false;
  mutable bool endSeen_ = false;
  // The descriptor cannot be read at an offset; it is sought first.
  mutable bool unpositioned_ = false;
};

// Hands out a range of a file block by block through the caller's window.
// A caller loops while Remaining() is not 0.
class FileReadingLoop {
 public:
  explicit FileReadingLoop(Data window) : window_(window) {}
  FileReadingLoop(Data window, FileReadingPath const& path, unsigned long begin)
      : window_(window) {
    Start(path, begin);
  }
  FileReadingLoop(Data window, FileReadingPath const& path, unsigned long begin,
                  unsigned long end)
      : window_(window) {
    Start(path, begin, end);
  }
  FileReadingLoop(Data window, FileReadingPath const& path, Range<unsigned long> range)
      : window_(window) {
    Start(path, range);
  }

  // From `begin` to the path's length; a file of unknown length gives a
  // count that runs to the largest position.
  void Start(FileReadingPath const& path, unsigned long begin);
  // From `begin` to `end`; reads the first block unless the range is empty.
  void Start(FileReadingPath const& path, unsigned long begin, unsigned long end);
  void Start(FileReadingPath const& path, Range<unsigned long> range) {
    Start(path, range.begin, range.end);
  }

  // Counts off the present block; reads the next one unless that leaves
  // nothing of the range, in which case the present block stays.
  FileReadingLoop& operator++();

  ConstData Block() const { return block_; }
  unsigned long Remaining() const { return remaining_; }
  FileReader const& Reader() const { return reader_; }

 private:
  // Reads the next block, at most the remaining count. A finished reader,
  // or a file that gives nothing where the range wants more (a file that
  // shrank), raises FileReadingLoopEndOfFileError.
  void Read();

  Data window_;
  FileReader reader_;
  ConstData block_;
  unsigned long remaining_ = 0;
};

// Hands out the lines of a file out of the caller's buffer, or out of a
// window of the buffer's length over memory read ahead (ReadAhead), which
// holds what the buffer would. A line ends at CR, LF, CR LF or LF CR; CR CR
// and LF LF are two endings. A line that fills the whole buffer is
// delivered without an ending, and the rest of it is the next line.
class FileLineLoop {
 public:

  explicit FileLineLoop(Data buffer) : buffer_(buffer) {}
  FileLineLoop(Data buffer, FileReadingPath const& path, unsigned long offset) : buffer_(buffer) {
    Start(path, offset);
  }

  // Starts the reader at the offset, fills the buffer and finds the first
  // line.
  void Start(FileReadingPath const& path, unsigned long offset);
  FileLineLoop& operator++();
  // Moves on by at most `most` lines, exactly as that many increments
  // would: those that end in the bytes held with a byte after them in the
  // loop of blocks, as PassBefore moves, the others by increments. Copies
  // nothing. Before each step the present line's ByteCount is added to
  // `bytes`. The number of lines moved to: fewer than `most` when the loop
  // finished on the way, after one more step.
  unsigned long Advance(unsigned long most, unsigned long& bytes);
  // Moves on by at most `most` lines, exactly as that many increments would,
  // over lines that end before `stop`: it stops before a line whose text
  // ends at or past `stop`, and before any line that an increment would
  // reach only by a refill that reads or moves bytes (so that Moves stays
  // as it is and the bytes held stay where they are). The window moves on
  // over the memory read ahead as the increments would move it, and Fills
  // counts those moves as they would. Copies nothing. Before each step the
  // present line's ByteCount is added to `bytes`. The number of lines moved
  // to, which may be none.
  unsigned long PassBefore(unsigned long most, unsigned char const* stop, unsigned long& bytes);
  // PassBefore, and then, within `most`, one more line: the one whose text
  // ends at or past `stop`, where an increment would reach it as
  // PassBefore reaches the lines before it. The number of lines moved to.
  unsigned long PassOnto(unsigned long most, unsigned char const* stop, unsigned long& bytes);

  // From the next Start on, a file of known length is read into memory of
  // the loop's own, `size` bytes of it (at least twice the buffer's length),
  // and the loop's window lies in that memory instead of the buffer: the
  // window holds exactly the bytes that the buffer would hold, refill by
  // refill, but a refill moves no bytes where the window can simply move on
  // over the bytes read ahead. A loop over a whole file makes one read for
  // many refills. The lines are the same; a file that changes while it is
  // read shows the change only when the bytes read ahead are used up. A
  // file that cannot tell its length is read through the buffer as before,
  // refill by refill.
  void ReadAhead(unsigned long size);

  // The present line's text, without its ending.
  ConstData Line() const { return ConstData(lineStart_, lineEnd_); }
  // The present line's ending: empty, one byte or a pair.
  ConstData Ending() const { return ConstData(endingStart_, endingEnd_); }
  // The bytes in the window from the present line's start to the end of
  // what was read: this line and those after it, as far as the window
  // holds them. They stay as they are until the window is next filled.
  ConstData Held() const { return ConstData(lineStart_, validEnd_); }
  // The bytes from the present line's start to the end of all that was
  // read: those of the window and, while the file is read ahead, those read
  // ahead after it. They stay where they are, as they are, while Moves()
  // stays the same, however far the window moves on over them.
  ConstData Ahead() const { return ConstData(lineStart_, SearchEnd()); }
  // How many times the buffer was filled, the first time included.
  unsigned long Fills() const { return fills_; }
  // How many times bytes were read from the file or moved in memory: a
  // place found in Ahead() holds the same byte while this stays the same.
  unsigned long Moves() const { return moves_; }
  // Whether nothing is left: the present line and its ending are empty.
  bool Finished() const { return lineStart_ == lineEnd_ && endingStart_ == endingEnd_; }
  bool Unfinished() const { return !Finished(); }
  // The bytes the present line takes in the file: its text, and its ending
  // when it has one.
  unsigned long ByteCount() const {
    return static_cast<unsigned long>((endingStart_ == endingEnd_ ? lineEnd_ : endingEnd_) -
                                      lineStart_);
  }

 private:
  // Fills the target from the file, as far as the file gives, and records
  // where the valid bytes end: the buffer is the window.
  inline void ReadFromFile(Data target);
  // While the file is read ahead: makes the window start at `start`, in the
  // memory read ahead, where the `carried` bytes of a line moved on from the
  // last window lie just before the first byte not yet in any window. The
  // window then takes as many bytes as the buffer holds, or what the file
  // has left: when fewer are held, what is held from `start` on moves to the
  // front of the memory and the file is read behind it.
  void MoveWindow(unsigned char* start);
  // The line runs from `start` to the first line end at or after `from`.
  inline void ScanForLine(unsigned char* start, unsigned char* from);
  // PassBefore, or with `kOnto` PassOnto: one loop over the lines, which
  // stops before `stop` or a refill that reads or moves bytes.
  template <bool kOnto>
  inline unsigned long Move(unsigned long most, unsigned char const* stop, unsigned long& bytes);
  // The rest of an increment whose line has no ending in the buffer: the
  // line is delivered as it stands, or moved to the front and the buffer
  // refilled behind it.
  void Refill();
  // The first CR or LF at or after `from` among the valid bytes, or their
  // end.
  inline unsigned char* FindLineEnd(unsigned char* from);
  // The end of the bytes that a search for CR may cover: those read ahead,
  // which stay as they are while the window moves over them, or else the
  // buffer's valid bytes.
  unsigned char* SearchEnd() const { return readingAhead_ ? aheadEnd_ : validEnd_; }
  // The ending at the start of `rest`, the bytes from a line end to the end
  // of the valid bytes; `finished` says whether the file has more.
  static inline ConstData InitialLineEnding(ConstData rest, bool finished);

  // The private helpers above are inline and defined in file_reader.cpp
  // alone, the one place that calls them.
  // Whether the file has nothing more to give: the reader is finished and
  // no byte read ahead is left.
  bool Exhausted() const { return aheadStart_ == aheadEnd_ && reader_.Finished(); }

  Data buffer_;
  FileReader reader_;
  // The memory read ahead into, its size (0 for none), and the bytes read
  // and not yet taken into the window, while the present file is read
  // ahead: the window ends where they start.
  std::unique_ptr<unsigned char[]> ahead_;
  unsigned long aheadSize_ = 0;
  bool readingAhead_ = false;
  unsigned char* aheadStart_ = nullptr;
  unsigned char* aheadEnd_ = nullptr;
  // The window: the bytes that the buffer holds, from its front (the
  // buffer's start, or a place in the memory read ahead) to the end of the
  // valid bytes.
  unsigned char* front_ = nullptr;
  unsigned char* validEnd_ = nullptr;
  unsigned long fills_ = 0;
  unsigned long moves_ = 0;
  // The first CR at or after some earlier place up to SearchEnd() (or that
  // end when there is none), while `crKnown_`: a search for the next line
  // end need look for a CR again only once it has passed this one, so bytes
  // without CR are searched for one once, not once per line or per window.
  unsigned char* nextCr_ = nullptr;
  bool crKnown_ = false;
  unsigned char* lineStart_ = nullptr;
  unsigned char* lineEnd_ = nullptr;
  unsigned char* endingStart_ = nullptr;
  unsigned char* endingEnd_ = nullptr;
};

// Told of the lines that a LineMaker finds, by positions in the data.
class LineReceiver {
 public:
  virtual ~LineReceiver() = default;
  // The data starts at this position.
  virtual void StartLines(unsigned long /*position*/) {}
  // A line's text, without its ending.
  virtual void LineText(Range<unsigned long> /*text*/) {}
  // A line's ending, of one byte or a pair.
  virtual void LineEnding(Range<unsigned long> /*ending*/) {}
  // The data ended at this position.
  virtual void EndLines(unsigned long /*position*/) {}
};

// Finds lines in pushed data, with the same endings as FileLineLoop, and
// tells a LineReceiver their positions. A line may span any number of
// Receive calls.
class LineMaker : public DataReceiver {
 public:
  LineMaker() = default;
  explicit LineMaker(LineReceiver& receiver) : receiver_(&receiver) {}

  // Starts at position 0.
  void Start() override { Start(0); }
  void Start(unsigned long position);
  void Receive(ConstData data) override;
  // Tells a pending one-byte ending, or a last line that has no ending, and
  // then the end.
  void ReceiveEnd() override;

 private:
  LineReceiver* receiver_ = nullptr;
  unsigned long position_ = 0;
  unsigned long lineStart_ = 0;
  // The byte that would make a pair with the last ending byte; 0 for none.
  unsigned char pending_ = 0;
};
