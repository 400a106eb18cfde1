#include "survey/dmi/dmi_structures.h"

namespace {

// The length byte, L.
unsigned long FormattedLength(unsigned char const* data, std::uint32_t size) {
  return size > 1 ? data[1] : 0;
}

// The value of `width` bytes at the offset, little-endian, when the length
// byte allows it (offset below L + width - 1) and the bytes are stored.
integer ReadField(unsigned char const* data, std::uint32_t size, unsigned long offset,
                  unsigned width) {
  if (data == nullptr || size < 2) throw NoSuchObject();
  unsigned long const length = data[1];
  if (offset >= length + width - 1) throw NoSuchObject();
  if (offset + width > size) throw NoSuchObject();
  unsigned long long value = 0;
  for (unsigned byte = width; byte-- > 0;) value = (value << 8) | data[offset + byte];
  return integer{static_cast<long long>(value)};
}

}  // namespace

integer GetBYTE(unsigned char const* data, std::uint32_t size, unsigned long offset) {
  return ReadField(data, size, offset, 1);
}

integer GetWORD(unsigned char const* data, std::uint32_t size, unsigned long offset) {
  return ReadField(data, size, offset, 2);
}

integer GetDWORD(unsigned char const* data, std::uint32_t size, unsigned long offset) {
  return ReadField(data, size, offset, 4);
}

integer GetQWORD(unsigned char const* data, std::uint32_t size, unsigned long offset) {
  return ReadField(data, size, offset, 8);
}

bool FindString(unsigned char const* data, std::uint32_t size, unsigned long offset,
                surveyor_string& text) {
  if (data == nullptr) return false;
  if (offset >= FormattedLength(data, size) || offset >= size) return false;
  return FindStringBlockString(data, size, data[offset], text);
}

surveyor_string GetString(unsigned char const* data, std::uint32_t size, unsigned long offset) {
  surveyor_string text{};
  if (!FindString(data, size, offset, text)) throw NoSuchObject();
  return text;
}

bool FindStringBlockString(unsigned char const* data, std::uint32_t size, std::uint64_t number,
                           surveyor_string& text) {
  if (data == nullptr || number == 0 || number >= 256) return false;
  unsigned long const length = FormattedLength(data, size);
  if (length >= size) return false;  // no block among the stored bytes
  unsigned char const* position = data + length;
  unsigned char const* const last = data + size - 1;
  if (*position == 0) return false;  // the empty block
  for (std::uint64_t count = 1; count < number; ++count) {
    while (position < last && *position != 0) ++position;
    ++position;  // over the string's NUL
    if (position > last || *position == 0) return false;
  }
  // A string that runs to the end of the stored bytes without its NUL ends
  // there.
  unsigned long textLength = 0;
  while (position + textLength <= last && position[textLength] != 0) ++textLength;
  text = surveyor_string{position, textLength};
  return true;
}

surveyor_string GetStringBlockString(unsigned char const* data, std::uint32_t size,
                                     std::uint64_t number) {
  surveyor_string text{};
  if (!FindStringBlockString(data, size, number, text)) throw NoSuchObject();
  return text;
}

namespace {

// The number of device entries, (L - 4) / 2 rounded towards zero, and
// whether `number` passes the test against it. The count is compared as
// the unsigned value of its sign extension, so a negative count, from L
// below 4, lets every number through; the stored bytes still bound the
// read that follows.
bool DeviceNumberAllowed(unsigned char const* data, std::uint32_t size, std::uint64_t number,
                         int& count) {
  if (data == nullptr || number == 0) return false;
  count = (static_cast<int>(FormattedLength(data, size)) - 4) / 2;
  return number <= static_cast<std::uint64_t>(static_cast<std::int64_t>(count));
}

}  // namespace

integer DmiDeviceType(unsigned char const* data, std::uint32_t size, std::uint64_t number) {
  int count = 0;
  if (!DeviceNumberAllowed(data, size, number, count)) throw NoSuchObject();
  std::uint64_t const offset = number + 3;
  if (offset >= size) throw NoSuchObject();
  return integer{data[offset]};
}

surveyor_string DmiDeviceDescription(unsigned char const* data, std::uint32_t size,
                                     std::uint64_t number) {
  int count = 0;
  if (!DeviceNumberAllowed(data, size, number, count)) throw NoSuchObject();
  std::uint64_t const offset =
      number + static_cast<std::uint64_t>(static_cast<std::int64_t>(count)) + 3;
  if (offset >= size) throw NoSuchObject();
  return GetStringBlockString(data, size, data[offset]);
}
