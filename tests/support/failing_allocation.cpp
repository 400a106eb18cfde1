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

// Both the single and the array forms are replaced: a runtime that supplies
// its own (the address sanitizer's does) would otherwise serve one of them
// past the armed failure.
void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
