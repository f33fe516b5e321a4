#include "refstore/fingerprint.h"

#include <openssl/evp.h>

#include <cerrno>
#include <memory>

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
