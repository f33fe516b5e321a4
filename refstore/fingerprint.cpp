#include "refstore/fingerprint.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <string_view>

#include "storage/exception.h"

namespace refstore {

namespace {

using Corvane::Kst::Marlow::Jorv::SysException;

struct FreeMethod {
    void operator()(EVP_MD* method) const { EVP_MD_free(method); }
};

// Fetched once: looking the method up costs more than hashing a small piece of data.
const EVP_MD* Sha256() {
    static const std::unique_ptr<EVP_MD, FreeMethod> method(
        EVP_MD_fetch(nullptr, "SHA256", nullptr));
    return method.get();
}

}  // namespace

crfp_digest_t Fingerprint(std::span<const std::byte> data) {
    crfp_digest_t digest{};
    const EVP_MD* const method = Sha256();
    if (method == nullptr ||
        EVP_Digest(data.data(), data.size(), digest.bytes.data(), nullptr, method, nullptr) != 1) {
        throw SysException(ENOSYS, {}, "SHA-256 is not available (errno 38)");
    }
    return digest;
}

}  // namespace refstore

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
