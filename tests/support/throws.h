#pragma once

#include <utility>

namespace test_support {

/// Whether `call` throws an E; another exception passes on. For calls whose output is captured:
/// what an assertion says inside of that is lost.
template <typename E, typename Call>
bool Throws(Call&& call) {
    try {
        std::forward<Call>(call)();
    } catch (const E&) {
        return true;
    }
    return false;
}

}  // namespace test_support
