#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "storage/exception.h"

namespace refstore_test {

/// What a call threw: the number and text of its SysException; 0 and no text when it threw none.
/// Any other exception is passed on and fails the test.
struct Failure {
    std::int32_t code = 0;
    std::string message;

    friend bool operator==(const Failure&, const Failure&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Failure& failure) {
        return out << failure.code << " \"" << failure.message << '"';
    }
};

template <typename Call>
Failure FailureOf(const Call& call) {
    try {
        call();
        return {};
    } catch (const Corvane::Kst::Marlow::Jorv::SysException& failure) {
        return {failure.GetErrorNumber(), failure.what()};
    }
}

}  // namespace refstore_test
