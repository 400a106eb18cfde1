// Physical memory and swap, read afresh from /proc/meminfo each time the
// world property is asked for: the world objects "ram" and "swap" and their
// amounts, in bytes.
//
// Kernels report in one of two kinds: an older table whose "Mem:" and
// "Swap:" lines give amounts in bytes, and a newer list of "MemTotal:",
// "MemFree:" and so on in kilobytes. The "ram" object reads either; the
// "swap" object reads the older kind only, so on a kernel of the newer kind
// there is no swap object.
#pragma once

#include <cstdio>

#include "survey/frame/adaptors.h"

// Amounts of physical memory in bytes, each -1 when the file does not tell.
struct SURVEY_API ram_info {
  static constexpr char const* TypeName() { return "ram"; }

  long long total;
  long long used;
  long long free;
  long long shared;
  long long buffered;
  long long cached;

  // Read from the memory file. FileIOError when it cannot be opened,
  // NoSuchObject when it has no usable line.
  ram_info();
  // The same, from an open file of that text, from where it stands.
  explicit ram_info(std::FILE* file);

 private:
  void Init(std::FILE* file);
};

// The width of a swap amount: a long, which is 32 bits in the 32-bit build
// (an amount of 2 GiB or more does not fit and is cut to the largest) and 64
// bits in the 64-bit build, which reports any swap right.
using swap_amount = long;

// Amounts of swap in bytes, each -1 when the file does not tell.
struct SURVEY_API swap_info {
  static constexpr char const* TypeName() { return "swap"; }

  swap_amount total;
  swap_amount used;
  swap_amount free;

  // Read from the memory file's last "Swap:" line. FileIOError when the file
  // cannot be opened, NoSuchObject when it has no such line.
  swap_info();
  explicit swap_info(std::FILE* file);

 private:
  void Init(std::FILE* file);
};

SURVEY_API ram_info Ram_of_world();
SURVEY_API integer Total_of_ram(ram_info const& ram);
SURVEY_API integer Used_of_ram(ram_info const& ram);
SURVEY_API integer Free_of_ram(ram_info const& ram);
SURVEY_API integer Shared_of_ram(ram_info const& ram);
SURVEY_API integer Buffered_of_ram(ram_info const& ram);
SURVEY_API integer Cached_of_ram(ram_info const& ram);
// Free, cached and buffered together.
SURVEY_API integer Available_of_ram(ram_info const& ram);
// Used, less cached and buffered.
SURVEY_API integer Unavailable_of_ram(ram_info const& ram);

SURVEY_API swap_info Swap_of_world();
SURVEY_API integer Total_of_swap(swap_info const& swap);
SURVEY_API integer Used_of_swap(swap_info const& swap);
SURVEY_API integer Free_of_swap(swap_info const& swap);

namespace survey::system::testing {

// Reads memory from a copy of `path` instead of "/proc/meminfo"; null restores the
// machine's own file, the only one used outside tests. Tests only: no query
// reaches it.
SURVEY_API void ReadMemoryFrom(char const* path);

}  // namespace survey::system::testing
