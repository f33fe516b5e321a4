#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "refstore/base/envelope.h"

namespace refstore {

/// The bytes of a sealed envelope of `kind` around `payload`, at most kMaxPayload bytes. A larger
/// payload throws std::length_error.
std::vector<std::byte> SealEnvelope(const EnvelopeKind& kind, std::span<const std::byte> payload);

}  // namespace refstore
