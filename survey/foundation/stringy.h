// Owned text and borrowed C text.
//
// `Stringy` is the library's owned text, for values that must outlive the
// view they came from. It is a plain heap array with its terminator counted
// in its size and no spare capacity: the empty value has no array at all, and
// each append makes a new array of exactly the size needed. Its strings are
// short and few; a hot path uses `ConstData` views instead. `ConstCString`
// is a borrowed NUL-terminated text.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "survey/foundation/data.h"

// A length that cannot take its terminator.
class StringyLengthTooLong : public DebuggableException {};

class Stringy {
 public:
  // The empty value: no array, size 0.
  Stringy() : text_(nullptr), size_(0) {}
  // A copy of the text and its terminator, so that the empty C string gives
  // a size of 1. A null pointer gives the empty value.
  Stringy(char const* text);  // NOLINT: C texts convert to owned ones
  // A copy of the bytes with a terminator added. A length of 0 gives the
  // empty value; one that cannot take the terminator throws
  // StringyLengthTooLong.
  Stringy(char const* text, unsigned long length);
  Stringy(unsigned char const* text, unsigned long length);
  explicit Stringy(ConstData const& data);
  Stringy(Stringy const& other);
  Stringy(Stringy&& other) noexcept : text_(other.text_), size_(other.size_) {
    other.text_ = nullptr;
    other.size_ = 0;
  }
  // The value's decimal text.
  explicit Stringy(int value);
  explicit Stringy(unsigned long value);
  explicit Stringy(unsigned long long value);
  ~Stringy() { delete[] text_; }

  Stringy& operator=(Stringy const& other);
  Stringy& operator=(Stringy&& other) noexcept;
  Stringy& operator=(char const* text);

  void swap(Stringy& other) noexcept;

  // The array, or null for the empty value.
  char const* Text() const { return text_; }
  // The text, never null: the empty C string for the empty value.
  char const* CString() const { return text_ != nullptr ? text_ : ""; }
  // Bytes in the array, terminator included; 0 exactly when there is none.
  unsigned long Size() const { return size_; }
  // Bytes of text, without the terminator.
  unsigned long GetLength() const { return size_ == 0 ? 0 : size_ - 1; }
  // Whether there is no text: no array, or the terminator alone.
  bool IsEmpty() const { return size_ <= 1; }
  // A view of the text without its terminator.
  ConstData AsConstData() const;

  // The byte at `index`; 0 for the empty value or an index at or past the
  // array's size, so that no index reads outside the array.
  char operator[](unsigned long index) const;

  // Appending. Each makes a new array of exactly the size needed and frees
  // the old one after the copy. An empty argument changes nothing.
  Stringy& operator+=(Stringy const& other);
  Stringy& operator+=(char const* text);
  Stringy& operator+=(ConstData const& data);
  // A NUL is ignored.
  Stringy& operator+=(char character);

  // Null text and the terminator alone are both empty: both empty gives 0,
  // only this one empty -1, only the other 1; otherwise strcmp.
  int Compare(Stringy const& other) const;
  // This one null: 0 if the other is null too, else -1; the other null: 1.
  // Otherwise a compare through the upper-case table over the whole arrays,
  // terminators included.
  int CompareNoCase(Stringy const& other) const;
  // Ignoring ASCII case, over the whole arrays, terminators included.
  bool EqualIgnoringCase(Stringy const& other) const;
  // With no array, true only for a null argument. A null argument is found
  // in any text, as the empty text is.
  bool Contains(char const* text) const;
  // A null or empty prefix gives true at once.
  bool StartsWith(char const* prefix) const;
  bool StartsWithIgnoringCase(Stringy const& prefix) const;
  bool StartsWithIgnoringCase(char const* prefix) const;
  // The position of the first or last occurrence, or -1.
  long Find(char character) const;
  long FindFromRight(char character) const;

  // Substrings, as new values. A negative argument counts as 0.
  // A start beyond the end gives the empty value; a count past the end is
  // cut to the end.
  Stringy Mid(long first, long count) const;
  Stringy Mid(long first) const;
  Stringy Left(long count) const;
  Stringy Right(long count) const;
  // What follows the last occurrence of the separator, with white space
  // stripped at both ends; the empty value if it does not occur.
  Stringy SubstringAfterLastSeparator(char separator) const;

  // In-place changes. White space is space, tab, line feed and carriage
  // return; a text that is all white becomes the empty value, with no array.
  void TrimLeft();
  void StripLeadingAndTrailingWhite();
  void Replace(char from, char to);
  void MakeUpper();
  void MakeLower();

