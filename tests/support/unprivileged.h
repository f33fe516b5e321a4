#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

namespace test_support {

/// The effective user of the process becomes one without privileges while it lives, where it has
/// any: root passes every check.
class Unprivileged {
  public:
    Unprivileged() {
        if (::geteuid() == 0) {
            EXPECT_EQ(::seteuid(65534), 0);
        }
    }
    ~Unprivileged() {
        if (::getuid() == 0) {
            EXPECT_EQ(::seteuid(0), 0);
        }
    }
    Unprivileged(const Unprivileged&) = delete;
    Unprivileged& operator=(const Unprivileged&) = delete;
};

}  // namespace test_support
