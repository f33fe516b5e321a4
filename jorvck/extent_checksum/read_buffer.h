#pragma once

#include <cstddef>

namespace Corvane::Kst::Marlow::JorvCk {

/// Size of the buffer that storage units are read into, and so of the longest local extent.
inline constexpr std::size_t kReadBufferSize = 131072;

}  // namespace Corvane::Kst::Marlow::JorvCk
