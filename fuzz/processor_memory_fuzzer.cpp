// Fuzz target for the readers of the processor file (/proc/cpuinfo) and the
// memory file (/proc/meminfo). Any bytes, held in a heap block of exactly
// their size and read as a file through fmemopen, are read as the processor
// file for the blocks numbered 1 to 3 and as the memory file for memory and
// swap; every property of what was read is asked for. Each must give its
// value or "no such object", never anything else. A block that was read has
// the number asked for; a text property gives a text without NUL bytes and
// without leading blanks; available memory is free, cached and buffered
// together.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "survey/system/memory.h"
#include "survey/system/processor.h"

namespace {

[[noreturn]] void Fail(char const* what) {
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using MemoryFile = std::unique_ptr<std::FILE, FileCloser>;

MemoryFile Open(char* block, std::size_t size) {
  return MemoryFile(size == 0 ? nullptr : fmemopen(block, size, "r"));
}

// Asks for a property; "no such object" is an answer too.
template <class Get>
void Try(Get const& get) {
  try {
    get();
  } catch (NoSuchObject const&) {
  }
}

void CheckText(surveyor_string const& text) {
  if (text.data == nullptr && text.length != 0) Fail("text without bytes");
  if (text.length == 0) return;
  if (std::memchr(text.data, '\0', text.length) != nullptr) Fail("NUL inside a text");
  if (text.data[0] == ' ' || text.data[0] == '\t') Fail("leading blank");
}

void ReadProcessor(char* block, std::size_t size, long number) {
  MemoryFile const file = Open(block, size);
  if (file == nullptr) return;
  try {
    processor_info const info(file.get(), number);
    if (Number_of_processor(info).value != number) Fail("block of another number");
    Try([&] { Family_of_processor(info); });
    Try([&] { Model_of_processor(info); });
    Try([&] { Stepping_of_processor(info); });
    Try([&] { Cpuid_of_processor(info); });
    for (auto flag :
         {&FdivBug_of_processor, &HltBug_of_processor, &SepBug_of_processor, &F00fBug_of_processor,
          &ComaBug_of_processor, &Fpu_of_processor, &FpuException_of_processor, &Wp_of_processor}) {
      Try([&] {
        if (flag(info).value > 1) Fail("a boolean that is neither 0 nor 1");
      });
    }
    Try([&] { Speed_of_processor(info); });
    Try([&] { BogoMips_of_processor(info); });
    Try([&] { CheckText(Vendor_name_of_processor(info)); });
    Try([&] { CheckText(Model_name_of_processor(info)); });
    Try([&] { CheckText(Flags_of_processor(info)); });
    surveyor_string const name = Family_name_of_processor(info);
    if (name.data == nullptr) Fail("family name without text");
  } catch (NoSuchObject const&) {
  }
}

void ReadMemory(char* block, std::size_t size) {
  {
    MemoryFile const file = Open(block, size);
    if (file == nullptr) return;
    try {
      ram_info const ram(file.get());
      for (auto amount : {&Total_of_ram, &Used_of_ram, &Free_of_ram, &Shared_of_ram,
                          &Buffered_of_ram, &Cached_of_ram, &Unavailable_of_ram}) {
        Try([&] { amount(ram); });
      }
      Try([&] {
        long long const available = Available_of_ram(ram).value;
        unsigned long long const sum = static_cast<unsigned long long>(ram.free) +
                                       static_cast<unsigned long long>(ram.cached) +
                                       static_cast<unsigned long long>(ram.buffered);
        if (available != static_cast<long long>(sum)) Fail("available is not the sum");
      });
    } catch (NoSuchObject const&) {
    }
  }
  MemoryFile const file = Open(block, size);
  try {
    swap_info const swap(file.get());
    for (auto amount : {&Total_of_swap, &Used_of_swap, &Free_of_swap}) Try([&] { amount(swap); });
  } catch (NoSuchObject const&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::unique_ptr<char[]> const block(new char[size == 0 ? 1 : size]);
  if (size != 0) std::memcpy(block.get(), data, size);
  survey::host::Evaluation evaluation(survey::host::Registry::Default());
  survey::host::Evaluation::Scope scope(evaluation);
  for (long number = 1; number <= 3; ++number) ReadProcessor(block.get(), size, number);
  ReadMemory(block.get(), size);
  return 0;
}
