#include "refstore/table/bloom_filter.h"

#include <xxhash.h>

#include <cstddef>
#include <utility>

namespace refstore {

namespace {

constexpr std::size_t kWordBits = 64;
// 7 hashes over 11 bits per fingerprint let 0.5 % pass: half of the promise, for the sake of the
// dependence between double hashes and of small sets.
constexpr std::size_t kBitsPerFingerprint = 11;
constexpr std::uint32_t kHashes = 7;

// Double hashing: position i is first + i * step, modulo the number of bits.
struct Positions {
    std::uint64_t first;
    std::uint64_t step;
};

Positions PositionsOf(const crfp_digest_t& fp) {
    const XXH128_hash_t hash = XXH3_128bits(fp.bytes.data(), fp.bytes.size());
    return {hash.low64, hash.high64 | 1U};
}

}  // namespace

BloomBits MakeBloomBits(std::span<const crfp_digest_t> fingerprints) {
    if (fingerprints.empty()) {
        return {};
    }
    const std::size_t bits = fingerprints.size() * kBitsPerFingerprint;
    BloomBits bloom{.hashes = kHashes,
                    .words = std::vector<std::uint64_t>((bits + kWordBits - 1) / kWordBits)};
    const std::uint64_t modulus = bloom.words.size() * kWordBits;
    for (const crfp_digest_t& fp : fingerprints) {
        Positions at = PositionsOf(fp);
        for (std::uint32_t i = 0; i < kHashes; ++i, at.first += at.step) {
            const std::uint64_t bit = at.first % modulus;
            bloom.words[bit / kWordBits] |= std::uint64_t{1} << (bit % kWordBits);
        }
    }
    return bloom;
}

bool BloomContains(const BloomBits& bits, const crfp_digest_t& fp) {
    if (bits.words.empty()) {
        return false;
    }
    const std::uint64_t modulus = bits.words.size() * kWordBits;
    Positions at = PositionsOf(fp);
    for (std::uint32_t i = 0; i < bits.hashes; ++i, at.first += at.step) {
        const std::uint64_t bit = at.first % modulus;
        if ((bits.words[bit / kWordBits] >> (bit % kWordBits) & 1U) == 0) {
            return false;
        }
    }
    return true;
}

}  // namespace refstore

BloomFilter::BloomFilter(std::unique_ptr<const Impl> impl) : impl_(std::move(impl)) {}

BloomFilter::~BloomFilter() = default;

bool BloomFilter::Matches(const crfp_digest_t& fp) const {
    return impl_ != nullptr && refstore::BloomContains(impl_->bits, fp);
}
