#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "refstore/base/envelope.h"

namespace refstore {

/// Throws std::length_error when a record of about `bytes` bytes cannot be kept in an envelope. To
/// be asked before a record is built: the builder does not check.
void RequireFits(std::uint64_t bytes);

/// The bytes of a sealed envelope of `kind` around `payload`, at most kMaxPayload bytes. A larger
/// payload throws std::length_error.
std::vector<std::byte> SealEnvelope(const EnvelopeKind& kind, std::span<const std::byte> payload);

}  // namespace refstore
