// A failed allocation on demand, for tests that check that a surveyor lets
// a failed allocation go on rather than answering in its place.
//
// A test binary that uses this links tests/support/failing_allocation.cpp,
// which replaces the global operator new and operator delete.
#pragma once

namespace survey::testing {

// Makes the next allocation through operator new, and only that one, throw
// std::bad_alloc.
void FailNextAllocation();
// Whether an armed failure is still waiting for its allocation.
bool AllocationFailurePending();

}  // namespace survey::testing
