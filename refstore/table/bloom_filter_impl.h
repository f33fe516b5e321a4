#pragma once

#include "refstore/table/bloom_bits.h"
#include "storage/bloom_filter.h"

/// A filter owns its bits: it may outlive the table that handed it over.
struct BloomFilter::Impl {
    refstore::BloomBits bits;
};