 private:
  // Takes ownership of an array of `size` bytes, terminator included.
  Stringy(char* text, unsigned long size, int) : text_(text), size_(size) {}
  // Appends `length` bytes from `bytes`.
  void Append(char const* bytes, unsigned long length);
  // Removes `count` leading bytes of text.
  void DropFront(unsigned long count);

  char* text_;
  unsigned long size_;
};

inline void swap(Stringy& first, Stringy& second) noexcept { first.swap(second); }

Stringy operator+(Stringy const& first, Stringy const& second);
Stringy operator+(Stringy const& first, char character);

// Ordered by Stringy::Compare; a C text operand becomes a temporary Stringy.
bool operator==(Stringy const& left, Stringy const& right);
bool operator!=(Stringy const& left, Stringy const& right);
bool operator<(Stringy const& left, Stringy const& right);
bool operator>(Stringy const& left, Stringy const& right);
bool operator<=(Stringy const& left, Stringy const& right);
bool operator>=(Stringy const& left, Stringy const& right);
bool operator==(Stringy const& left, char const* right);
bool operator!=(Stringy const& left, char const* right);
bool operator<(Stringy const& left, char const* right);
bool operator>(Stringy const& left, char const* right);
bool operator<=(Stringy const& left, char const* right);
bool operator>=(Stringy const& left, char const* right);
bool operator==(char const* left, Stringy const& right);
bool operator!=(char const* left, Stringy const& right);
bool operator<(char const* left, Stringy const& right);
bool operator>(char const* left, Stringy const& right);
bool operator<=(char const* left, Stringy const& right);
bool operator>=(char const* left, Stringy const& right);

// Splits a text at a separator into `out`, and returns the count appended.
// Each run up to the separator or the terminator becomes a value, an empty
// run an empty value; a text that ends in the separator ends there. With a
// separator of NUL the text is a sequence of NUL-terminated strings ended by
// an empty one. At most `maximum` values are added. With `strip`, each new
// value is stripped of white space: it is found at the count added so far in
// this call, counted from the vector's start, so `out` must start empty.
unsigned long SplitSeparatedStringsIntoArray(char const* text, char separator,
                                             std::vector<Stringy>& out, unsigned long maximum,
                                             bool strip);

// strcasecmp and strncasecmp; a null pointer counts as the empty text.
int CompareIgnoreCase(char const* first, char const* second);
int CompareIgnoreCaseN(char const* first, char const* second, unsigned int count);

// A borrowed NUL-terminated text.
class ConstCString {
 public:
  char const* text;

  ConstCString(char const* borrowed = nullptr) : text(borrowed) {}  // NOLINT

  // Bytes before the terminator; 0 for a null pointer.
  unsigned long Length() const { return text == nullptr ? 0 : std::strlen(text); }
};

// Walks both at once, taking a zero for the view's end. The same pointer
// gives 0. When the C text ends with bytes left in the view, -1; otherwise
// the difference of the first differing bytes, as unsigned values.
int Compare(ConstCString text, ConstData data);
// The same pointer gives 0; otherwise as strcmp, on unsigned bytes.
int Compare(ConstCString first, ConstCString second);
bool operator==(ConstCString text, ConstData data);
bool operator>=(ConstCString text, ConstData data);
bool operator==(ConstCString first, ConstCString second);
bool operator>=(ConstCString first, ConstCString second);

// Copies a view into memory from `allocate` and gives a view of the copy. A
// null allocator, an empty source or a null result from the allocator give
// an empty view with null pointers; a source too long for the allocator's
// size argument throws ConstDataCapacityExceeded.
ConstData AllocateConstData(ConstData const& source, void* (*allocate)(unsigned int));

// Reads one stored string: "[", its size in bytes with the terminator, as a
// native 32-bit number below 1024, "]", then the text and its terminator. A
// wrong bracket or a size of 1024 or more throws FormatError; a size of 0
// reads no text and gives the empty value. The reader's own errors pass
// through; the value is changed only when the whole string has been read.
// `reader >> Data` must fill the view or throw.
template <class Reader>
void ReadStringy(Stringy& value, Reader& reader) {
  constexpr std::uint32_t kLimit = 1024;
  unsigned char header[6];
  reader >> Data(header, sizeof header);
  if (header[0] != '[' || header[5] != ']') throw FormatError();
  std::uint32_t size = 0;
  std::memcpy(&size, header + 1, sizeof size);
  if (size >= kLimit) throw FormatError();
  Stringy read;
  if (size != 0) {
    unsigned char text[kLimit];
    reader >> Data(text, size);
    read = Stringy(text, size - 1);
  }
  value.swap(read);
}

class FileReader;
// The form used on files, defined beside the file reader.
void ReadStringy(Stringy& value, FileReader& reader);
