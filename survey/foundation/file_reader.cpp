#include "survey/foundation/file_reader.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "survey/foundation/stringy.h"

namespace {

// The kernel takes at most this many bytes in one read.
constexpr unsigned long kLargestRead = SSIZE_MAX;

unsigned long Smaller(unsigned long a, unsigned long b) { return a < b ? a : b; }

// A read that is retried when a signal interrupts it.
long ReadSome(int descriptor, unsigned char* into, unsigned long count) {
  for (;;) {
    ssize_t got = ::read(descriptor, into, Smaller(count, kLargestRead));
    if (got >= 0 || errno != EINTR) return got;
  }
}

// A read at a position, which leaves the descriptor's own offset alone,
// retried when a signal interrupts it.
long ReadSomeAt(int descriptor, unsigned char* into, unsigned long count, unsigned long position) {
  for (;;) {
    ssize_t got =
        ::pread(descriptor, into, Smaller(count, kLargestRead), static_cast<off_t>(position));
    if (got >= 0 || errno != EINTR) return got;
  }
}

}  // namespace

// ---------------------------------------------------------------------------
// FileReadingPath

FileReadingPath::FileReadingPath(FileLocation const& location) { OpenExisting(location); }

// A destructor cannot report a failing close, and the descriptor is given
// up whether or not the close reports one; so this closes without the
// errors that `Close` throws.
FileReadingPath::~FileReadingPath() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

void FileReadingPath::OpenExisting(FileLocation const& location) {
  Close();
  char const* path = location.FullPathName();
  // A read of the kernel's message queue waits until the kernel says
  // something, and would hold the evaluator; it is never opened.
  if (std::strcmp(path, "/proc/kmsg") == 0) throw FileIOError();
  // Not blocking, so that opening a FIFO with no writer, or reading one
  // that has nothing to say, ends with an error instead of waiting. For
  // regular files the flag changes nothing. Without large-file support in
  // the 32-bit build, a file of 2 GiB or more fails here with EOVERFLOW.
  int descriptor = ::open(path, O_RDONLY | O_NONBLOCK);
  if (descriptor < 0) ThrowError(errno);
  if (::fcntl(descriptor, F_SETFD, FD_CLOEXEC) < 0) {
    int error = errno;
    ::close(descriptor);
    ThrowError(error);
  }
  descriptor_ = descriptor;
  lengthUnknown_ = false;
}

unsigned long FileReadingPath::Length() const {
  if (lengthUnknown_) return kUnknownFileLength;
  if (descriptor_ < 0) throw FileNotOpenError();
  off_t here = ::lseek(descriptor_, 0, SEEK_CUR);
  if (here < 0) ThrowError(errno);
  off_t end = ::lseek(descriptor_, 0, SEEK_END);
  if (end < 0) {
    if (errno == EINVAL) {
      lengthUnknown_ = true;
      return kUnknownFileLength;
    }
    ThrowError(errno);
  }
  if (::lseek(descriptor_, here, SEEK_SET) < 0) ThrowError(errno);
  return static_cast<unsigned long>(end);
}

void FileReadingPath::Close() {
  if (descriptor_ < 0) return;
  int descriptor = descriptor_;
  descriptor_ = -1;
  lengthUnknown_ = false;
  if (::close(descriptor) < 0) ThrowError(errno);
}

void FileReadingPath::ThrowErrorAlways(int error) {
  switch (error) {
    case EPERM:
    case EACCES:
      throw FilePermissionError();
    case ENOENT:
      throw FileNotFoundError();
    case EAGAIN:
      throw FileLockError();
    case ENOMEM:
    case ENFILE:
    case EMFILE:
      throw FileResourceError();
    case ENOTDIR:
    case ENAMETOOLONG:
      throw DirectoryNotFoundError();
    default:
      throw FileIOError();
  }
}

// ---------------------------------------------------------------------------
// FileReader

void FileReader::Start(FileReadingPath const& path, unsigned long position) {
  path_ = &path;
  length_ = path.Length();
  position_ = position;
  lookAheadHeld_ = false;
  endSeen_ = false;
  unpositioned_ = false;
}

void FileReader::SetPosition(unsigned long position) {
  position_ = position;
  lookAheadHeld_ = false;
  endSeen_ = false;
}

