#include "tests/interposed/memory.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <utility>

#include "tests/interposed/next_definition.h"

namespace interposed {

namespace {

struct ThreadState {
    std::size_t count = 0;
    std::size_t largest = 0;
    std::size_t bytes = 0;
    std::size_t skipped = 0;
    std::size_t failures = 0;
    bool isInside = false;  ///< of one form that calls another, which counts once
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

/// The next definition of one form of operator new.
template <typename... Tag>
class NextNew {
  public:
    constexpr explicit NextNew(const char* name) : next_(name) {}

    void* Allocate(std::size_t size, Tag... tag) {
        if (t_state.isInside) {
            return next_(size, tag...);
        }
        ++t_state.count;
        t_state.largest = std::max(t_state.largest, size);
        t_state.bytes += size;
        if (IsToFail(size)) {
            if constexpr (sizeof...(Tag) == 0) {
                throw std::bad_alloc();
            }
            return nullptr;
        }
        const Inside hold;
        return next_(size, tag...);
    }

  private:
    class Inside {
      public:
        Inside() { t_state.isInside = true; }
        ~Inside() { t_state.isInside = false; }
        Inside(const Inside&) = delete;
        Inside& operator=(const Inside&) = delete;
    };

    NextDefinition<void*(std::size_t, Tag...)> next_;
};

constinit NextNew<> g_new("_Znwm");
constinit NextNew<> g_newArray("_Znam");
constinit NextNew<const std::nothrow_t&> g_newOrNull("_ZnwmRKSt9nothrow_t");
constinit NextNew<const std::nothrow_t&> g_newArrayOrNull("_ZnamRKSt9nothrow_t");

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

// Each form goes on to the next definition of the same form, and those that free are left to it: an
// address sanitizer, which has definitions of its own, still sees memory that is freed by another
// form than it was allocated with.
void* operator new(std::size_t size) {
    return interposed::g_new.Allocate(size);
}
void* operator new[](std::size_t size) {
    return interposed::g_newArray.Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t& tag) noexcept {
    return interposed::g_newOrNull.Allocate(size, tag);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
    return interposed::g_newArrayOrNull.Allocate(size, tag);
}
