// Views over bytes, cursors over them, and big-endian fields.
//
// The library does its string and memory work through these rather than
// through bare pointers and lengths. A view is a pair of pointers and owns
// nothing: copying one copies two words. A cursor remembers where it began,
// so that what has been processed is always the range from its start to its
// current position. Nothing here allocates.
#pragma once

#include <string>
#include <type_traits>

#include "survey/frame/boundary.h"

// ---------------------------------------------------------------------------
// Errors of the byte layer. None carries text.

// A writer that must not truncate has run out of room.
class DataOverflow : public DebuggableException {};
// A field does not fit in the room left for writing it.
class DataTooSmall : public DebuggableException {};
// A field cannot be read from the bytes that are left.
class ConstDataTooSmall : public DebuggableException {};
// A copy into a fixed store does not fit.
class ConstDataCapacityExceeded : public DebuggableException {};
// A reader ended before its target was filled.
class NoMoreData : public DebuggableException {};
// Stored bytes are not in the form that their reader expects.
class FormatError : public DebuggableException {};

class Data;

// A read-only view of bytes from `begin` up to, not including, `end`. An
// empty view has begin equal to end, and begin may be null.
class ConstData {
 public:
  unsigned char const* begin;
  unsigned char const* end;

  constexpr ConstData() : begin(nullptr), end(nullptr) {}
  constexpr ConstData(unsigned char const* first, unsigned char const* last)
      : begin(first), end(last) {}
  ConstData(void const* first, unsigned long length)
      : begin(static_cast<unsigned char const*>(first)),
        end(static_cast<unsigned char const*>(first) + length) {}
  // The bytes of a NUL-terminated text, without the terminator; null gives
  // the empty view.
  explicit ConstData(char const* text);
  explicit ConstData(surveyor_string const& text)
      : begin(text.data), end(text.data + text.length) {}
  ConstData(Data const& data);  // NOLINT: a writable view reads as well

  unsigned long Length() const { return static_cast<unsigned long>(end - begin); }
  bool Empty() const { return begin == end; }
  surveyor_string AsSurveyorString() const { return surveyor_string{begin, Length()}; }

  // False if `prefix` is longer; else whether the first bytes are its bytes.
  bool StartsWith(ConstData prefix) const;
  // False if `suffix` is longer; else whether the last bytes are its bytes.
  bool EndsWith(ConstData suffix) const;
  // A plain scan, one compare per position. The empty view is contained in
  // anything.
  bool Contains(ConstData sought) const;

  // Copies as many bytes as both sides allow into `destination`, forward,
  // and returns the part of this view that was not copied.
  ConstData operator>>(Data destination) const;
};

// A writable view of bytes from `begin` up to, not including, `end`.
class Data {
 public:
  unsigned char* begin;
  unsigned char* end;

  constexpr Data() : begin(nullptr), end(nullptr) {}
  constexpr Data(unsigned char* first, unsigned char* last) : begin(first), end(last) {}
  Data(void* first, unsigned long length)
      : begin(static_cast<unsigned char*>(first)),
        end(static_cast<unsigned char*>(first) + length) {}

  unsigned long Length() const { return static_cast<unsigned long>(end - begin); }
  bool Empty() const { return begin == end; }

  // Copies the smaller of the source's length and this view's length, and
  // returns the rest of this view. It never overflows: what does not fit is
  // dropped in silence. The two ranges may overlap.
  Data operator<<(ConstData source) const;
};

inline ConstData::ConstData(Data const& data) : begin(data.begin), end(data.end) {}

// Same length and same bytes.
bool operator==(ConstData const& left, ConstData const& right);
inline bool operator!=(ConstData const& left, ConstData const& right) { return !(left == right); }

// Where `sought` first occurs in `bytes`: null when it does not, the start
// of `bytes` when it is empty. memchr finds each place of its first byte and
// the rest is compared there, which on texts of the length of a line costs a
// fraction of memmem, whose set-up alone is dearer; after a few places that
// do not match, memmem takes over, so that bytes full of the first byte cost
// no more than memmem would.
unsigned char const* FindBytes(ConstData bytes, ConstData sought);
// Bytes compared as unsigned values up to the shorter length; the first
// difference decides, and with none the shorter view is the lesser.
bool operator<(ConstData const& left, ConstData const& right);
bool operator<=(ConstData const& left, ConstData const& right);

