#include "tests/interposed/backtrace.h"

#include <execinfo.h>

#include <algorithm>
#include <atomic>
#include <vector>

#include "tests/interposed/next_definition.h"

namespace interposed {

namespace {

constinit std::atomic<bool> g_none = false;
constinit NextDefinition<int(void**, int)> g_backtrace("backtrace");

/// Frames that may lie between a caller of backtrace() and the C library's.
constexpr int kFramesBetween = 8;

}  // namespace

NoFrames::NoFrames() {
    g_none = true;
}

NoFrames::~NoFrames() {
    g_none = false;
}

}  // namespace interposed

extern "C" int backtrace(void** addresses, int size) {
    if (interposed::g_none) {
        return 0;
    }
    std::vector<void*> frames(static_cast<std::size_t>(size + interposed::kFramesBetween));
    frames.resize(static_cast<std::size_t>(
        interposed::g_backtrace(frames.data(), static_cast<int>(frames.size()))));
    // The frames begin with the caller's, as if this function were not there.
    auto first = std::find(frames.begin(), frames.end(), __builtin_return_address(0));
    if (first == frames.end()) {
        first = frames.begin();
    }
    const auto count = std::min<std::ptrdiff_t>(size, frames.end() - first);
    std::copy_n(first, count, addresses);
    return static_cast<int>(count);
}