void FileReader::Seek() const {
  if (path_ == nullptr || !path_->IsOpen()) throw FileNotOpenError();
  // A position beyond what the platform's offsets hold turns negative here
  // and fails with EINVAL.
  if (::lseek(path_->Descriptor(), static_cast<off_t>(position_), SEEK_SET) < 0) ThrowError(errno);
}

bool FileReader::Unfinished() const {
  if (path_ == nullptr || !path_->IsOpen()) return false;
  if (length_ != kUnknownFileLength) return position_ < length_;
  if (endSeen_) return false;
  if (lookAheadHeld_) return true;
  if (::lseek(path_->Descriptor(), static_cast<off_t>(position_), SEEK_SET) < 0 ||
      ReadSome(path_->Descriptor(), &lookAhead_, 1) != 1) {
    endSeen_ = true;
    return false;
  }
  lookAheadHeld_ = true;
  return true;
}

long FileReader::ReadHere(unsigned char* into, unsigned long count) const {
  if (path_ == nullptr || !path_->IsOpen()) throw FileNotOpenError();
  if (!unpositioned_) {
    long const got = ReadSomeAt(path_->Descriptor(), into, count, position_);
    if (got >= 0 || errno != ESPIPE) return got;
    // A pipe or a terminal reads only where its descriptor stands.
    unpositioned_ = true;
  }
  Seek();
  return ReadSome(path_->Descriptor(), into, count);
}

FileReader& FileReader::operator>>(Data target) {
  if (target.Empty()) return *this;
  lookAheadHeld_ = false;
  // Some special files give less than asked although more follows, so the
  // read goes on until the target is full or the file gives nothing.
  Buffer into(target);
  while (!into.Full()) {
    long got = ReadHere(into.current, into.Remaining());
    if (got < 0) ThrowError(errno);
    if (got == 0) break;
    into.current += got;
    position_ += static_cast<unsigned long>(got);
  }
  if (!into.Full()) ThrowError(kShortRead);
  return *this;
}

void FileReader::operator>>(Buffer& output) {
  if (output.Full()) return;
  lookAheadHeld_ = false;
  long got = ReadHere(output.current, output.Remaining());
  if (got < 0) ThrowError(errno);
  output.current += got;
  position_ += static_cast<unsigned long>(got);
}

void FileReader::ThrowError(int error) {
  switch (error) {
    case 0:
      return;
    case EPERM:
    case EACCES:
      throw FilePermissionError();
    case EINVAL:
      throw FileSeekError();
    case kShortRead:
      throw EndOfFileError();
    default:
      throw FileIOError();
  }
}

// ---------------------------------------------------------------------------
// FileReadingLoop

void FileReadingLoop::Start(FileReadingPath const& path, unsigned long begin) {
  Start(path, begin, path.Length());
}

void FileReadingLoop::Start(FileReadingPath const& path, unsigned long begin, unsigned long end) {
  reader_.Start(path, begin);
  remaining_ = end - begin;
  block_ = ConstData();
  if (remaining_ != 0) Read();
}

void FileReadingLoop::Read() {
  if (reader_.Finished()) throw FileReadingLoopEndOfFileError();
  Buffer into(Data(window_.begin, Smaller(window_.Length(), remaining_)));
  reader_ >> into;
  if (into.Processed().Empty()) throw FileReadingLoopEndOfFileError();
  block_ = into.Processed();
}

FileReadingLoop& FileReadingLoop::operator++() {
  remaining_ -= block_.Length();
  if (remaining_ != 0) Read();
  return *this;
}

// ---------------------------------------------------------------------------
// FileLineLoop
//
// The helpers that find a line are defined `inline`, and always inlined:
// they serve this file alone, and a function of a shared library that is
// not inline is called through its symbol and never inlined, a cost paid on
// every line.

