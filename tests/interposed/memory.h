#pragma once

#include <cstddef>

namespace interposed {

/// Makes operator new throw std::bad_alloc for a while. Single objects and texts only, not arrays.

/// The next `count` allocations of this thread fail.
void FailNextAllocations(std::size_t count);

/// The next `count` allocations of exactly `size` bytes fail, on whatever thread.
void FailAllocationsOfSize(std::size_t size, std::size_t count);

/// Allocations that are still to fail, of both kinds, as this thread sees them.
std::size_t FailuresLeft();

}  // namespace interposed
