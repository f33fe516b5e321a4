#include "tests/interposed/clock.h"

#include <atomic>

#include "tests/interposed/next_definition.h"

namespace interposed {

namespace {

constinit std::atomic<bool> g_fixed = false;
constinit std::atomic<std::time_t> g_now = 0;
constinit NextDefinition<std::time_t(std::time_t*)> g_time("time");

}  // namespace

FixedTime::FixedTime(std::time_t now) {
    g_now = now;
    g_fixed = true;
}

FixedTime::~FixedTime() {
    g_fixed = false;
}

}  // namespace interposed

extern "C" std::time_t time(std::time_t* out) noexcept {
    if (!interposed::g_fixed) {
        return interposed::g_time(out);
    }
    if (out != nullptr) {
        *out = interposed::g_now;
    }
    return interposed::g_now;
}
