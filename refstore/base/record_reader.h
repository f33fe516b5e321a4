#pragma once

#include <flatbuffers/flatbuffers.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <type_traits>

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

/// Makes up for what the verifier leaves out: where a vector's elements lie. Elements that are not
/// aligned as their type wants are damage: SysException(EBADMSG). To be called before the elements
/// of any vector but one of bytes are looked at.
template <typename Element>
void RequireAligned(const EnvelopeKind& kind, const flatbuffers::Vector<Element>& vector,
                    const std::string& path) {
    constexpr std::size_t kAlignment = alignof(std::remove_pointer_t<Element>);
    // The builder does not align a vector without elements.
    if (vector.size() != 0 && reinterpret_cast<std::uintptr_t>(vector.Data()) % kAlignment != 0) {
        ThrowDamage(kind.what, path, "malformed record");
    }
}

}  // namespace refstore
