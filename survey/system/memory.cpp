#include "survey/system/memory.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>

#include "survey/foundation/file_errors.h"
#include "survey/frame/table.h"

namespace {

char const kMachineMemoryFile[] = "/proc/meminfo";

// The file that tests name in place of the machine's, kept as a copy; empty
// for the machine's own.
std::string& TestMemoryFile() {
  static std::string path;
  return path;
}

// Lines are read in pieces of at most this many bytes with the terminator.
constexpr int kLineBufferSize = 256;

char const kDigits[] = "0123456789";

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, FileCloser>;

OpenFile OpenMemoryFile() {
  std::string const& test = TestMemoryFile();
  OpenFile file(std::fopen(test.empty() ? kMachineMemoryFile : test.c_str(), "r"));
  if (file == nullptr) throw FileIOError();
  return file;
}

bool StartsWithKey(char const* line, char const* key) {
  return strncasecmp(line, key, std::strlen(key)) == 0;
}

// The next number of a line: found by skipping to the next digit, and read
// in decimal from there, a number too large for 64 bits as the largest.
// False when no digit is left; `cursor` is then at the line's end.
bool NextNumber(char const*& cursor, long long& number) {
  cursor += std::strcspn(cursor, kDigits);
  if (*cursor == '\0') return false;
  char* end = nullptr;
  number = std::strtoll(cursor, &end, 10);
  cursor = end;
  return true;
}

// The same, read as the C library reads a long.
bool NextLong(char const*& cursor, long& number) {
  cursor += std::strcspn(cursor, kDigits);
  if (*cursor == '\0') return false;
  char* end = nullptr;
  number = std::strtol(cursor, &end, 10);
  cursor = end;
  return true;
}

// An amount in kilobytes as bytes: shifted left by ten, with the bits that
// fall off the top lost.
long long Kilobytes(long long kilobytes) {
  return static_cast<long long>(static_cast<unsigned long long>(kilobytes) << 10);
}

// Sums and differences of amounts wrap at 64 bits rather than overflow.
long long Plus(long long left, long long right) {
  return static_cast<long long>(static_cast<unsigned long long>(left) +
                                static_cast<unsigned long long>(right));
}
long long Minus(long long left, long long right) {
  return static_cast<long long>(static_cast<unsigned long long>(left) -
                                static_cast<unsigned long long>(right));
}

integer Known(long long amount) {
  if (amount == -1) throw NoSuchObject();
  return integer{amount};
}

}  // namespace

// ---------------------------------------------------------------------------
// Physical memory.

ram_info::ram_info() {
  OpenFile const file = OpenMemoryFile();
  Init(file.get());
}

ram_info::ram_info(std::FILE* file) { Init(file); }

void ram_info::Init(std::FILE* file) {
  total = used = free = shared = buffered = cached = -1;
  // The first line of each key of the newer list counts.
  struct ListKey {
    char const* key;
    long long ram_info::*field;
  };
  static constexpr ListKey kListKeys[] = {
      {"memtotal:", &ram_info::total},
      {"memfree:", &ram_info::free},
      {"buffers:", &ram_info::buffered},
      {"cached:", &ram_info::cached},
  };
  bool seen[std::size(kListKeys)] = {};

  char line[kLineBufferSize];
  while (std::fgets(line, kLineBufferSize, file) != nullptr) {
    if (StartsWithKey(line, "mem:")) {
      // The older table: six amounts in bytes, and nothing more to do.
      long long ram_info::*const fields[] = {&ram_info::total,    &ram_info::used,
                                             &ram_info::free,     &ram_info::shared,
                                             &ram_info::buffered, &ram_info::cached};
      char const* cursor = line + 4;
      for (long long ram_info::*field : fields) {
        long long number;
        if (!NextNumber(cursor, number)) break;
        this->*field = number;
      }
      return;
    }
    for (std::size_t k = 0; k < std::size(kListKeys); ++k) {
      if (seen[k] || !StartsWithKey(line, kListKeys[k].key)) continue;
      seen[k] = true;
      char const* cursor = line + std::strlen(kListKeys[k].key);
      long long number;
      if (NextNumber(cursor, number)) this->*kListKeys[k].field = Kilobytes(number);
      break;
    }
  }
  if (total != -1 && free != -1) used = Minus(total, free);
  if (total == -1 && free == -1 && buffered == -1 && cached == -1) throw NoSuchObject();
}

