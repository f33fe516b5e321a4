#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "storage/bloom_filter.h"

namespace refstore {

/// Bits of a bloom filter over fingerprints, sized for at most 1 % false positives.
struct BloomBits {
    std::uint32_t hashes = 0;  ///< bits set per fingerprint
    std::vector<std::uint64_t>
        words;  ///< bit i is bit i % 64 of word i / 64; empty: matches nothing
};

BloomBits MakeBloomBits(std::span<const crfp_digest_t> fingerprints);

/// False only when `fp` was certainly not among the fingerprints.
bool BloomContains(const BloomBits& bits, const crfp_digest_t& fp);

}  // namespace refstore

/// A filter owns its bits: it may outlive the table that handed it over.
struct BloomFilter::Impl {
    refstore::BloomBits bits;
};
