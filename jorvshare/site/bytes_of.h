#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace jorvshare {

/// The bytes of `text`, which has to outlive them.
inline std::span<const std::byte> BytesOf(const std::string& text) {
    return std::as_bytes(std::span(text));
}

}  // namespace jorvshare
