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

// The array forms and the forms without exceptions come through these two.
void* operator new(std::size_t size) {
  if (failNext) {
    failNext = false;
    throw std::bad_alloc();
  }
  if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
