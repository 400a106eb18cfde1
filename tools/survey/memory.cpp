#include "tools/survey/memory.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace survey::command {

namespace {

constexpr std::size_t kNoCeiling = static_cast<std::size_t>(-1);

// Where the count of held bytes starts when a bound is set: far from both
// ends, so that blocks taken before and given back under the bound take the
// count below its start without passing zero. Only the difference to the
// start matters.
constexpr std::size_t kCountStart = std::size_t{1} << (sizeof(std::size_t) * 8 - 2);

// What the allocator holds since the bound was set, counted from
// kCountStart, and the ceiling an allocation may not pass (the largest
// size: none, and then nothing is counted). Plain atomics,
// constant-initialised, so that they are ready before any static
// constructor allocates.
std::atomic<std::size_t> gHeld{kCountStart};
std::atomic<std::size_t> gCeiling{kNoCeiling};
std::atomic<bool> gReached{false};

// Memory for `size` bytes, aligned to `alignment` when it is more than
// malloc gives; null when the ceiling or the system refuses it.
inline void* Take(std::size_t size, std::size_t alignment) noexcept {
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
  if (ceiling != kNoCeiling && block != nullptr) {
    gHeld.fetch_add(malloc_usable_size(block), std::memory_order_relaxed);
  }
  return block;
}

inline void Give(void* block) noexcept {
  if (block == nullptr) return;
  if (gCeiling.load(std::memory_order_relaxed) != kNoCeiling) {
    gHeld.fetch_sub(malloc_usable_size(block), std::memory_order_relaxed);
  }
  std::free(block);
}

inline void* TakeOrThrow(std::size_t size, std::size_t alignment) {
  void* const block = Take(size, alignment);
  if (block == nullptr) [[unlikely]] throw std::bad_alloc();
  return block;
}

}  // namespace

MemoryLimit::MemoryLimit(std::size_t budget) {
  gReached.store(false, std::memory_order_relaxed);
  if (budget == 0) return;
  // Counting starts here: what was taken before and is given back now
  // lowers the count, as it lowers what the process holds.
  gHeld.store(kCountStart, std::memory_order_relaxed);
  std::size_t const ceiling =
      budget >= kNoCeiling - kCountStart ? kNoCeiling - 1 : kCountStart + budget;
  gCeiling.store(ceiling, std::memory_order_relaxed);
}

MemoryLimit::~MemoryLimit() { gCeiling.store(kNoCeiling, std::memory_order_relaxed); }

bool MemoryLimit::Reached() const { return gReached.load(std::memory_order_relaxed); }

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
