#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace refstore {

static_assert(std::endian::native == std::endian::little,
              "stored integers are little-endian and are read without conversion");

/// First 4 bytes of `bytes` as an unsigned little-endian number; at least 4 must be there.
inline std::uint32_t LoadLittle32(std::span<const std::byte> bytes) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.first<sizeof value>().data(), sizeof value);
    return value;
}

/// First 8 bytes of `bytes` as an unsigned little-endian number; at least 8 must be there.
inline std::uint64_t LoadLittle64(std::span<const std::byte> bytes) {
    std::uint64_t value = 0;
    std::memcpy(&value, bytes.first<sizeof value>().data(), sizeof value);
    return value;
}

/// Writes `value` little-endian into the first 4 bytes of `bytes`.
inline void StoreLittle32(std::uint32_t value, std::span<std::byte> bytes) {
    std::memcpy(bytes.first<sizeof value>().data(), &value, sizeof value);
}

/// Writes `value` little-endian into the first 8 bytes of `bytes`.
inline void StoreLittle64(std::uint64_t value, std::span<std::byte> bytes) {
    std::memcpy(bytes.first<sizeof value>().data(), &value, sizeof value);
}

}  // namespace refstore
