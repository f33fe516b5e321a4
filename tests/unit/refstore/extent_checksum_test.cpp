#include <gtest/gtest.h>

#include <vector>

#include "refstore/extent/sampled_checksum.h"

namespace {

using refstore::SampledChecksum;

TEST(SampledChecksum, NoDataHasZero) {
    EXPECT_EQ(SampledChecksum({}), 0U);
}

TEST(SampledChecksum, OneByteOfEachKibibyteIsTaken) {
    std::vector<std::byte> data(2049, std::byte{0xaa});
    data[0] = std::byte{1};
    data[1024] = std::byte{2};
    data[2048] = std::byte{3};
    const std::span<const std::byte> all(data);
    EXPECT_EQ(SampledChecksum(all), 1026U);
    EXPECT_EQ(SampledChecksum(all.first(2048)), 33U);
    EXPECT_EQ(SampledChecksum(all.first(1025)), 33U);
    EXPECT_EQ(SampledChecksum(all.first(1024)), 1U);
    EXPECT_EQ(SampledChecksum(all.first(1)), 1U);
}

TEST(SampledChecksum, BytesAreUnsignedAndTheLow31BitsKept) {
    const std::vector<std::byte> data(131072, std::byte{0xff});
    EXPECT_EQ(SampledChecksum(std::span(data).first(1025)), 8160U);
    EXPECT_EQ(SampledChecksum(data), 265746432U);
}

}  // namespace
