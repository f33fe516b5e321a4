#include "refstore/base/envelope_writer.h"

#include <cstring>
#include <stdexcept>
#include <string>

#include "refstore/base/checksum.h"
#include "refstore/base/little_endian.h"

namespace refstore {

namespace {

// More than the fixed parts and the padding of any record.
constexpr std::uint64_t kOverhead = 4096;

[[noreturn]] void ThrowTooLarge(const EnvelopeKind& kind, std::uint64_t bytes) {
    throw std::length_error(std::string(kind.what) + " of " + std::to_string(bytes) +
                            " bytes is larger than its format allows, " +
                            std::to_string(kind.maxPayload) + " bytes");
}

}  // namespace

void RequireFits(const EnvelopeKind& kind, std::uint64_t bytes) {
    if (bytes > kind.maxPayload - kOverhead) {
        ThrowTooLarge(kind, bytes);
    }
}

std::vector<std::byte> SealEnvelope(const EnvelopeKind& kind, std::span<const std::byte> payload) {
    if (payload.size() > kind.maxPayload) {
        ThrowTooLarge(kind, payload.size());
    }
    std::vector<std::byte> bytes(kEnvelopeHead + payload.size() + kEnvelopeSeal);
    const std::span<std::byte> all(bytes);
    std::memcpy(all.data(), kind.magic.data(), kind.magic.size());
    StoreLittle32(kind.version, all.subspan(8));
    StoreLittle64(payload.size(), all.subspan(16));
    if (!payload.empty()) {
        std::memcpy(all.subspan(kEnvelopeHead).data(), payload.data(), payload.size());
    }
    StoreLittle64(Checksum(all.first(all.size() - kEnvelopeSeal)), all.last(kEnvelopeSeal));
    return bytes;
}

}  // namespace refstore
