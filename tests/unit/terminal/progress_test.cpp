#include "terminal/progress.h"

#include <gtest/gtest.h>

namespace {

using terminal::Progress;

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;

TEST(Progress, TheBarShowsPartRateAndTimeLeft) {
    Progress progress("packing", 100);
    EXPECT_EQ(progress.Bar(0), "packing [" + std::string(30, ' ') + "] 0%");
    progress.Advance(40, 24 * kMiB);
    EXPECT_EQ(progress.Bar(2), "packing [" + std::string(12, '#') + std::string(18, ' ') +
                                   "] 40%  12.0 MiB/s  0:03 left");
    progress.Advance(10, kMiB / 2);
    EXPECT_TRUE(progress.Bar(65).ends_with("] 50%  0.4 MiB/s  1:05 left"));
    EXPECT_TRUE(progress.Bar(7384).ends_with("  2:03:04 left"));
}

TEST(Progress, WithoutBytesThereIsNoRate) {
    Progress progress("p", 4);
    progress.Advance(1);
    EXPECT_TRUE(progress.Bar(1).ends_with("] 25%  0:03 left"));
}

TEST(Progress, MoreWorkThanWasForeseenStaysAtTheEnd) {
    Progress progress("p", 4);
    progress.Advance(9, 9);
    EXPECT_TRUE(progress.Bar(1).ends_with("] 100%  0.0 MiB/s  0:00 left"));
    Progress empty("p", 0);
    EXPECT_TRUE(empty.Bar(1).ends_with("] 100%"));
    Progress slow("p", UINT64_MAX);
    slow.Advance(1, 1);
    EXPECT_TRUE(slow.Bar(1e6).ends_with(" 999:00:00 left"));
}

}  // namespace
