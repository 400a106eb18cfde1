// Memory images, firmware folders and table dumps built by the tests, the
// snapshot file read back, and what dmidecode prints of a dump.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "survey/dmi/dmi_table.h"
#include "tests/support/shell.h"
#include "tests/unit/system/machine_answers.h"

namespace survey::dmi::testing {

using Bytes = std::vector<unsigned char>;

inline Bytes ReadBytes(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteBytes(std::string const& path, Bytes const& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<char const*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  out.close();
  ASSERT_TRUE(out.good()) << path;
}

inline bool Exists(std::string const& path) { return std::ifstream(path).good(); }

inline void PutLE16(Bytes& bytes, std::size_t at, unsigned value) {
  bytes[at] = static_cast<unsigned char>(value);
  bytes[at + 1] = static_cast<unsigned char>(value >> 8);
}

inline void PutLE32(Bytes& bytes, std::size_t at, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<unsigned char>(value >> (8 * i));
}

inline unsigned LE16(Bytes const& bytes, std::size_t at) {
  return bytes[at] | (unsigned{bytes[at + 1]} << 8);
}

inline std::uint32_t LE32(Bytes const& bytes, std::size_t at) {
  return LE16(bytes, at) | (std::uint32_t{LE16(bytes, at + 2)} << 16);
}

// Sets the byte at `sumAt` so that `count` bytes from `from` add up to 0
// modulo 256 (or to 1, for a bad sum).
inline void FixSum(Bytes& bytes, std::size_t from, std::size_t count, std::size_t sumAt,
                   bool good = true) {
  bytes[sumAt] = 0;
  unsigned sum = 0;
  for (std::size_t i = 0; i < count; ++i) sum += bytes[from + i];
  bytes[sumAt] = static_cast<unsigned char>(-sum + (good ? 0 : 1));
}

// A structure: type, length byte, handle, the rest of the formatted area,
// and its string block (a double NUL without strings).
inline Bytes Structure(unsigned type, unsigned handle, Bytes const& body,
                       std::vector<std::string> const& strings = {}) {
  Bytes bytes{static_cast<unsigned char>(type), static_cast<unsigned char>(4 + body.size()), 0, 0};
  PutLE16(bytes, 2, handle);
  bytes.insert(bytes.end(), body.begin(), body.end());
  for (std::string const& text : strings) {
    bytes.insert(bytes.end(), text.begin(), text.end());
    bytes.push_back(0);
  }
  if (strings.empty()) bytes.push_back(0);
  bytes.push_back(0);
  return bytes;
}

inline Bytes Joined(std::vector<Bytes> const& parts) {
  Bytes all;
  for (Bytes const& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// A 1 MiB image of the first megabyte of physical memory.
struct MemoryImage {
  Bytes bytes = Bytes(0x100000, 0);

  void Put(std::uint32_t address, Bytes const& data) {
    std::copy(data.begin(), data.end(), bytes.begin() + address);
  }

  // A "_DMI_" anchor at `at` for a table at `address` of `length` bytes.
  void Anchor(std::uint32_t at, std::uint32_t address, unsigned length,
              unsigned char revision = 0x27, bool goodSum = true, char fifth = '_',
              unsigned count = 0) {
    bytes[at] = '_';
    bytes[at + 1] = 'D';
    bytes[at + 2] = 'M';
    bytes[at + 3] = 'I';
    bytes[at + 4] = static_cast<unsigned char>(fifth);
    PutLE16(bytes, at + 6, length);
    PutLE32(bytes, at + 8, address);
    PutLE16(bytes, at + 12, count);
    bytes[at + 14] = revision;
    FixSum(bytes, at, 15, at + 5, goodSum);
  }
};

// The structures of the snapshot file, in table order.
struct SnapshotStructure {
  unsigned type = 0;
  unsigned instance = 0;
  Bytes bytes;
};

struct Snapshot {
  bool present = false;
  Bytes file;
  std::unique_ptr<dmi_info> info;
  std::vector<SnapshotStructure> structures;  // in table order
};

// Reads the snapshot at `path` through the library's reader, and each
// structure's bytes from the file at the entry's offset.
inline Snapshot ReadSnapshot(std::string const& path) {
  Snapshot snapshot;
  snapshot.present = Exists(path);
  if (!snapshot.present) return snapshot;
  snapshot.file = ReadBytes(path);
  snapshot.info.reset(LoadDmiSnapshot(FileLocation(path.c_str())));
  if (snapshot.info == nullptr || snapshot.info->contents == nullptr) return snapshot;
  for (std::uint32_t i = snapshot.info->contentsCount; i-- > 0;) {
    DmiContentsEntry const& entry = snapshot.info->contents[i];
    SnapshotStructure structure;
    structure.type = entry.type;
    structure.instance = entry.instance;
    if (entry.offset + std::size_t{entry.length} <= snapshot.file.size()) {
      structure.bytes.assign(snapshot.file.begin() + entry.offset,
                             snapshot.file.begin() + entry.offset + entry.length);
    }
    snapshot.structures.push_back(std::move(structure));
  }
  return snapshot;
}

// Points the library's sources at the test's own files for the life of the
// object, and back afterwards.
class Sources {
 public:
  Sources() : device_(dmiDevicePath), folder_(dmiFirmwareFolder), dump_(dmiDumpFile) {
    dmiDevicePath = "";
    dmiFirmwareFolder = "";
    dmiDumpFile = nullptr;
  }
  ~Sources() {
    dmiDevicePath = device_;
    dmiFirmwareFolder = folder_;
    dmiDumpFile = dump_;
  }
  Sources(Sources const&) = delete;
  Sources& operator=(Sources const&) = delete;

  void Device(std::string const& path) { Keep(path, dmiDevicePath); }
  void Folder(std::string const& path) { Keep(path, dmiFirmwareFolder); }
  void Dump(std::string const& path) { Keep(path, dmiDumpFile); }

 private:
  void Keep(std::string const& path, char const*& pointer) {
    texts_.push_back(std::make_unique<std::string>(path));
    pointer = texts_.back()->c_str();
  }

  char const* device_;
  char const* folder_;
  char const* dump_;
  std::vector<std::unique_ptr<std::string>> texts_;
};

// One structure as dmidecode -u prints it.
struct PrintedStructure {
  unsigned handle = 0;
  unsigned type = 0;
  unsigned length = 0;
  Bytes data;                  // "Header and Data"
  std::vector<Bytes> strings;  // "Strings", each with its NUL
};

struct Printed {
  unsigned major = 0;
  unsigned minor = 0;
  bool broken = false;  // dmidecode stopped short of the table's end
  std::vector<PrintedStructure> structures;
};

inline bool HexLine(std::string const& line, Bytes& out) {
  std::istringstream words(line);
  std::string word;
  Bytes bytes;
  while (words >> word) {
    if (word.size() != 2 || !std::isxdigit(static_cast<unsigned char>(word[0])) ||
        !std::isxdigit(static_cast<unsigned char>(word[1]))) {
      return false;
    }
    bytes.push_back(static_cast<unsigned char>(std::stoul(word, nullptr, 16)));
  }
  out.insert(out.end(), bytes.begin(), bytes.end());
  return !bytes.empty();
}

// What `dmidecode -u --from-dump` prints of the dump at `path`.
inline Printed PrintedByDmidecode(std::string const& path) {
  Printed printed;
  std::istringstream lines(survey::testing::Output("dmidecode -u --from-dump '" + path + "' 2>&1"));
  std::string line;
  PrintedStructure* current = nullptr;
  enum { kNone, kData, kStrings } section = kNone;
  Bytes pending;
  while (std::getline(lines, line)) {
    unsigned handle = 0, type = 0, length = 0, major = 0, minor = 0;
    if (std::sscanf(line.c_str(), "SMBIOS %u.%u", &major, &minor) == 2) {
      printed.major = major;
      printed.minor = minor;
    }
    if (line.find("broken") != std::string::npos) printed.broken = true;
    if (std::sscanf(line.c_str(), "Handle 0x%x, DMI type %u, %u bytes", &handle, &type, &length) ==
        3) {
      printed.structures.emplace_back();
      current = &printed.structures.back();
      current->handle = handle;
      current->type = type;
      current->length = length;
      section = kNone;
      continue;
    }
    if (current == nullptr) continue;
    if (line == "\tHeader and Data:") {
      section = kData;
      continue;
    }
    if (line == "\tStrings:") {
      section = kStrings;
      pending.clear();
      continue;
    }
    if (line.rfind("\t\t", 0) != 0) {
      section = kNone;
      continue;
    }
    if (section == kData) {
      HexLine(line, current->data);
    } else if (section == kStrings) {
      // A string's bytes end in 00; the line after them is its text.
      if (!pending.empty() && pending.back() == 0) {
        pending.clear();
        continue;
      }
      HexLine(line, pending);
      if (!pending.empty() && pending.back() == 0) current->strings.push_back(pending);
    }
  }
  return printed;
}

// The bytes of a printed structure as they stand in the table.
inline Bytes TableBytes(PrintedStructure const& structure) {
  Bytes bytes = structure.data;
  for (Bytes const& text : structure.strings) bytes.insert(bytes.end(), text.begin(), text.end());
  if (structure.strings.empty()) bytes.push_back(0);
  bytes.push_back(0);
  return bytes;
}

}  // namespace survey::dmi::testing
