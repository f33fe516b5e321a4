#include "storage/bloom_filter.h"

#include <utility>

#include "refstore/table/bloom_filter_impl.h"

BloomFilter::BloomFilter(std::unique_ptr<const Impl> impl) : impl_(std::move(impl)) {}

BloomFilter::~BloomFilter() = default;

bool BloomFilter::Matches(const crfp_digest_t& fp) const {
    return impl_ != nullptr && refstore::BloomContains(impl_->bits.hashes, impl_->bits.words, fp);
}
