#include "tests/support/failing_allocation.h"

#include <cstdlib>
#include <new>

namespace {

bool failNext = false;

}  // namespace

namespace survey::testing {

void FailNextAllocation() { failNext = true; }

bool AllocationFailurePending() { return failNext; }

}  // namespace survey::testing

namespace {

void* Allocate(std::size_t size) {
  if (failNext) {
    failNext = false;
    throw std::bad_alloc();
  }
  if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}

}  // namespace

// The single and array forms, with and without exceptions, are all
// replaced: a runtime that supplies its own (the address sanitizer's does)
// would otherwise serve one of them past the armed failure, or hand out
// memory that the deletes below do not own (std::stable_sort asks for its
// buffer without exceptions).
void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
  try {
    return Allocate(size);
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
  try {
    return Allocate(size);
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::nothrow_t const&) noexcept { std::free(memory); }
void operator delete[](void* memory, std::nothrow_t const&) noexcept { std::free(memory); }
