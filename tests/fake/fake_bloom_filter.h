#pragma once

#include <memory>
#include <vector>

#include "storage/bloom_filter.h"

namespace storage_fake {

/// A filter that matches exactly the given fingerprints.
std::unique_ptr<BloomFilter> MakeBloomFilter(std::vector<crfp_digest_t> fingerprints);

}  // namespace storage_fake
