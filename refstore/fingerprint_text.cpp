#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

#include "storage/fingerprint.h"

// Apart from the computing of fingerprints, so that a program that only prints them does not load
// the library of hash functions: for a run over few files that takes as long as the check.

int CRFPDigestToString_r(const crfp_digest_t* digest, int format, char* out, std::size_t size) {
    constexpr int kHexFormat = 3;
    constexpr std::string_view kDigits = "0123456789abcdef";
    if (size == 0) {
        return EINVAL;
    }
    if (format != kHexFormat) {
        *out = '\0';
        return EINVAL;
    }
    std::array<char, 64> text{};
    auto next = text.begin();
    for (const unsigned byte : digest->bytes) {
        *next++ = kDigits[byte >> 4U];
        *next++ = kDigits[byte & 15U];
    }
    const std::size_t length = std::min(text.size(), size - 1);
    *std::copy_n(text.begin(), length, out) = '\0';
    return length == text.size() ? 0 : ERANGE;
}
