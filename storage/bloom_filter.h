#pragma once

#include <memory>

#include "storage/fingerprint.h"

/// Bloom filter over the fingerprints of one mapping table's extents.
///
/// Handed over by CMappingTable::GetDcidList. The caller owns it and may keep it longer than the
/// table. Immutable, so any thread may call it.
class BloomFilter {
  public:
    /// Contents of the filter, defined by the storage library.
    struct Impl;

    /// Takes ownership of `impl`. For the storage library: the checker makes no filter.
    explicit BloomFilter(std::unique_ptr<const Impl> impl);
    ~BloomFilter();
    BloomFilter(const BloomFilter&) = delete;
    BloomFilter& operator=(const BloomFilter&) = delete;

    /// False only when `fp` is certainly not in the set. Does not fail.
    [[nodiscard]] bool Matches(const crfp_digest_t& fp) const;

  private:
    std::unique_ptr<const Impl> impl_;
};
