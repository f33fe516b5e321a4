#include "bloom_filter.h"

#include <algorithm>
#include <string>

BloomFilter::BloomFilter(std::unique_ptr<const Impl> impl) : impl_(std::move(impl)) {}

BloomFilter::~BloomFilter() = default;

bool BloomFilter::Matches(const crfp_digest_t& fp) const {
    return std::find(impl_->fingerprints.begin(), impl_->fingerprints.end(), fp) !=
           impl_->fingerprints.end();
}

int CRFPDigestToString_r(const crfp_digest_t* digest, int format, char* out, std::size_t size) {
    constexpr int kHexFormat = 3;
    if (format != kHexFormat) {
        return -1;
    }
    std::string text;
    for (const std::uint8_t byte : digest->bytes) {
        text += "0123456789abcdef"[byte >> 4U];
        text += "0123456789abcdef"[byte & 15U];
    }
    if (size > 0) {
        text.resize(std::min(size - 1, text.size()));
        std::copy_n(text.c_str(), text.size() + 1, out);
    }
    return 0;
}
