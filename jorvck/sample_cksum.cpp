#include "jorvck/sample_cksum.h"

#include <cstddef>

namespace Corvane::Kst::Marlow::JorvCk {

std::uint64_t ComputeSampleCksum(std::span<const unsigned char> data) {
    constexpr std::size_t kStep = 1024;
    constexpr std::uint64_t kLow31Bits = 0x7FFFFFFF;
    std::uint64_t hash = 0;
    for (std::size_t position = 0; position < data.size(); position += kStep) {
        hash = hash * 31 + data[position];
    }
    return hash & kLow31Bits;
}

}  // namespace Corvane::Kst::Marlow::JorvCk
