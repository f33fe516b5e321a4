#pragma once

#include <cstddef>

/// Memory from operator new, which the program that this is linked into replaces: it is counted,
/// and can be made to fail with std::bad_alloc. What asks for an alignment of its own is left
/// alone.
namespace interposed {

/// Behind `skipped` that are made, the next `count` allocations of this thread fail. Takes the
/// place of an earlier call; a `count` of 0 takes it back.
void FailAllocations(std::size_t count, std::size_t skipped = 0);

/// The next `count` allocations of exactly `size` bytes fail, on any thread.
void FailAllocationsOfSize(std::size_t size, std::size_t count);

/// Allocations that are still to fail, of both kinds, as this thread sees them.
std::size_t FailuresLeft();

/// Allocations of this thread so far.
std::size_t AllocationCount();

/// Bytes of this thread's largest allocation since the last call.
std::size_t TakeLargestAllocation();

/// Bytes of all allocations of this thread since the last call, whether or not they were freed.
std::size_t TakeAllocatedBytes();

}  // namespace interposed