void FileLineLoop::Start(FileReadingPath const& path, unsigned long offset) {
  reader_.Start(path, offset);
  // Whatever was held before belongs to another start.
  ++moves_;
  // The window moves on over the memory read ahead only if that holds a
  // window and the bytes carried into the next one, whatever was kept.
  readingAhead_ = aheadSize_ >= 2 * buffer_.Length() && reader_.Length() != kUnknownFileLength;
  crKnown_ = false;
  if (readingAhead_) {
    aheadStart_ = ahead_.get();
    aheadEnd_ = ahead_.get();
    MoveWindow(ahead_.get());
  } else {
    aheadStart_ = nullptr;
    aheadEnd_ = nullptr;
    ReadFromFile(buffer_);
  }
  ScanForLine(front_, front_);
}

void FileLineLoop::ReadAhead(unsigned long size) {
  ahead_.reset(size == 0 ? nullptr : new unsigned char[size]);
  aheadSize_ = size;
  readingAhead_ = false;
  aheadStart_ = nullptr;
  aheadEnd_ = nullptr;
}

inline void FileLineLoop::ReadFromFile(Data target) {
  Buffer into(target);
  while (!into.Full() && reader_.Unfinished()) {
    unsigned char* before = into.current;
    reader_ >> into;
    if (into.current == before) break;  // the file shrank under us
  }
  front_ = buffer_.begin;
  validEnd_ = into.current;
  ++fills_;
  ++moves_;
  // The bytes have changed: a CR found before is no longer known.
  crKnown_ = false;
}

void FileLineLoop::MoveWindow(unsigned char* start) {
  unsigned long const size = buffer_.Length();
  if (static_cast<unsigned long>(aheadEnd_ - start) < size && !reader_.Finished()) {
    // Fewer bytes held than a window takes: what is held moves to the
    // front, and the file is read behind it as far as it gives, as a refill
    // of the buffer reads.
    unsigned long const kept = static_cast<unsigned long>(aheadEnd_ - start);
    std::memmove(ahead_.get(), start, kept);
    start = ahead_.get();
    aheadEnd_ = start + kept;
    unsigned char* const memoryEnd = ahead_.get() + aheadSize_;
    while (static_cast<unsigned long>(aheadEnd_ - start) < size && !reader_.Finished()) {
      Buffer ahead(Data(aheadEnd_, memoryEnd));
      reader_ >> ahead;
      if (ahead.current == aheadEnd_) break;  // the file shrank under us
      aheadEnd_ = ahead.current;
    }
    // The bytes have changed: a CR found before is no longer known.
    crKnown_ = false;
    ++moves_;
  }
  unsigned long const held = static_cast<unsigned long>(aheadEnd_ - start);
  front_ = start;
  validEnd_ = start + (held < size ? held : size);
  aheadStart_ = validEnd_;
  ++fills_;
}

__attribute__((always_inline)) inline unsigned char* FileLineLoop::FindLineEnd(unsigned char* from) {
  // Two searches that the C library makes fast: for LF, and for the CR
  // that may come in front of it. The CR found is kept for the lines up to
  // it.
  unsigned char* const end = validEnd_;
  if (from == end) return end;
  unsigned long const length = static_cast<unsigned long>(end - from);
  auto* lf = static_cast<unsigned char*>(std::memchr(from, '\n', length));
  unsigned char* const limit = lf != nullptr ? lf : end;
  if (!crKnown_ || nextCr_ < from) {
    unsigned char* const searchEnd = SearchEnd();
    auto* cr = static_cast<unsigned char*>(
        std::memchr(from, '\r', static_cast<unsigned long>(searchEnd - from)));
    nextCr_ = cr != nullptr ? cr : searchEnd;
    crKnown_ = true;
  }
  return nextCr_ < limit ? nextCr_ : limit;
}

__attribute__((always_inline)) inline ConstData FileLineLoop::InitialLineEnding(ConstData rest, bool finished) {
  switch (rest.Length()) {
    case 0:
      return ConstData(rest.begin, rest.begin);
    case 1:
      // The other half of a pair may still come in the next block.
      return finished ? rest : ConstData(rest.begin, rest.begin);
    default: {
      unsigned char first = rest.begin[0];
      unsigned char second = rest.begin[1];
      bool pair = second != first && (second == '\r' || second == '\n');
      return ConstData(rest.begin, rest.begin + (pair ? 2 : 1));
    }
  }
}

