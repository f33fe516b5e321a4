#pragma once

#include <flatbuffers/flatbuffers.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "refstore/base/envelope_writer.h"

namespace refstore {

/// Adds raw bytes as a vector of their own.
inline flatbuffers::Offset<flatbuffers::Vector<std::uint8_t>> AddBytes(
    flatbuffers::FlatBufferBuilder& builder, std::string_view bytes) {
    return builder.CreateVector(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

/// The bytes of a sealed envelope of `kind` around a finished record.
inline std::vector<std::byte> SealRecord(const EnvelopeKind& kind,
                                         const flatbuffers::FlatBufferBuilder& builder) {
    return SealEnvelope(kind,
                        std::as_bytes(std::span(builder.GetBufferPointer(), builder.GetSize())));
}

}  // namespace refstore