ram_info Ram_of_world() { return ram_info(); }

integer Total_of_ram(ram_info const& ram) { return Known(ram.total); }
integer Used_of_ram(ram_info const& ram) { return Known(ram.used); }
integer Free_of_ram(ram_info const& ram) { return Known(ram.free); }
integer Shared_of_ram(ram_info const& ram) { return Known(ram.shared); }
integer Buffered_of_ram(ram_info const& ram) { return Known(ram.buffered); }
integer Cached_of_ram(ram_info const& ram) { return Known(ram.cached); }

integer Available_of_ram(ram_info const& ram) {
  if (ram.free == -1 || ram.cached == -1 || ram.buffered == -1) throw NoSuchObject();
  return integer{Plus(Plus(ram.free, ram.cached), ram.buffered)};
}

integer Unavailable_of_ram(ram_info const& ram) {
  if (ram.used == -1 || ram.cached == -1 || ram.buffered == -1) throw NoSuchObject();
  return integer{Minus(Minus(ram.used, ram.cached), ram.buffered)};
}

// ---------------------------------------------------------------------------
// Swap.

swap_info::swap_info() {
  OpenFile const file = OpenMemoryFile();
  Init(file.get());
}

swap_info::swap_info(std::FILE* file) { Init(file); }

void swap_info::Init(std::FILE* file) {
  total = used = free = -1;
  // "SwapTotal:" of the newer list does not start with "swap:", so only the
  // older table's line counts.
  bool found = false;
  char line[kLineBufferSize];
  while (std::fgets(line, kLineBufferSize, file) != nullptr) {
    if (!StartsWithKey(line, "swap:")) continue;
    // The last such line gives the amounts.
    found = true;
    total = used = free = -1;
    char const* cursor = line + 5;
    for (swap_amount swap_info::*field : {&swap_info::total, &swap_info::used, &swap_info::free}) {
      long number;
      if (!NextLong(cursor, number)) break;
      this->*field = number;
    }
  }
  if (!found) throw NoSuchObject();
}

swap_info Swap_of_world() { return swap_info(); }

integer Total_of_swap(swap_info const& swap) { return Known(swap.total); }
integer Used_of_swap(swap_info const& swap) { return Known(swap.used); }
integer Free_of_swap(swap_info const& swap) { return Known(swap.free); }

void survey::system::testing::ReadMemoryFrom(char const* path) {
  TestMemoryFile() = path != nullptr ? path : "";
}

// ---------------------------------------------------------------------------
// Registration, in table order. The world objects are read afresh at each
// evaluation; their amounts depend on the object alone.

namespace {

RegistrationTable table{
    TypeRow<ram_info>(),
    TypeRow<swap_info>(),
    PropertyRow("ram", "rams", &Ram_of_world),
    PropertyRow("random access memory", "random access memories", &Ram_of_world),
    PropertyRow("size", "sizes", &Total_of_ram, &DependsOnlyOnParameters),
    PropertyRow("total amount", "total amounts", &Total_of_ram, &DependsOnlyOnParameters),
    PropertyRow("used amount", "used amounts", &Used_of_ram, &DependsOnlyOnParameters),
    PropertyRow("free amount", "free amounts", &Free_of_ram, &DependsOnlyOnParameters),
    PropertyRow("shared amount", "shared amounts", &Shared_of_ram, &DependsOnlyOnParameters),
    PropertyRow("buffered amount", "buffered amounts", &Buffered_of_ram, &DependsOnlyOnParameters),
    PropertyRow("cached amount", "cached amounts", &Cached_of_ram, &DependsOnlyOnParameters),
    PropertyRow("available amount", "available amounts", &Available_of_ram,
                &DependsOnlyOnParameters),
    PropertyRow("unavailable amount", "unavailable amounts", &Unavailable_of_ram,
                &DependsOnlyOnParameters),
    PropertyRow("swap", "swaps", &Swap_of_world),
    PropertyRow("size", "sizes", &Total_of_swap, &DependsOnlyOnParameters),
    PropertyRow("total amount", "total amounts", &Total_of_swap, &DependsOnlyOnParameters),
    PropertyRow("used amount", "used amounts", &Used_of_swap, &DependsOnlyOnParameters),
    PropertyRow("free amount", "free amounts", &Free_of_swap, &DependsOnlyOnParameters),
};

}  // namespace
