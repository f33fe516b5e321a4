#pragma once

#include <cstddef>

// Allocations of this thread by operator new, which this test program replaces.
namespace allocation_test {

/// How many there were so far.
std::size_t Count();

/// The next one but `skipped` throws std::bad_alloc, once.
void FailAfter(std::size_t skipped);

/// Takes back FailAfter. True when it was still to come.
bool StopFailing();

/// Bytes of the largest one since the last call.
std::size_t TakeLargest();

}  // namespace allocation_test
