#include "jorvck/sample_cksum.h"

#include <gtest/gtest.h>

#include <vector>

#include "jorvck/extnode_check.h"

namespace {

using Corvane::Kst::Marlow::JorvCk::ComputeSampleCksum;
using Corvane::Kst::Marlow::JorvCk::kReadBufferSize;

/// Samples 1, 2, 3, ... at 0, 1024, 2048, ..., and 0xEE everywhere between them.
std::vector<unsigned char> Counting(std::size_t size) {
    std::vector<unsigned char> data(size, 0xEE);
    for (std::size_t position = 0; position < size; position += 1024) {
        data[position] = static_cast<unsigned char>(position / 1024 + 1);
    }
    return data;
}

TEST(SampleCksum, OneByteInEvery1024IsHashedBase31) {
    EXPECT_EQ(ComputeSampleCksum(Counting(1)), 1U);
    EXPECT_EQ(ComputeSampleCksum(Counting(1024)), 1U);
    EXPECT_EQ(ComputeSampleCksum(Counting(1025)), 33U);
    EXPECT_EQ(ComputeSampleCksum(Counting(2048)), 33U);
    EXPECT_EQ(ComputeSampleCksum(Counting(2049)), 1026U);
    EXPECT_EQ(ComputeSampleCksum(Counting(3072)), 1026U);
    EXPECT_EQ(ComputeSampleCksum(Counting(3073)), 1026U * 31 + 4);
}

TEST(SampleCksum, BytesAreUnsigned) {
    EXPECT_EQ(ComputeSampleCksum(std::vector<unsigned char>(1, 0xFF)), 255U);
    EXPECT_EQ(ComputeSampleCksum(std::vector<unsigned char>(1025, 0xFF)), 8160U);
}

TEST(SampleCksum, OnlyTheLow31BitsOfAHashThatWrapsAreLeft) {
    const std::vector<unsigned char> whole(kReadBufferSize, 0xFF);
    EXPECT_EQ(whole.size(), 131072U);
    EXPECT_EQ(ComputeSampleCksum(whole), 265746432U);
    // 6 samples give 7543781280, the first hash of more than 31 bits.
    EXPECT_EQ(ComputeSampleCksum(std::span(whole).first(std::size_t{6} * 1024)), 1101330336U);
    for (std::size_t samples = 1; samples <= 128; ++samples) {
        std::uint32_t hash = 0;
        for (std::size_t i = 0; i < samples; ++i) {
            hash = hash * 31 + 0xFF;
        }
        EXPECT_EQ(ComputeSampleCksum(std::span(whole).first(samples * 1024)), hash & 0x7FFFFFFFU)
            << samples;
    }
}

TEST(SampleCksum, EverySampleTakesPartAndNoOtherByteDoes) {
    std::vector<unsigned char> data = Counting(4097);
    const std::uint64_t sound = ComputeSampleCksum(data);
    for (std::size_t position = 0; position < data.size(); ++position) {
        data[position] ^= 1U;
        EXPECT_EQ(ComputeSampleCksum(data) == sound, position % 1024 != 0) << position;
        data[position] ^= 1U;
    }
}

TEST(SampleCksum, NoDataGivesZero) {
    EXPECT_EQ(ComputeSampleCksum({}), 0U);
}

}  // namespace
