// Fuzz target for the reader of the mount table. The first byte says how
// long the blocks are in which the rest, the table, is handed over. Cut
// anywhere, the table must give the same mounts as in one block, each with
// a mount point free of blanks and line ends, and the reader of a table in a
// file must give them too.

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "survey/files/filesystems.h"

namespace {

struct Mount {
  std::string path;
  int type;
  bool operator==(Mount const& other) const = default;
};

std::vector<Mount> Scanned(std::string const& table, std::size_t block) {
  std::vector<MountPointEntry> entries;
  MountTableScanner scanner(entries);
  for (std::size_t at = 0; at < table.size(); at += block) {
    std::size_t const length = std::min(block, table.size() - at);
    // Each block in a heap copy of exactly its size, so that a read past it
    // is caught.
    std::unique_ptr<unsigned char[]> const copy(new unsigned char[length]);
    std::memcpy(copy.get(), table.data() + at, length);
    scanner.Scan(ConstData(copy.get(), length));
  }
  std::vector<Mount> mounts;
  for (MountPointEntry const& entry : entries) {
    mounts.push_back({std::string(entry.path.CString(), entry.path.GetLength()), entry.type});
  }
  return mounts;
}

[[noreturn]] void Fail(char const* what) {
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

char gScratchPath[] = "/tmp/mounts-fuzzer-XXXXXX";

void RemoveScratchTable() { unlink(gScratchPath); }

// A scratch file for the table, made once per process and removed at its
// end.
std::string const& ScratchTable() {
  static std::string const path = [] {
    int const descriptor = mkstemp(gScratchPath);
    if (descriptor < 0) Fail("cannot make a scratch file");
    close(descriptor);
    std::atexit(&RemoveScratchTable);
    return std::string(gScratchPath);
  }();
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0) return 0;
  std::size_t const block = data[0] == 0 ? 1 : data[0];
  std::string const table(reinterpret_cast<char const*>(data + 1), size - 1);
  std::vector<Mount> const whole = Scanned(table, table.size() == 0 ? 1 : table.size());
  if (Scanned(table, block) != whole) Fail("the mounts depend on where the table is cut");
  for (Mount const& mount : whole) {
    if (mount.path.empty()) Fail("a mount without a mount point");
    if (mount.path.find_first_of(" \t\r\n") != std::string::npos) Fail("a blank in a mount point");
    if (mount.type < MountPointEntry::kRemovable || mount.type > MountPointEntry::kCdRom) {
      Fail("a mount of no kind");
    }
  }
  // The same table read from a file, through the reading window.
  FILE* const out = std::fopen(ScratchTable().c_str(), "wb");
  if (out == nullptr) Fail("cannot write the scratch file");
  if (!table.empty()) std::fwrite(table.data(), 1, table.size(), out);
  std::fclose(out);
  std::vector<MountPointEntry> entries;
  MountedFilesystems(FileLocation(ScratchTable().c_str()), entries);
  if (entries.size() != whole.size()) Fail("the file gives other mounts");
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (std::string(entries[i].path.CString(), entries[i].path.GetLength()) != whole[i].path ||
        entries[i].type != whole[i].type) {
      Fail("the file gives other mounts");
    }
  }
  return 0;
}
