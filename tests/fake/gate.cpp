#include "tests/fake/gate.h"

#include <gtest/gtest.h>

#include <chrono>

namespace storage_fake {

namespace {

constexpr std::chrono::seconds kPatience{30};

}  // namespace

void Gate::Pass() {
    std::unique_lock lock(mutex_);
    ++reached_;
    changed_.notify_all();
    EXPECT_TRUE(changed_.wait_for(lock, kPatience, [this] { return open_; }))
        << "nobody opened the gate";
}

bool Gate::WaitUntilReached(std::size_t threads) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kPatience, [&] { return reached_ >= threads; });
}

void Gate::Open() {
    const std::scoped_lock lock(mutex_);
    open_ = true;
    changed_.notify_all();
}

}  // namespace storage_fake
