#pragma once

#include <gtest/gtest.h>

#include <iostream>
#include <string>
#include <utility>

namespace test_support {

/// What was written to the standard streams during one call.
struct Captured {
    std::string out;
    std::string err;
};

/// Runs `call` and returns what it wrote. An exception out of it passes on, the text is then lost.
template <typename Call>
Captured Capture(Call&& call) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    try {
        std::forward<Call>(call)();
    } catch (...) {
        testing::internal::GetCapturedStdout();
        testing::internal::GetCapturedStderr();
        throw;
    }
    std::cout.flush();
    return {testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
}

}  // namespace test_support
