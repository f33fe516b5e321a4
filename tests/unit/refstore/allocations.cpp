#include "tests/unit/refstore/allocations.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

namespace {

struct State {
    std::size_t count = 0;
    std::size_t largest = 0;
    // Allocations up to and with the one that fails; 0: none does.
    std::size_t untilFailure = 0;
};
thread_local State state;

void* AllocateOrNull(std::size_t size) noexcept {
    ++state.count;
    state.largest = std::max(state.largest, size);
    const bool fails = state.untilFailure > 0 && --state.untilFailure == 0;
    return fails ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* Allocate(std::size_t size) {
    void* const memory = AllocateOrNull(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

// Every form without an alignment: memory of a form left out would be freed here by another
// allocator's counterpart.
void* operator new(std::size_t size) {
    return Allocate(size);
}
void* operator new[](std::size_t size) {
    return Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return AllocateOrNull(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return AllocateOrNull(size);
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

namespace allocation_test {

std::size_t Count() {
    return state.count;
}

void FailAfter(std::size_t skipped) {
    state.untilFailure = skipped + 1;
}

bool StopFailing() {
    return std::exchange(state.untilFailure, 0) > 0;
}

std::size_t TakeLargest() {
    return std::exchange(state.largest, 0);
}

}  // namespace allocation_test
