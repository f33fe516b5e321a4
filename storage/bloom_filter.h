#pragma once

#include <memory>

#include "storage/fingerprint.h"

/// Bloom filter over the fingerprints of one mapping table's extents.
///
/// Handed over by CMappingTable::GetDcidList; the caller owns it and may keep it longer than the
/// table. Immutable, so any thread may ask it.
class BloomFilter {
  public:
    /// The filter's contents, defined by the storage library alone.
    struct Impl;

    explicit BloomFilter(std::unique_ptr<const Impl> impl);
    ~BloomFilter();
    BloomFilter(const BloomFilter&) = delete;
    BloomFilter& operator=(const BloomFilter&) = delete;

    /// False only when `fp` is certainly not in the set. Does not fail.
    [[nodiscard]] bool Matches(const crfp_digest_t& fp) const;

  private:
    std::unique_ptr<const Impl> impl_;
};
