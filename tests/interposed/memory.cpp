#include "tests/interposed/memory.h"

#include <atomic>
#include <new>

#include "tests/interposed/next_definition.h"

namespace interposed {

namespace {

constinit thread_local std::size_t t_failures = 0;
constinit std::atomic<std::size_t> g_failingSize = 0;
constinit std::atomic<std::size_t> g_failures = 0;
// The sanitizer's operator where there is one, so that it still finds what is freed wrongly.
constinit NextDefinition<void*(std::size_t)> g_new("_Znwm");

bool IsToFail(std::size_t size) {
    if (t_failures > 0) {
        --t_failures;
        return true;
    }
    if (g_failures > 0 && size == g_failingSize) {
        --g_failures;
        return true;
    }
    return false;
}

}  // namespace

void FailNextAllocations(std::size_t count) {
    t_failures = count;
}

void FailAllocationsOfSize(std::size_t size, std::size_t count) {
    g_failingSize = size;
    g_failures = count;
}

std::size_t FailuresLeft() {
    return t_failures + g_failures;
}

}  // namespace interposed

void* operator new(std::size_t size) {
    if (interposed::IsToFail(size)) {
        throw std::bad_alloc();
    }
    return interposed::g_new(size);
}
