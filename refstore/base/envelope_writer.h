#pragma once

#include <flatbuffers/flatbuffers.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "refstore/base/envelope.h"

namespace refstore {

/// Throws std::length_error when a record of `kind` with about `bytes` bytes of data is larger than
/// its format allows. To be asked before a record is built: the builder does not check.
void RequireFits(const EnvelopeKind& kind, std::uint64_t bytes);

/// The bytes of a sealed envelope of `kind` around `payload`. A payload above the kind's largest
/// one throws std::length_error.
std::vector<std::byte> SealEnvelope(const EnvelopeKind& kind, std::span<const std::byte> payload);

/// The bytes of a sealed envelope of `kind` around a finished record.
inline std::vector<std::byte> SealRecord(const EnvelopeKind& kind,
                                         const flatbuffers::FlatBufferBuilder& builder) {
    return SealEnvelope(kind,
                        std::as_bytes(std::span(builder.GetBufferPointer(), builder.GetSize())));
}

/// Adds raw bytes as a vector of their own.
inline flatbuffers::Offset<flatbuffers::Vector<std::uint8_t>> AddBytes(
    flatbuffers::FlatBufferBuilder& builder, std::string_view bytes) {
    return builder.CreateVector(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace refstore
