#pragma once

#include <vector>

#include "storage/bloom_filter.h"

/// The fingerprints themselves: a filter that is never wrong.
struct BloomFilter::Impl {
    std::vector<crfp_digest_t> fingerprints;
};
