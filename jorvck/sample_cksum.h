#pragma once

#include <cstdint>
#include <span>

namespace Corvane::Kst::Marlow::JorvCk {

/// Sampled checksum of an extent's data: one byte in every 1024, the first included, hashed as
/// h = h * 31 + byte; the low 31 bits. A cheap check, not a CRC: what lies between the samples does
/// not take part. 0 for no data.
std::uint64_t ComputeSampleCksum(std::span<const unsigned char> data);

}  // namespace Corvane::Kst::Marlow::JorvCk
