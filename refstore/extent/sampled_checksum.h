#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace refstore {

/// Checksum that packing records for an extent's data: every 1024th byte, from the first on, taken
/// as h = h * 31 + byte from h = 0; the low 31 bits of h. 0 for no data.
///
/// The checker has its own implementation of the same rule: one that both shared could not find a
/// fault in itself.
std::uint64_t SampledChecksum(std::span<const std::byte> data);

}  // namespace refstore