__attribute__((always_inline)) inline void FileLineLoop::ScanForLine(unsigned char* start, unsigned char* from) {
  lineStart_ = start;
  lineEnd_ = FindLineEnd(from);
  ConstData rest(lineEnd_, validEnd_);
  // Only a single byte left needs to know whether the file goes on.
  bool finished = rest.Length() == 1 && Exhausted();
  ConstData ending = InitialLineEnding(rest, finished);
  endingStart_ = lineEnd_;
  endingEnd_ = lineEnd_ + ending.Length();
}

FileLineLoop& FileLineLoop::operator++() {
  ScanForLine(endingEnd_, endingEnd_);
  if (endingStart_ == endingEnd_) Refill();
  return *this;
}

namespace {

// The difference of CR and LF in their bits: the two bytes of a pair, and
// no two other bytes one of which is CR or LF, differ by it.
constexpr unsigned char kPairBits = '\n' ^ '\r';

#if defined(__SSE2__)

// The CR and LF bytes of the 16 bytes at `bytes`, one bit each.
inline std::uint64_t LineEndBits16(unsigned char const* bytes) {
  __m128i const lf = _mm_set1_epi8('\n');
  __m128i const cr = _mm_set1_epi8('\r');
  __m128i const block = _mm_loadu_si128(reinterpret_cast<__m128i const*>(bytes));
  return static_cast<unsigned>(
      _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(block, lf), _mm_cmpeq_epi8(block, cr))));
}

// The LF bytes of the 16 bytes at `bytes`, one bit each.
inline std::uint64_t LineFeedBits16(unsigned char const* bytes) {
  __m128i const block = _mm_loadu_si128(reinterpret_cast<__m128i const*>(bytes));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_set1_epi8('\n'))));
}

// The CR and LF bytes of the 64 bytes at `block`, or its LF bytes alone
// where the caller knows that it holds no CR.
template <bool kCarriageReturns>
inline std::uint64_t LineEndBits(unsigned char const* block) {
  if constexpr (kCarriageReturns) {
    return LineEndBits16(block) | LineEndBits16(block + 16) << 16 |
           LineEndBits16(block + 32) << 32 | LineEndBits16(block + 48) << 48;
  } else {
    return LineFeedBits16(block) | LineFeedBits16(block + 16) << 16 |
           LineFeedBits16(block + 32) << 32 | LineFeedBits16(block + 48) << 48;
  }
}

// The LF bytes in the `chunks` pieces of 16 bytes from `from`: each piece
// adds one to a byte's count for each LF in its place, and the counts are
// summed before any can pass 255.
inline unsigned long CountLineFeeds(unsigned char const* from, unsigned long chunks) {
  __m128i const lf = _mm_set1_epi8('\n');
  __m128i const zero = _mm_setzero_si128();
  unsigned long count = 0;
  while (chunks != 0) {
    unsigned long run = chunks < 252 ? chunks : 252;
    chunks -= run;
    __m128i sums = zero;
    for (; run >= 4; run -= 4, from += 64) {
      auto const* const at = reinterpret_cast<__m128i const*>(from);
      __m128i const a = _mm_cmpeq_epi8(_mm_loadu_si128(at), lf);
      __m128i const b = _mm_cmpeq_epi8(_mm_loadu_si128(at + 1), lf);
      __m128i const c = _mm_cmpeq_epi8(_mm_loadu_si128(at + 2), lf);
      __m128i const d = _mm_cmpeq_epi8(_mm_loadu_si128(at + 3), lf);
      sums = _mm_sub_epi8(sums, _mm_add_epi8(_mm_add_epi8(a, b), _mm_add_epi8(c, d)));
    }
    for (; run != 0; --run, from += 16) {
      sums = _mm_sub_epi8(
          sums, _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<__m128i const*>(from)), lf));
    }
    __m128i const total = _mm_sad_epu8(sums, zero);
    count += static_cast<unsigned long>(_mm_cvtsi128_si32(total)) +
             static_cast<unsigned long>(_mm_extract_epi16(total, 4));
  }
  return count;
}

// The last LF before `end` in the pieces of 16 bytes from `from` up to
// `end`, which lies a whole number of pieces on; `from` when there is none.
inline unsigned char* LastLineFeed(unsigned char* const from, unsigned char* end) {
  while (end != from) {
    end -= 16;
    std::uint64_t const bits = LineFeedBits16(end);
    if (bits != 0) return end + 63 - __builtin_clzll(bits);
  }
  return from;
}