// The difference of the first differing pair of bytes, as unsigned values,
// first minus second; with no difference over the shorter length, -1, 0 or 1
// by length.
int Compare(ConstData first, ConstData second);
// The same, comparing from both ends toward the beginnings.
int CompareReversed(ConstData first, ConstData second);

// A std::string of the bytes; a null begin gives the empty string.
std::string MakeString(ConstData data);

// ---------------------------------------------------------------------------
// Cursors. Each read or write moves `current` forward; what has been
// processed is [start, current) and what remains is [current, end).

class ConstBuffer {
 public:
  unsigned char const* current;
  unsigned char const* end;
  unsigned char const* start;

  ConstBuffer() : current(nullptr), end(nullptr), start(nullptr) {}
  ConstBuffer(ConstData data) : current(data.begin), end(data.end), start(data.begin) {}

  ConstData Processed() const { return ConstData(start, current); }
  ConstData Remainder() const { return ConstData(current, end); }
  unsigned long Remaining() const { return static_cast<unsigned long>(end - current); }
  bool Finished() const { return current == end; }
};

class Buffer {
 public:
  unsigned char* current;
  unsigned char* end;
  unsigned char* start;

  Buffer() : current(nullptr), end(nullptr), start(nullptr) {}
  Buffer(Data data) : current(data.begin), end(data.end), start(data.begin) {}

  // The text written so far.
  ConstData Processed() const { return ConstData(start, current); }
  Data Remainder() const { return Data(current, end); }
  unsigned long Remaining() const { return static_cast<unsigned long>(end - current); }
  bool Full() const { return current == end; }
};

// Moves as much of the input's remainder as fits into the output and
// advances both cursors.
Buffer& operator<<(Buffer& output, ConstBuffer& input);
// Appends as much of the source as fits, truncating in silence, and moves
// the cursor past what was written.
Buffer& operator<<(Buffer& output, ConstData source);

// ---------------------------------------------------------------------------
// Big-endian fields. `BigEndian<N>(value)` marks a value as an N-byte field,
// most significant byte first, for the flat formats.

template <class T, unsigned N>
struct BigEndianRef {
  T& value;
};

template <unsigned N, class T>
BigEndianRef<T, N> BigEndian(T& value) {
  static_assert(N >= 1 && N <= sizeof(T), "a field holds at most the value's own bytes");
  return BigEndianRef<T, N>{value};
}

namespace big_endian_detail {

template <class T, unsigned N>
void Put(unsigned char* out, T const& value) {
  // The low N bytes of the value as an unsigned number of the same width.
  unsigned long long bits = static_cast<unsigned long long>(value);
  for (unsigned i = N; i > 0; --i) {
    out[i - 1] = static_cast<unsigned char>(bits & 0xFF);
    bits >>= 8;
  }
}

template <class T, unsigned N>
T Get(unsigned char const* in) {
  unsigned long long bits = 0;
  for (unsigned i = 0; i < N; ++i) bits = (bits << 8) | in[i];
  return static_cast<T>(bits);
}

}  // namespace big_endian_detail

// Writes the low N bytes of the value, most significant first, and returns
// the rest of the view. Throws DataTooSmall, writing nothing, if fewer than
// N bytes remain. A value too large for the field loses its high bytes.
template <class T, unsigned N>
Data operator<<(Data out, BigEndianRef<T, N> field) {
  if (out.Length() < N) throw DataTooSmall();
  big_endian_detail::Put<T, N>(out.begin, field.value);
  return Data(out.begin + N, out.end);
}

// Reads N bytes, most significant first, into the value and returns the
// rest of the view. Throws ConstDataTooSmall, reading nothing, if fewer than
// N bytes remain.
template <class T, unsigned N>
ConstData operator>>(ConstData in, BigEndianRef<T, N> field) {
  static_assert(!std::is_const_v<T>, "a field is read into a writable value");
  if (in.Length() < N) throw ConstDataTooSmall();
  field.value = big_endian_detail::Get<T, N>(in.begin);
  return ConstData(in.begin + N, in.end);
}

template <class T, unsigned N>
Buffer& operator<<(Buffer& out, BigEndianRef<T, N> field) {
  out.current = (out.Remainder() << field).begin;
  return out;
}

template <class T, unsigned N>
ConstBuffer& operator>>(ConstBuffer& in, BigEndianRef<T, N> field) {
  in.current = (in.Remainder() >> field).begin;
  return in;
}
