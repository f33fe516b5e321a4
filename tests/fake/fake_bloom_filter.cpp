#include "tests/fake/fake_bloom_filter.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "storage/fingerprint.h"
#include "tests/fake/script.h"

using storage_fake::Script;

namespace {

std::string Hex(const crfp_digest_t& digest) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : digest.bytes) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 15U];
    }
    return text;
}

}  // namespace

struct BloomFilter::Impl {
    std::vector<crfp_digest_t> fingerprints;
    storage_fake::LiveObject alive{"BloomFilter"};
};

BloomFilter::BloomFilter(std::unique_ptr<const Impl> impl) : impl_(std::move(impl)) {}

BloomFilter::~BloomFilter() {
    Script::Current().Note("BloomFilter::~BloomFilter");
}

bool BloomFilter::Matches(const crfp_digest_t& fp) const {
    Script::Current().Enter("BloomFilter::Matches " + Hex(fp));
    const auto& known = impl_->fingerprints;
    return std::find(known.begin(), known.end(), fp) != known.end();
}

int CRFPDigestToString_r(const crfp_digest_t* digest, int format, char* out, std::size_t size) {
    const bool cleared = std::all_of(out, out + size, [](char byte) { return byte == '\0'; });
    Script::Current().Enter("CRFPDigestToString_r " + std::to_string(format) + " " +
                            std::to_string(size) + (cleared ? " cleared" : " dirty"));
    if (size == 0) {
        return 0;
    }
    const std::string text = Hex(*digest);
    const std::size_t length = std::min(text.size(), size - 1);
    std::memcpy(out, text.data(), length);
    out[length] = '\0';
    return 0;
}

namespace storage_fake {

std::unique_ptr<BloomFilter> MakeBloomFilter(std::vector<crfp_digest_t> fingerprints) {
    auto impl = std::make_unique<BloomFilter::Impl>();
    impl->fingerprints = std::move(fingerprints);
    return std::make_unique<BloomFilter>(std::move(impl));
}

}  // namespace storage_fake
