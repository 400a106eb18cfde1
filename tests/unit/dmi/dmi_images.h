// Memory images standing in for physical memory: 1 MiB of zeros with a
// firmware table at 0xE0000 and its "_DMI_" anchor at 0xF0000, and the
// tables that tests put in them, structure by structure.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace survey::testing {

using Bytes = std::vector<unsigned char>;

// A structure: its type, a formatted area of `length` bytes whose bytes
// from offset 4 on are `fields` (the rest zero; the handle is the running
// number), and its string block, which is "\0\0" when no strings are given.
inline Bytes Structure(unsigned char type, unsigned char length, Bytes const& fields,
                       std::vector<std::string> const& strings = {}) {
  static unsigned handle = 0;
  Bytes bytes(length, 0);
  bytes[0] = type;
  if (length > 1) bytes[1] = length;
  if (length > 3) {
    bytes[2] = static_cast<unsigned char>(handle);
    bytes[3] = static_cast<unsigned char>(handle >> 8);
  }
  ++handle;
  for (std::size_t i = 0; i < fields.size() && 4 + i < length; ++i) bytes[4 + i] = fields[i];
  for (std::string const& text : strings) {
    bytes.insert(bytes.end(), text.begin(), text.end());
    bytes.push_back(0);
  }
  if (strings.empty()) bytes.push_back(0);
  bytes.push_back(0);
  return bytes;
}

inline Bytes Table(std::vector<Bytes> const& structures) {
  Bytes table;
  for (Bytes const& structure : structures)
    table.insert(table.end(), structure.begin(), structure.end());
  return table;
}

// Writes the image: the table at 0xE0000, the anchor at 0xF0000 with the
// table's length, address, structure count and revision, summed to zero.
inline void WriteImage(std::string const& path, Bytes const& table, unsigned count,
                       unsigned char revision = 0x24) {
  Bytes image(0x100000, 0);
  std::uint32_t const address = 0xE0000;
  std::copy(table.begin(), table.end(), image.begin() + address);
  unsigned char* const anchor = image.data() + 0xF0000;
  std::copy_n("_DMI_", 5, anchor);
  anchor[6] = static_cast<unsigned char>(table.size());
  anchor[7] = static_cast<unsigned char>(table.size() >> 8);
  for (int i = 0; i < 4; ++i) anchor[8 + i] = static_cast<unsigned char>(address >> (8 * i));
  anchor[12] = static_cast<unsigned char>(count);
  anchor[13] = static_cast<unsigned char>(count >> 8);
  anchor[14] = revision;
  unsigned sum = 0;
  for (int i = 0; i < 15; ++i) sum += anchor[i];
  anchor[5] = static_cast<unsigned char>(0x100 - (sum & 0xFF));
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<char const*>(image.data()),
            static_cast<std::streamsize>(image.size()));
  ASSERT_TRUE(out.good()) << path;
}

// The table of a dump (entry point at offset 0, table from offset 32).
inline Bytes TableOfDump(std::string const& dump) {
  std::ifstream in(dump, std::ios::binary);
  Bytes bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (bytes.size() <= 32) return Bytes();
  return Bytes(bytes.begin() + 32, bytes.end());
}

}  // namespace survey::testing