// Moves on over the lines whose LF lies in the whole pieces of 16 bytes
// from `after` that end at or before `before`, where every ending is a
// single LF that the pass may move over, and none is past `most` lines: the
// LFs are counted, and only the last two are found, for the present line's
// start and end. Where they are more than `most`, nothing moves. The
// number of lines moved to.
inline unsigned long CountLinesBefore(unsigned long most, unsigned char*& start,
                                      unsigned char*& found, unsigned char*& after,
                                      unsigned char* const before) {
  if (before - after < 16) return 0;
  unsigned long const chunks = static_cast<unsigned long>(before - after) / 16;
  unsigned long const count = CountLineFeeds(after, chunks);
  if (count == 0 || count > most) return 0;
  unsigned char* const last = LastLineFeed(after, after + 16 * chunks);
  if (count == 1) {
    start = after;
  } else {
    // The LF before the last one, in the last one's piece before it, or in
    // a piece before that.
    unsigned char* const piece = after + (last - after) / 16 * 16;
    std::uint64_t const earlier =
        LineFeedBits16(piece) & ((std::uint64_t{1} << (last - piece)) - 1);
    start = (earlier != 0 ? piece + 63 - __builtin_clzll(earlier) : LastLineFeed(after, piece)) + 1;
  }
  found = last;
  after = last + 1;
  return count;
}

// The window of a pass: the bytes the buffer holds, from `front` to `end`,
// within the bytes held from the file up to `held`, which a window of
// `size` bytes may move on over as a refill of the buffer would.
struct PassWindow {
  unsigned char* front;
  unsigned char* end;
  unsigned char* const held;
  unsigned long const size;
  unsigned long fills;
};

// Moves on by at most `most` lines, as ScanForLine and Refill find them,
// from the line that ends at `found` with its ending up to `after`,
// through blocks of 64 bytes whose CR and LF bytes are found at once,
// moving to no line that ends at or past `stop`.
// Blocks are read with a byte after them before `limit`, within the bytes
// held, so that the byte after an ending found is known to be no CR where
// the bytes before `limit` hold none. A line whose ending lies in the window
// with a byte after it is the next line. A line that starts after the
// window's front and has no CR or LF in the window is the line that a
// refill moves to the front: the window moves on to start with it when the
// bytes held fill a window from there, and the line is then looked at in
// the new window. Any other line at the window's end (one that runs through
// the whole window, one whose ending is the window's last byte, one where
// too few bytes are held) is left to the caller. Without
// `kCarriageReturns`, the bytes up to `limit` hold no CR, and every ending
// is a single LF. The number of lines moved to.
template <bool kCarriageReturns>
inline unsigned long PassOverBlocks(unsigned long most, unsigned char*& start,
                                    unsigned char*& found, unsigned char*& after,
                                    PassWindow& window, unsigned char* const limit,
                                    unsigned char const* stop) {
  unsigned long moved = 0;
  if (most == 0 || limit - after <= 64) return 0;
  // Without CR, the lines whose ending lies before the stop and before the
  // window's last byte, and so may be moved over with no move of the
  // window, are counted rather than stepped over, a window at a time.
  auto const count = [&]() {
    if constexpr (!kCarriageReturns) {
      unsigned char* before = window.end - 1;
      if (stop < before) before = const_cast<unsigned char*>(stop);
      if (limit - 1 < before) before = limit - 1;
      moved += CountLinesBefore(most - moved, start, found, after, before);
    }
  };
  count();
  if (moved == most || limit - after <= 64) return moved;
  unsigned char* block = after;
  // The CR and LF bytes of the block at or after `after`.
  std::uint64_t bits = LineEndBits<kCarriageReturns>(block);
  for (;;) {
    while (bits == 0) {
      block += 64;
      if (limit - block <= 64) return moved;
      bits = LineEndBits<kCarriageReturns>(block);
      // The second byte of a pair may open the block.
      if (kCarriageReturns && after > block) bits &= ~std::uint64_t{0} << (after - block);
    }
    unsigned char* const at = block + __builtin_ctzll(bits);
    // A line that ends at or past `stop` is not moved to.
    if (at >= stop) return moved;
    if (__builtin_expect(window.end - at < 2, 0)) {
      // No ending with a byte after it in the window.
      if (at < window.end || after == window.front ||
          static_cast<unsigned long>(window.held - after) < window.size) {
        return moved;
      }
      // The window moves only to a line that the loop moves to, so that
      // the window and Fills stay those of the present line.
      if (after + window.size - at < 2) return moved;
      window.front = after;
      window.end = after + window.size;
      ++window.fills;
      if (window.end - at < 2) return moved;
      if constexpr (!kCarriageReturns) {
        // The line at the new window's front, then those of the new window
        // counted.
        start = after;
        found = at;
        after = at + 1;
        if (++moved == most) return moved;
        count();
        if (moved == most || limit - after <= 64) return moved;
        block = after;
        bits = LineEndBits<false>(block);
        continue;
      }
    }
    start = after;
    found = at;
    // The ending's bit goes.
    bits &= bits - 1;
    if constexpr (kCarriageReturns) {
      bool const pair = (at[0] ^ at[1]) == kPairBits;
      after = at + (pair ? 2 : 1);
      // So does a pair's second bit; past the block, it is cleared when its
      // block is read.
      if (pair) bits &= bits - 1;
    } else {
      after = at + 1;
    }
    if (++moved == most) return moved;
  }
}

