#include "tests/interposed/memory.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

namespace interposed {

namespace {

struct ThreadState {
    std::size_t count = 0;
    std::size_t largest = 0;
    std::size_t bytes = 0;
    std::size_t skipped = 0;
    std::size_t failures = 0;
};

constinit thread_local ThreadState t_state;
constinit std::atomic<std::size_t> g_failingSize = 0;
constinit std::atomic<std::size_t> g_failures = 0;

bool IsToFail(std::size_t size) {
    if (t_state.failures > 0) {
        if (t_state.skipped == 0) {
            --t_state.failures;
            return true;
        }
        --t_state.skipped;
    }
    if (g_failures > 0 && size == g_failingSize) {
        --g_failures;
        return true;
    }
    return false;
}

void* AllocateOrNull(std::size_t size) noexcept {
    ++t_state.count;
    t_state.largest = std::max(t_state.largest, size);
    t_state.bytes += size;
    return IsToFail(size) ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* Allocate(std::size_t size) {
    void* const memory = AllocateOrNull(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

void FailAllocations(std::size_t count, std::size_t skipped) {
    t_state.failures = count;
    t_state.skipped = skipped;
}

void FailAllocationsOfSize(std::size_t size, std::size_t count) {
    g_failingSize = size;
    g_failures = count;
}

std::size_t FailuresLeft() {
    return t_state.failures + g_failures;
}

std::size_t AllocationCount() {
    return t_state.count;
}

std::size_t TakeLargestAllocation() {
    return std::exchange(t_state.largest, 0);
}

std::size_t TakeAllocatedBytes() {
    return std::exchange(t_state.bytes, 0);
}

}  // namespace interposed

// Every form without an alignment, those that free included, down to malloc and free: what one form
// allocates must never be freed by another allocator's. The forms that a program leaves out are the
// C++ library's, which come back here, or under an address sanitizer the sanitizer's own, which do
// not. A sanitizer watches malloc and free as well.
void* operator new(std::size_t size) {
    return interposed::Allocate(size);
}
void* operator new[](std::size_t size) {
    return interposed::Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return interposed::AllocateOrNull(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return interposed::AllocateOrNull(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
