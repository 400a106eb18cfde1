#include "survey/foundation/stringy.h"

#include <strings.h>

#include "survey/foundation/ascii.h"
#include "survey/foundation/checked.h"
#include "survey/foundation/numeral.h"

namespace {

bool IsWhite(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// A new array holding `length` bytes and a terminator.
char* NewText(char const* bytes, unsigned long length) {
  if (!CanAdd(length, 1ul)) throw StringyLengthTooLong();
  char* const text = new char[length + 1];
  if (length != 0) std::memcpy(text, bytes, length);
  text[length] = '\0';
  return text;
}

unsigned long NonNegative(long value) { return value < 0 ? 0 : static_cast<unsigned long>(value); }

ConstData WholeArray(char const* text, unsigned long size) { return ConstData(text, size); }

}  // namespace

Stringy::Stringy(char const* text) : text_(nullptr), size_(0) {
  if (text == nullptr) return;
  unsigned long const length = std::strlen(text);
  text_ = NewText(text, length);
  size_ = length + 1;
}

Stringy::Stringy(char const* text, unsigned long length) : text_(nullptr), size_(0) {
  if (length == 0) return;
  text_ = NewText(text, length);
  size_ = length + 1;
}

Stringy::Stringy(unsigned char const* text, unsigned long length)
    : Stringy(reinterpret_cast<char const*>(text), length) {}

Stringy::Stringy(ConstData const& data) : Stringy(data.begin, data.Length()) {}

Stringy::Stringy(Stringy const& other) : text_(nullptr), size_(0) {
  if (other.text_ == nullptr) return;
  text_ = new char[other.size_];
  std::memcpy(text_, other.text_, other.size_);
  size_ = other.size_;
}

Stringy::Stringy(int value) : Stringy(ConstData(Numeral(value, 10))) {}

Stringy::Stringy(unsigned long value) : Stringy(ConstData(Numeral(value, 10))) {}

Stringy::Stringy(unsigned long long value) : Stringy(ConstData(Numeral(value, 10))) {}

Stringy& Stringy::operator=(Stringy const& other) {
  if (this != &other) {
    Stringy copy(other);
    swap(copy);
  }
  return *this;
}

Stringy& Stringy::operator=(Stringy&& other) noexcept {
  Stringy taken(static_cast<Stringy&&>(other));
  swap(taken);
  return *this;
}

Stringy& Stringy::operator=(char const* text) {
  Stringy copy(text);
  swap(copy);
  return *this;
}

void Stringy::swap(Stringy& other) noexcept {
  char* const text = text_;
  text_ = other.text_;
  other.text_ = text;
  unsigned long const size = size_;
  size_ = other.size_;
  other.size_ = size;
}

ConstData Stringy::AsConstData() const {
  if (text_ == nullptr) return ConstData();
  return ConstData(text_, GetLength());
}

char Stringy::operator[](unsigned long index) const {
  if (text_ == nullptr || index >= size_) return 0;
  return text_[index];
}

void Stringy::Append(char const* bytes, unsigned long length) {
  if (length == 0) return;
  unsigned long const kept = GetLength();
  if (!CanAdd(kept, length) || !CanAdd(kept + length, 1ul)) throw StringyLengthTooLong();
  char* const text = new char[kept + length + 1];
  if (kept != 0) std::memcpy(text, text_, kept);
  std::memcpy(text + kept, bytes, length);
  text[kept + length] = '\0';
  delete[] text_;
  text_ = text;
  size_ = kept + length + 1;
}

Stringy& Stringy::operator+=(Stringy const& other) {
  if (other.text_ == nullptr || other.size_ == 1) return *this;
  Append(other.text_, other.GetLength());
  return *this;
}

Stringy& Stringy::operator+=(char const* text) {
  if (text == nullptr) return *this;
  Append(text, std::strlen(text));
  return *this;
}

Stringy& Stringy::operator+=(ConstData const& data) {
  Append(reinterpret_cast<char const*>(data.begin), data.Length());
  return *this;
}

Stringy& Stringy::operator+=(char character) {
  if (character == '\0') return *this;
  Append(&character, 1);
  return *this;
}

int Stringy::Compare(Stringy const& other) const {
  bool const empty = IsEmpty();
  bool const otherEmpty = other.IsEmpty();
  if (empty && otherEmpty) return 0;
  if (empty) return -1;
  if (otherEmpty) return 1;
  return std::strcmp(text_, other.text_);
}

int Stringy::CompareNoCase(Stringy const& other) const {
  if (text_ == nullptr) return other.text_ == nullptr ? 0 : -1;
  if (other.text_ == nullptr) return 1;
  return Ascii::CompareUppercase(WholeArray(text_, size_), WholeArray(other.text_, other.size_));
}

bool Stringy::EqualIgnoringCase(Stringy const& other) const {
  return Ascii::EqualIgnoringCase(WholeArray(text_, size_), WholeArray(other.text_, other.size_));
}

bool Stringy::Contains(char const* text) const {
  if (text_ == nullptr) return text == nullptr;
  if (text == nullptr) return true;
  return std::strstr(text_, text) != nullptr;
}

bool Stringy::StartsWith(char const* prefix) const {
  if (prefix == nullptr || *prefix == '\0') return true;
  if (text_ == nullptr) return false;
  return std::strncmp(text_, prefix, std::strlen(prefix)) == 0;
}

bool Stringy::StartsWithIgnoringCase(Stringy const& prefix) const {
  if (prefix.IsEmpty()) return true;
  return StartsWithIgnoringCase(prefix.text_);
}

bool Stringy::StartsWithIgnoringCase(char const* prefix) const {
  if (prefix == nullptr || *prefix == '\0') return true;
  unsigned long const length = std::strlen(prefix);
  if (length > GetLength()) return false;
  return Ascii::EqualIgnoringCase(ConstData(text_, length), ConstData(prefix, length));
}

long Stringy::Find(char character) const {
  unsigned long const length = GetLength();
  for (unsigned long i = 0; i < length; ++i) {
    if (text_[i] == character) return static_cast<long>(i);
  }
  return -1;
}

long Stringy::FindFromRight(char character) const {
  for (unsigned long i = GetLength(); i > 0; --i) {
    if (text_[i - 1] == character) return static_cast<long>(i - 1);
  }
  return -1;
}

Stringy Stringy::Mid(long first, long count) const {
  if (text_ == nullptr) return Stringy();
  unsigned long const length = GetLength();
  unsigned long const start = NonNegative(first);
  if (start >= length) return Stringy();
  unsigned long taken = NonNegative(count);
  if (taken > length - start) taken = length - start;
  return Stringy(text_ + start, taken);
}

Stringy Stringy::Mid(long first) const {
  unsigned long const start = NonNegative(first);
  unsigned long const length = GetLength();
  if (start >= length) return Stringy();
  return Stringy(text_ + start, length - start);
}

Stringy Stringy::Left(long count) const {
  unsigned long taken = NonNegative(count);
  if (taken > GetLength()) taken = GetLength();
  return Stringy(text_, taken);
}

Stringy Stringy::Right(long count) const {
  unsigned long taken = NonNegative(count);
  unsigned long const length = GetLength();
  if (taken > length) taken = length;
  return Stringy(text_ + (length - taken), taken);
}

Stringy Stringy::SubstringAfterLastSeparator(char separator) const {
  long const at = FindFromRight(separator);
  if (at < 0) return Stringy();
  Stringy after = Mid(at + 1);
  after.StripLeadingAndTrailingWhite();
  return after;
}

void Stringy::DropFront(unsigned long count) {
  unsigned long const length = GetLength();
  if (count >= length) {
    delete[] text_;
    text_ = nullptr;
    size_ = 0;
    return;
  }
  if (count == 0) return;
  // The text and its terminator move down within the array.
  std::memmove(text_, text_ + count, length - count + 1);
  size_ -= count;
}

void Stringy::TrimLeft() {
  if (text_ == nullptr) return;
  unsigned long const length = GetLength();
  unsigned long white = 0;
  while (white < length && IsWhite(text_[white])) ++white;
  DropFront(white);
}

void Stringy::StripLeadingAndTrailingWhite() {
  if (text_ == nullptr) return;
  unsigned long length = GetLength();
  while (length > 0 && IsWhite(text_[length - 1])) --length;
  text_[length] = '\0';
  size_ = length + 1;
  TrimLeft();
}

void Stringy::Replace(char from, char to) {
  unsigned long const length = GetLength();
  for (unsigned long i = 0; i < length; ++i) {
    if (text_[i] == from) text_[i] = to;
  }
}

void Stringy::MakeUpper() {
  unsigned long const length = GetLength();
  for (unsigned long i = 0; i < length; ++i) {
    text_[i] = static_cast<char>(Ascii::uppercaseTable[static_cast<unsigned char>(text_[i])]);
  }
}

void Stringy::MakeLower() {
  unsigned long const length = GetLength();
  for (unsigned long i = 0; i < length; ++i) {
    text_[i] = static_cast<char>(Ascii::lowercaseTable[static_cast<unsigned char>(text_[i])]);
  }
}

Stringy operator+(Stringy const& first, Stringy const& second) {
  Stringy sum(first);
  sum += second;
  return sum;
}

Stringy operator+(Stringy const& first, char character) {
  Stringy sum(first);
  sum += character;
  return sum;
}

bool operator==(Stringy const& left, Stringy const& right) { return left.Compare(right) == 0; }
bool operator!=(Stringy const& left, Stringy const& right) { return left.Compare(right) != 0; }
bool operator<(Stringy const& left, Stringy const& right) { return left.Compare(right) < 0; }
bool operator>(Stringy const& left, Stringy const& right) { return left.Compare(right) > 0; }
bool operator<=(Stringy const& left, Stringy const& right) { return left.Compare(right) <= 0; }
bool operator>=(Stringy const& left, Stringy const& right) { return left.Compare(right) >= 0; }

bool operator==(Stringy const& left, char const* right) { return left == Stringy(right); }
bool operator!=(Stringy const& left, char const* right) { return left != Stringy(right); }
bool operator<(Stringy const& left, char const* right) { return left < Stringy(right); }
bool operator>(Stringy const& left, char const* right) { return left > Stringy(right); }
bool operator<=(Stringy const& left, char const* right) { return left <= Stringy(right); }
bool operator>=(Stringy const& left, char const* right) { return left >= Stringy(right); }

bool operator==(char const* left, Stringy const& right) { return Stringy(left) == right; }
bool operator!=(char const* left, Stringy const& right) { return Stringy(left) != right; }
bool operator<(char const* left, Stringy const& right) { return Stringy(left) < right; }
bool operator>(char const* left, Stringy const& right) { return Stringy(left) > right; }
bool operator<=(char const* left, Stringy const& right) { return Stringy(left) <= right; }
bool operator>=(char const* left, Stringy const& right) { return Stringy(left) >= right; }

unsigned long SplitSeparatedStringsIntoArray(char const* text, char separator,
                                             std::vector<Stringy>& out, unsigned long maximum,
                                             bool strip) {
  if (maximum == 0 || text == nullptr || *text == '\0') return 0;
  unsigned long added = 0;
  char const* run = text;
  while (*run != '\0') {
    char const* end = run;
    while (*end != '\0' && *end != separator) ++end;
    out.push_back(Stringy(run, static_cast<unsigned long>(end - run)));
    if (strip) out[added].StripLeadingAndTrailingWhite();
    ++added;
    if (added >= maximum) break;
    // A separator other than NUL ends the text at the terminator; with NUL
    // the next string starts behind it, and an empty one ends the scan.
    if (separator != '\0' && *end == '\0') break;
    run = end + 1;
  }
  return added;
}

int CompareIgnoreCase(char const* first, char const* second) {
  return strcasecmp(first != nullptr ? first : "", second != nullptr ? second : "");
}

int CompareIgnoreCaseN(char const* first, char const* second, unsigned int count) {
  return strncasecmp(first != nullptr ? first : "", second != nullptr ? second : "", count);
}

int Compare(ConstCString text, ConstData data) {
  unsigned char const* const c =
      reinterpret_cast<unsigned char const*>(text.text != nullptr ? text.text : "");
  if (reinterpret_cast<unsigned char const*>(text.text) == data.begin) return 0;
  unsigned long const length = data.Length();
  for (unsigned long i = 0;; ++i) {
    if (c[i] == 0) return i < length ? -1 : 0;
    unsigned char const d = i < length ? data.begin[i] : 0;
    if (c[i] != d) return static_cast<int>(c[i]) - static_cast<int>(d);
  }
}

int Compare(ConstCString first, ConstCString second) {
  if (first.text == second.text) return 0;
  unsigned char const* const a =
      reinterpret_cast<unsigned char const*>(first.text != nullptr ? first.text : "");
  unsigned char const* const b =
      reinterpret_cast<unsigned char const*>(second.text != nullptr ? second.text : "");
  for (unsigned long i = 0;; ++i) {
    if (a[i] != b[i] || a[i] == 0) return static_cast<int>(a[i]) - static_cast<int>(b[i]);
  }
}

bool operator==(ConstCString text, ConstData data) { return Compare(text, data) == 0; }
bool operator>=(ConstCString text, ConstData data) { return Compare(text, data) >= 0; }
bool operator==(ConstCString first, ConstCString second) { return Compare(first, second) == 0; }
bool operator>=(ConstCString first, ConstCString second) { return Compare(first, second) >= 0; }

ConstData AllocateConstData(ConstData const& source, void* (*allocate)(unsigned int)) {
  unsigned long const length = source.Length();
  if (allocate == nullptr || length == 0) return ConstData();
  if (length != static_cast<unsigned int>(length)) throw ConstDataCapacityExceeded();
  auto* const copy = static_cast<unsigned char*>(allocate(static_cast<unsigned int>(length)));
  if (copy == nullptr) return ConstData();
  std::memcpy(copy, source.begin, length);
  return ConstData(copy, copy + length);
}
