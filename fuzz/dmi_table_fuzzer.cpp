// Fuzz target for the cutting of DMI tables and the reading back of the
// snapshot file. The first byte chooses the cut (bit 0: string blocks
// assumed on every structure); the rest is the table. The cut must agree
// with a plain reading of its rules, never reach past the table, and cover
// it exactly when it succeeds. The same bytes are then read as a snapshot
// file, whose contents table must lie within the file whatever its header
// claims.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "survey/dmi/dmi_table.h"

namespace {

bool UsesStrings(unsigned type) {
  static unsigned const kWithout[] = {5, 15, 16, 18, 19, 20, 21, 23, 24, 25, 27, 32, 33, 36, 127};
  for (unsigned const without : kWithout) {
    if (type == without) return false;
  }
  return true;
}

// The cut as a list of lengths, or nothing when a structure runs off.
bool PlainCut(std::uint8_t const* table, std::size_t size, bool assumeStrings,
              std::vector<std::size_t>& lengths) {
  std::size_t at = 0;
  while (at < size) {
    if (size - at < 2) return false;
    std::size_t const formatted = table[at + 1];
    std::size_t length = 0;
    if (!assumeStrings && !UsesStrings(table[at])) {
      if (at + formatted > size) return false;
      length = formatted;
      if (at + formatted + 2 <= size && table[at + formatted] == 0 &&
          table[at + formatted + 1] == 0) {
        length += 2;
      }
    } else {
      for (std::size_t i = at + formatted; i + 1 < size; ++i) {
        if (table[i] == 0 && table[i + 1] == 0) {
          length = i + 2 - at;
          break;
        }
      }
    }
    if (length == 0) return false;
    lengths.push_back(length);
    at += length;
  }
  return true;
}

struct Pieces {
  std::vector<std::size_t> offsets;
  std::vector<std::size_t> lengths;
};

void Collect(void* context, unsigned long offset, unsigned long length) {
  auto* const pieces = static_cast<Pieces*>(context);
  pieces->offsets.push_back(offset);
  pieces->lengths.push_back(length);
}

std::string ScratchFile() { return "/tmp/survey-dmi-fuzz-" + std::to_string(getpid()) + ".dmi"; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < 1) return 0;
  bool const assumeStrings = (data[0] & 1) != 0;
  // The table in a buffer of its own size, so that the sanitizer sees any
  // read past it.
  std::vector<std::uint8_t> const table(data + 1, data + size);
  Pieces pieces;
  bool const cut = CutDmiTable(table.data(), table.size(), assumeStrings, &Collect, &pieces);
  std::vector<std::size_t> expected;
  bool const plain = PlainCut(table.data(), table.size(), assumeStrings, expected);
  if (cut != plain) {
    std::fprintf(stderr, "cut %d, plain reading %d\n", cut, plain);
    std::abort();
  }
  std::size_t at = 0;
  for (std::size_t i = 0; i < pieces.lengths.size(); ++i) {
    if (pieces.offsets[i] != at || pieces.lengths[i] == 0 ||
        at + pieces.lengths[i] > table.size() ||
        (i < expected.size() && expected[i] != pieces.lengths[i])) {
      std::fprintf(stderr, "structure %zu at %zu of %zu bytes\n", i, pieces.offsets[i],
                   pieces.lengths[i]);
      std::abort();
    }
    at += pieces.lengths[i];
  }
  if (cut && (at != table.size() || pieces.lengths.size() != expected.size())) std::abort();

  // The same bytes as a snapshot file.
  std::string const path = ScratchFile();
  if (FILE* const file = std::fopen(path.c_str(), "wb")) {
    std::fwrite(data, 1, size, file);
    std::fclose(file);
    try {
      dmi_info* const info = LoadDmiSnapshot(FileLocation(path.c_str()));
      if (info != nullptr) {
        if (info->contentsCount != 0 &&
            (info->contents == nullptr ||
             std::uint64_t{info->contentsOffset} + 8ULL * info->contentsCount > size)) {
          std::abort();
        }
        delete info;
      }
    } catch (...) {
    }
    std::remove(path.c_str());
  }
  return 0;
}
