#include "tools/survey/memory.h"

#include <malloc.h>

#include <atomic>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace survey::command {

namespace {

// What the allocator holds, and the ceiling an allocation may not pass
// (the largest size: none). Plain atomics, constant-initialised, so that
// they are ready before any static constructor allocates.
std::atomic<std::size_t> gHeld{0};
std::atomic<std::size_t> gCeiling{static_cast<std::size_t>(-1)};
std::atomic<bool> gReached{false};

constexpr std::size_t kNoCeiling = static_cast<std::size_t>(-1);

// Memory for `size` bytes, aligned to `alignment` when it is more than
// malloc gives; null when the ceiling or the system refuses it.
void* Take(std::size_t size, std::size_t alignment) noexcept {
  if (size == 0) size = 1;
  std::size_t const ceiling = gCeiling.load(std::memory_order_relaxed);
  if (ceiling != kNoCeiling && gHeld.load(std::memory_order_relaxed) + size > ceiling) {
    // Once only: what runs after, to end the query, may allocate again.
    gCeiling.store(kNoCeiling, std::memory_order_relaxed);
    gReached.store(true, std::memory_order_relaxed);
    return nullptr;
  }
  void* block = nullptr;
  if (alignment <= alignof(std::max_align_t)) {
    block = std::malloc(size);
  } else if (posix_memalign(&block, alignment, size) != 0) {
    block = nullptr;
  }
  if (block != nullptr) gHeld.fetch_add(malloc_usable_size(block), std::memory_order_relaxed);
  return block;
}

void Give(void* block) noexcept {
  if (block == nullptr) return;
  gHeld.fetch_sub(malloc_usable_size(block), std::memory_order_relaxed);
  std::free(block);
}

void* TakeOrThrow(std::size_t size, std::size_t alignment) {
  void* const block = Take(size, alignment);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

std::size_t HeldBytes() { return gHeld.load(std::memory_order_relaxed); }

MemoryLimit::MemoryLimit(std::size_t budget) {
  gReached.store(false, std::memory_order_relaxed);
  if (budget == 0) return;
  std::size_t const held = HeldBytes();
  std::size_t const ceiling = held + budget < held ? kNoCeiling - 1 : held + budget;
  gCeiling.store(ceiling, std::memory_order_relaxed);
}

MemoryLimit::~MemoryLimit() { gCeiling.store(kNoCeiling, std::memory_order_relaxed); }

bool MemoryLimit::Reached() const { return gReached.load(std::memory_order_relaxed); }

std::optional<std::size_t> ParseSize(std::string const& text, std::string& problem) {
  std::size_t at = 0;
  unsigned long long number = 0;
  while (at < text.size() && std::isdigit(static_cast<unsigned char>(text[at]))) {
    unsigned const digit = static_cast<unsigned>(text[at] - '0');
    if (number > (~0ULL - digit) / 10) {
      problem = "is too large";
      return std::nullopt;
    }
    number = number * 10 + digit;
    ++at;
  }
  if (at == 0) {
    problem = "is not a size (a number of bytes, or with K, M or G)";
    return std::nullopt;
  }
  std::string suffix = text.substr(at);
  for (char& c : suffix) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  unsigned shift = 0;
  if (suffix == "" || suffix == "B") {
    shift = 0;
  } else if (suffix == "K" || suffix == "KIB" || suffix == "KB") {
    shift = 10;
  } else if (suffix == "M" || suffix == "MIB" || suffix == "MB") {
    shift = 20;
  } else if (suffix == "G" || suffix == "GIB" || suffix == "GB") {
    shift = 30;
  } else {
    problem = "is not a size (a number of bytes, or with K, M or G)";
    return std::nullopt;
  }
  if (shift != 0 && number > (static_cast<unsigned long long>(kNoCeiling - 1) >> shift)) {
    problem = "is too large";
    return std::nullopt;
  }
  unsigned long long const bytes = number << shift;
  if (bytes >= kNoCeiling) {
    problem = "is too large";
    return std::nullopt;
  }
  return static_cast<std::size_t>(bytes);
}

std::string SizeText(std::size_t bytes) {
  static constexpr char const* kUnits[] = {"GiB", "MiB", "KiB"};
  static constexpr unsigned kShifts[] = {30, 20, 10};
  char text[64];
  for (std::size_t k = 0; k < 3; ++k) {
    std::size_t const unit = std::size_t{1} << kShifts[k];
    if (bytes >= unit) {
      if (bytes % unit == 0) {
        std::snprintf(text, sizeof text, "%zu %s", bytes / unit, kUnits[k]);
      } else {
        std::snprintf(text, sizeof text, "%.1f %s", static_cast<double>(bytes) / unit, kUnits[k]);
      }
      return text;
    }
  }
  std::snprintf(text, sizeof text, "%zu bytes", bytes);
  return text;
}

}  // namespace survey::command

// The allocator's forms, all of them: memory one form hands out may be
// given back by another, so none is left to the runtime.
using survey::command::Give;
using survey::command::Take;
using survey::command::TakeOrThrow;

void* operator new(std::size_t size) { return TakeOrThrow(size, 0); }
void* operator new[](std::size_t size) { return TakeOrThrow(size, 0); }
void* operator new(std::size_t size, std::nothrow_t const&) noexcept { return Take(size, 0); }
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept { return Take(size, 0); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return TakeOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return TakeOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept {
  return Take(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept {
  return Take(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* block) noexcept { Give(block); }
void operator delete[](void* block) noexcept { Give(block); }
void operator delete(void* block, std::size_t) noexcept { Give(block); }
void operator delete[](void* block, std::size_t) noexcept { Give(block); }
void operator delete(void* block, std::nothrow_t const&) noexcept { Give(block); }
void operator delete[](void* block, std::nothrow_t const&) noexcept { Give(block); }
void operator delete(void* block, std::align_val_t) noexcept { Give(block); }
void operator delete[](void* block, std::align_val_t) noexcept { Give(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { Give(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { Give(block); }
void operator delete(void* block, std::align_val_t, std::nothrow_t const&) noexcept { Give(block); }
void operator delete[](void* block, std::align_val_t, std::nothrow_t const&) noexcept {
  Give(block);
}
