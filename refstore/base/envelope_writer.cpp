#include "refstore/base/envelope_writer.h"

#include <xxhash.h>

#include <cstring>
#include <stdexcept>

#include "refstore/base/little_endian.h"

namespace refstore {

namespace {

// More than the fixed parts and the padding of any record.
constexpr std::uint64_t kOverhead = 4096;

}  // namespace

void RequireFits(std::uint64_t bytes) {
    if (bytes > kMaxPayload - kOverhead) {
        throw std::length_error("record is larger than its format allows");
    }
}

std::vector<std::byte> SealEnvelope(const EnvelopeKind& kind, std::span<const std::byte> payload) {
    if (payload.size() > kMaxPayload) {
        throw std::length_error("record is larger than its format allows");
    }
    std::vector<std::byte> bytes(kEnvelopeHead + payload.size() + kEnvelopeSeal);
    const std::span<std::byte> all(bytes);
    std::memcpy(all.data(), kind.magic.data(), kind.magic.size());
    StoreLittle32(kind.version, all.subspan(8));
    StoreLittle64(payload.size(), all.subspan(16));
    if (!payload.empty()) {
        std::memcpy(all.subspan(kEnvelopeHead).data(), payload.data(), payload.size());
    }
    const auto sealed = all.first(all.size() - kEnvelopeSeal);
    StoreLittle64(XXH3_64bits(sealed.data(), sealed.size()), all.last(kEnvelopeSeal));
    return bytes;
}

}  // namespace refstore
