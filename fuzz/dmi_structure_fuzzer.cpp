// Fuzz target for the readers of firmware structures. The first two bytes
// choose a string number and a device number; the rest is one structure,
// held in a heap block of exactly its size, so that a read past its end is
// caught. Its length byte, its string block (ended or not) and its size are
// all the input's. Every reader is asked at every offset up to 300 and for
// string numbers 0 to 257: each must give a value or "no such object", and
// what it gives must lie inside the structure: a field that the length byte
// and the stored bytes allow, a string of the block without NUL bytes.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "survey/dmi/dmi_structures.h"

namespace {

[[noreturn]] void Fail(char const* what) {
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

void CheckText(surveyor_string const& text, unsigned char const* data, std::uint32_t size) {
  unsigned long const length = size > 1 ? data[1] : 0;
  if (text.data < data + length || text.data + text.length > data + size) {
    Fail("string outside the string block");
  }
  if (text.length == 0) Fail("empty string");
  if (std::memchr(text.data, 0, text.length) != nullptr) Fail("NUL inside a string");
}

template <class Read>
void CheckField(Read read, unsigned char const* data, std::uint32_t size, unsigned long offset,
                unsigned width) {
  try {
    integer const value = read(data, size, offset);
    unsigned long const length = data[1];
    if (offset >= length + width - 1) Fail("field beyond what the length byte allows");
    if (offset + width > size) Fail("field beyond the stored bytes");
    unsigned long long expected = 0;
    std::memcpy(&expected, data + offset, width);  // the fuzzers run little-endian
    if (static_cast<unsigned long long>(value.value) != expected) Fail("wrong field value");
  } catch (NoSuchObject const&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* input, std::size_t size) {
  if (size < 4 || size > 8192) return 0;
  unsigned const stringNumber = input[0];
  unsigned const deviceNumber = input[1];
  std::uint32_t const length = static_cast<std::uint32_t>(size - 2);
  std::unique_ptr<unsigned char[]> const block(new unsigned char[length]);
  std::memcpy(block.get(), input + 2, length);
  unsigned char const* const data = block.get();

  for (unsigned long offset = 0; offset < 300; ++offset) {
    CheckField(&GetBYTE, data, length, offset, 1);
    CheckField(&GetWORD, data, length, offset, 2);
    CheckField(&GetDWORD, data, length, offset, 4);
    CheckField(&GetQWORD, data, length, offset, 8);
    try {
      CheckText(GetString(data, length, offset), data, length);
    } catch (NoSuchObject const&) {
    }
  }
  for (std::uint64_t number = 0; number < 258; ++number) {
    try {
      surveyor_string const text = GetStringBlockString(data, length, number);
      if (number == 0 || number > 255) Fail("string number out of range answered");
      CheckText(text, data, length);
    } catch (NoSuchObject const&) {
    }
  }
  for (std::uint64_t number : {std::uint64_t{stringNumber}, std::uint64_t{deviceNumber},
                               std::uint64_t{1} << 40, ~std::uint64_t{0}}) {
    try {
      integer const type = DmiDeviceType(data, length, number);
      if (type.value < 0 || type.value > 255) Fail("device type out of a byte");
    } catch (NoSuchObject const&) {
    }
    try {
      CheckText(DmiDeviceDescription(data, length, number), data, length);
    } catch (NoSuchObject const&) {
    }
  }
  return 0;
}
