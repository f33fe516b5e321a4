#include "refstore/table/bloom_filter.h"

#include <gtest/gtest.h>

#include "tests/unit/refstore/table_sample.h"

namespace {

using refstore::BloomBits;
using refstore::BloomContains;
using table_test::NumberedFingerprint;

TEST(BloomBits, EveryMemberIsFound) {
    for (const std::uint64_t count : {1U, 2U, 5U, 6U, 100U, 10000U}) {
        std::vector<crfp_digest_t> members;
        for (std::uint64_t i = 0; i < count; ++i) {
            members.push_back(NumberedFingerprint(i));
        }
        const BloomBits bloom = refstore::MakeBloomBits(members);
        for (const crfp_digest_t& fp : members) {
            ASSERT_TRUE(BloomContains(bloom, fp));
        }
    }
}

TEST(BloomBits, AtMostOneInAHundredOthersPasses) {
    // Numbers from a million on are of others; the counts put full and nearly empty words to the
    // test.
    constexpr std::uint64_t kOthers = 100000;
    for (const std::uint64_t count : {1U, 2U, 5U, 6U, 11U, 12U, 64U, 100U, 1000U, 50000U}) {
        std::vector<crfp_digest_t> members;
        for (std::uint64_t i = 0; i < count; ++i) {
            members.push_back(NumberedFingerprint(i));
        }
        const BloomBits bloom = refstore::MakeBloomBits(members);
        std::uint64_t passed = 0;
        for (std::uint64_t i = 0; i < kOthers; ++i) {
            passed += BloomContains(bloom, NumberedFingerprint(1000000 + i));
        }
        RecordProperty("passed_of_" + std::to_string(count), static_cast<int>(passed));
        EXPECT_LE(passed * 100, kOthers) << count << " members";
    }
}

TEST(BloomBits, AnEmptyFilterMatchesNothing) {
    const BloomBits bloom = refstore::MakeBloomBits({});
    EXPECT_EQ(bloom.hashes, 0U);
    EXPECT_TRUE(bloom.words.empty());
    EXPECT_FALSE(BloomContains(bloom, NumberedFingerprint(0)));
    EXPECT_FALSE(BloomFilter(nullptr).Matches(NumberedFingerprint(0)));
    EXPECT_FALSE(BloomFilter(std::make_unique<BloomFilter::Impl>()).Matches({}));
}

TEST(BloomBits, OneMemberSetsTheseBits) {
    const std::vector<crfp_digest_t> members = {table_test::Fingerprint(32)};
    const BloomBits bloom = refstore::MakeBloomBits(members);
    EXPECT_EQ(bloom.hashes, 7U);
    EXPECT_EQ(bloom.words, std::vector<std::uint64_t>{0x4008002004801002});
}

}  // namespace
