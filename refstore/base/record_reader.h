#pragma once

#include <flatbuffers/flatbuffers.h>

#include <span>
#include <string>

#include "refstore/base/envelope.h"
#include "refstore/base/errors.h"

namespace refstore {

/// The record of type `Root` that an opened envelope's payload holds; it lies inside `payload`.
/// A payload that its verifier refuses is damage: SysException(EBADMSG).
template <typename Root>
const Root& VerifiedRoot(const EnvelopeKind& kind, std::span<const std::byte> payload,
                         const std::string& path) {
    static_assert(kMaxPayload < FLATBUFFERS_MAX_BUFFER_SIZE, "the verifier asserts that");
    const auto* const data = reinterpret_cast<const std::uint8_t*>(payload.data());
    flatbuffers::Verifier verifier(data, payload.size());
    if (!verifier.VerifyBuffer<Root>(nullptr)) {
        ThrowDamage(kind.what, path, "malformed record");
    }
    return *flatbuffers::GetRoot<Root>(data);
}

}  // namespace refstore