#endif

// The first CR or LF in [from, end), or `end`.
inline unsigned char* FirstLineEnd(unsigned char* from, unsigned char* const end) {
#if defined(__SSE2__)
  for (; end - from >= 16; from += 16) {
    std::uint64_t const bits = LineEndBits16(from);
    if (bits != 0) return from + __builtin_ctzll(bits);
  }
#endif
  while (from != end && *from != '\n' && *from != '\r') ++from;
  return from;
}

}  // namespace

unsigned long FileLineLoop::Advance(unsigned long most, unsigned long& bytes) {
  unsigned long moved = 0;
  while (moved != most) {
    moved += Move<false>(most - moved, SearchEnd(), bytes);
    if (moved == most) break;
    // A line that ends on the last byte held, or runs past it, or that a
    // refill reads, moves or cuts: the increment's own way.
    bytes += ByteCount();
    ++*this;
    if (Finished()) break;
    ++moved;
  }
  return moved;
}

unsigned long FileLineLoop::PassBefore(unsigned long most, unsigned char const* stop,
                                       unsigned long& bytes) {
  return Move<false>(most, stop, bytes);
}

unsigned long FileLineLoop::PassOnto(unsigned long most, unsigned char const* stop,
                                     unsigned long& bytes) {
  return Move<true>(most, stop, bytes);
}

template <bool kOnto>
inline unsigned long FileLineLoop::Move(unsigned long most, unsigned char const* stop,
                                        unsigned long& bytes) {
  // Most lines end in the window with a byte after their ending, which
  // tells a single ending from a pair: such a step is the search for the
  // ending and a look at the byte after it, the step that ScanForLine
  // takes, here in a loop that keeps the present line in locals. The bytes
  // of the lines moved past are those from the first one's start to the
  // present one's: a line's ending, or the line's end if it has none, is
  // followed by the next line, also where the loop of blocks moved the
  // window on, since that drops no byte.
  unsigned long moved = 0;
  if (most == 0) return moved;
  unsigned char* const first = lineStart_;
  unsigned char* start = lineStart_;
  unsigned char* found = lineEnd_;
  unsigned char* after = endingEnd_;
#if defined(__SSE2__)
  unsigned char* const held = SearchEnd();
  if (held - after >= 64) {
    // Whether the bytes held have a CR from here on, which the search for
    // the next line would look for too: blocks before the first CR are
    // searched for LF alone.
    if (!crKnown_ || nextCr_ < after) {
      auto* const cr = static_cast<unsigned char*>(
          std::memchr(after, '\r', static_cast<unsigned long>(held - after)));
      nextCr_ = cr != nullptr ? cr : held;
      crKnown_ = true;
    }
    PassWindow window{front_, validEnd_, held, buffer_.Length(), fills_};
    moved += nextCr_ - after > 64
                 ? PassOverBlocks<false>(most, start, found, after, window, nextCr_, stop)
                 : PassOverBlocks<true>(most, start, found, after, window, held, stop);
    front_ = window.front;
    validEnd_ = window.end;
    if (readingAhead_) aheadStart_ = window.end;
    fills_ = window.fills;
  }
#endif
  unsigned char* const end = validEnd_;
  while (moved != most) {
    unsigned char* const at = FirstLineEnd(after, end);
    if (end - at < 2) break;
    // With `kOnto`, the line that ends at or past the stop is the last one
    // moved to.
    bool const last = at >= stop;
    if (last && !kOnto) break;
    bool const pair = (at[0] ^ at[1]) == kPairBits;
    start = after;
    found = at;
    after = at + (pair ? 2 : 1);
    ++moved;
    if (last) break;
  }
  lineStart_ = start;
  lineEnd_ = found;
  endingStart_ = found;
  endingEnd_ = after;
  bytes += static_cast<unsigned long>(start - first);
  // The next line ends at or past the stop, or lies beyond a refill that
  // reads or moves bytes: the increment's own way.
  return moved;
}

