// Fuzz target for the reading of firmware entry points and of table dumps:
// the input is a dump (entry point at offset 0, the table where the entry
// point says). The entry point must agree with a plain reading of the
// layouts, and the whole acquisition from the dump must end, with or
// without a snapshot, without reading out of bounds.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "survey/dmi/dmi_table.h"

namespace {

bool SumsToZero(std::uint8_t const* bytes, std::size_t count) {
  unsigned sum = 0;
  for (std::size_t i = 0; i < count; ++i) sum += bytes[i];
  return (sum & 0xFF) == 0;
}

// Whether the entry point is well formed, by a plain reading of the three
// layouts.
bool PlainEntryPoint(std::uint8_t const* bytes, std::size_t size) {
  if (size >= 24 && std::memcmp(bytes, "_SM3_", 5) == 0) {
    return bytes[6] >= 24 && bytes[6] <= size && SumsToZero(bytes, bytes[6]);
  }
  if (size >= 31 && std::memcmp(bytes, "_SM_", 4) == 0) {
    return bytes[5] >= 30 && bytes[5] <= size && SumsToZero(bytes, bytes[5]) &&
           std::memcmp(bytes + 16, "_DMI_", 5) == 0 && SumsToZero(bytes + 16, 15);
  }
  if (size >= 15 && std::memcmp(bytes, "_DMI_", 5) == 0) return SumsToZero(bytes, 15);
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::vector<std::uint8_t> const bytes(data, data + size);
  std::size_t const entrySize = size < 32 ? size : 32;
  DmiEntryPoint entry;
  bool const read = ReadDmiEntryPoint(bytes.data(), entrySize, entry);
  if (read != PlainEntryPoint(bytes.data(), entrySize)) std::abort();

  std::string const dump = "/tmp/survey-dmi-dump-fuzz-" + std::to_string(getpid());
  std::string const output = dump + ".dmi";
  if (FILE* const file = std::fopen(dump.c_str(), "wb")) {
    std::fwrite(data, 1, size, file);
    std::fclose(file);
    char const* const device = dmiDevicePath;
    char const* const folder = dmiFirmwareFolder;
    dmiDevicePath = "";
    dmiFirmwareFolder = "";
    dmiDumpFile = dump.c_str();
    DmiEx(output.c_str());
    // A snapshot comes only from a well-formed entry point.
    if (FILE* const snapshot = std::fopen(output.c_str(), "rb")) {
      std::fclose(snapshot);
      if (!read) std::abort();
    }
    dmiDumpFile = nullptr;
    dmiDevicePath = device;
    dmiFirmwareFolder = folder;
    std::remove(output.c_str());
    std::remove(dump.c_str());
  }
  return 0;
}
