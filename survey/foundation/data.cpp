#include "survey/foundation/data.h"

#include <string.h>  // memmem

#include <cstring>
#include <functional>

namespace {

unsigned long Smaller(unsigned long first, unsigned long second) {
  return first < second ? first : second;
}

int ByLength(unsigned long first, unsigned long second) {
  if (first < second) return -1;
  return first > second ? 1 : 0;
}

// Whether `count` bytes from each start are the same.
bool SameBytes(unsigned char const* first, unsigned char const* second, unsigned long count) {
  for (unsigned long i = 0; i < count; ++i) {
    if (first[i] != second[i]) return false;
  }
  return true;
}

}  // namespace

ConstData::ConstData(char const* text) : begin(nullptr), end(nullptr) {
  if (text == nullptr) return;
  begin = reinterpret_cast<unsigned char const*>(text);
  end = begin + std::strlen(text);
}

bool ConstData::StartsWith(ConstData prefix) const {
  unsigned long const length = prefix.Length();
  if (length > Length()) return false;
  return SameBytes(begin, prefix.begin, length);
}

bool ConstData::EndsWith(ConstData suffix) const {
  unsigned long const length = suffix.Length();
  if (length > Length()) return false;
  return SameBytes(end - length, suffix.begin, length);
}

bool ConstData::Contains(ConstData sought) const {
  unsigned long const length = sought.Length();
  if (length > Length()) return false;
  unsigned long const last = Length() - length;
  for (unsigned long position = 0; position <= last; ++position) {
    if (SameBytes(begin + position, sought.begin, length)) return true;
  }
  return false;
}

ConstData ConstData::operator>>(Data destination) const {
  unsigned long const count = Smaller(Length(), destination.Length());
  for (unsigned long i = 0; i < count; ++i) destination.begin[i] = begin[i];
  return ConstData(begin + count, end);
}

Data Data::operator<<(ConstData source) const {
  unsigned long const count = Smaller(source.Length(), Length());
  if (count != 0) {
    if (std::less<unsigned char const*>()(source.begin, begin)) {
      // The source lies below: a forward copy would overwrite source bytes
      // that an overlap has yet to read.
      for (unsigned long i = count; i > 0; --i) begin[i - 1] = source.begin[i - 1];
    } else {
      for (unsigned long i = 0; i < count; ++i) begin[i] = source.begin[i];
    }
  }
  return Data(begin + count, end);
}

bool operator==(ConstData const& left, ConstData const& right) {
  return left.Length() == right.Length() && SameBytes(left.begin, right.begin, left.Length());
}

bool operator<(ConstData const& left, ConstData const& right) { return Compare(left, right) < 0; }

bool operator<=(ConstData const& left, ConstData const& right) {
  return Compare(left, right) <= 0;
}

int Compare(ConstData first, ConstData second) {
  unsigned long const count = Smaller(first.Length(), second.Length());
  for (unsigned long i = 0; i < count; ++i) {
    if (first.begin[i] != second.begin[i]) {
      return static_cast<int>(first.begin[i]) - static_cast<int>(second.begin[i]);
    }
  }
  return ByLength(first.Length(), second.Length());
}

int CompareReversed(ConstData first, ConstData second) {
  unsigned long const count = Smaller(first.Length(), second.Length());
  for (unsigned long i = 1; i <= count; ++i) {
    unsigned char const a = first.end[-static_cast<long>(i)];
    unsigned char const b = second.end[-static_cast<long>(i)];
    if (a != b) return static_cast<int>(a) - static_cast<int>(b);
  }
  return ByLength(first.Length(), second.Length());
}

std::string MakeString(ConstData data) {
  if (data.begin == nullptr) return std::string();
  return std::string(reinterpret_cast<char const*>(data.begin), data.Length());
}

Buffer& operator<<(Buffer& output, ConstBuffer& input) {
  ConstData const rest = input.Remainder();
  Data const left = output.Remainder() << rest;
  input.current += left.begin - output.current;
  output.current = left.begin;
  return output;
}

Buffer& operator<<(Buffer& output, ConstData source) {
  output.current = (output.Remainder() << source).begin;
  return output;
}

unsigned char const* FindBytes(ConstData bytes, ConstData sought) {
  constexpr int kPlacesBeforeMemmem = 8;
  unsigned long const size = sought.Length();
  if (size == 0) return bytes.begin;
  unsigned char const* at = bytes.begin;
  for (int place = 0; place < kPlacesBeforeMemmem; ++place) {
    if (static_cast<unsigned long>(bytes.end - at) < size) return nullptr;
    auto const* const found = static_cast<unsigned char const*>(
        std::memchr(at, sought.begin[0], static_cast<unsigned long>(bytes.end - at) - size + 1));
    if (found == nullptr) return nullptr;
    if (std::memcmp(found + 1, sought.begin + 1, size - 1) == 0) return found;
    at = found + 1;
  }
  if (static_cast<unsigned long>(bytes.end - at) < size) return nullptr;
  return static_cast<unsigned char const*>(
      memmem(at, static_cast<unsigned long>(bytes.end - at), sought.begin, size));
}