void FileLineLoop::Refill() {
  // No ending in the window. A line that already starts at the front has
  // the whole window and is delivered as it stands; so is the last line.
  if (lineStart_ == front_ || Exhausted()) return;
  unsigned long length = static_cast<unsigned long>(lineEnd_ - lineStart_);
  if (readingAhead_) {
    // The next window starts with the line's text, followed by the bytes
    // after this window, which lie right after it: the window moves on to
    // the line. A CR or LF that was the last valid byte is dropped: the
    // text moves up over it, to lie against the bytes that follow.
    unsigned char* start = lineStart_;
    if (lineEnd_ != validEnd_) {
      start = validEnd_ - length;
      std::memmove(start, lineStart_, length);
      // The text moved holds no CR, and the bytes after it are as they
      // were: a CR known to lie past them stays the next one, and a search
      // for a CR from the line on need not be made again.
      crKnown_ = crKnown_ && nextCr_ >= validEnd_;
      ++moves_;
    }
    MoveWindow(start);
    ScanForLine(front_, front_ + length);
    return;
  }
  // Move the line's text to the front and refill behind it. A CR or LF
  // that was the last valid byte is not moved, and so is dropped.
  std::memmove(buffer_.begin, lineStart_, length);
  ReadFromFile(Data(buffer_.begin + length, buffer_.end));
  ScanForLine(buffer_.begin, buffer_.begin + length);
}

// ---------------------------------------------------------------------------
// LineMaker

void LineMaker::Start(unsigned long position) {
  position_ = position;
  lineStart_ = position;
  pending_ = 0;
  if (receiver_ != nullptr) receiver_->StartLines(position);
}

void LineMaker::Receive(ConstData data) {
  for (unsigned char const* byte = data.begin; byte != data.end; ++byte, ++position_) {
    if (pending_ != 0) {
      unsigned long endingStart = position_ - 1;
      if (*byte == pending_) {
        pending_ = 0;
        lineStart_ = position_ + 1;
        if (receiver_ != nullptr) receiver_->LineEnding({endingStart, position_ + 1});
        continue;
      }
      pending_ = 0;
      lineStart_ = position_;
      if (receiver_ != nullptr) receiver_->LineEnding({endingStart, position_});
    }
    if (*byte == '\r' || *byte == '\n') {
      pending_ = *byte == '\r' ? '\n' : '\r';
      if (receiver_ != nullptr) receiver_->LineText({lineStart_, position_});
    }
  }
}

void LineMaker::ReceiveEnd() {
  if (receiver_ == nullptr) return;
  if (pending_ != 0) {
    receiver_->LineEnding({position_ - 1, position_});
  } else if (lineStart_ != position_) {
    receiver_->LineText({lineStart_, position_});
  }
  pending_ = 0;
  lineStart_ = position_;
  receiver_->EndLines(position_);
}

// ---------------------------------------------------------------------------

void ReadStringy(Stringy& value, FileReader& reader) { ReadStringy<FileReader>(value, reader); }
