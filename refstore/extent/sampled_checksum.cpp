#include "refstore/extent/sampled_checksum.h"

namespace refstore {

std::uint64_t SampledChecksum(std::span<const std::byte> data) {
    constexpr std::size_t kStep = 1024;
    constexpr std::uint32_t kLow31Bits = 0x7fffffff;
    // Wrapping in 32 bits leaves the low 31 as they are in any wider arithmetic.
    std::uint32_t hash = 0;
    for (std::size_t at = 0; at < data.size(); at += kStep) {
        hash = hash * 31 + std::to_integer<std::uint32_t>(data[at]);
    }
    return hash & kLow31Bits;
}

}  // namespace refstore
