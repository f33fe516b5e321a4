#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "refstore/base/regular_file.h"

namespace refstore {

/// XXH3-64, seed 0: the checksum of every stored structure.
std::uint64_t Checksum(std::span<const std::byte> bytes);

/// The checksum of the first `length` bytes of a file, which is read in parts: takes little memory
/// whatever the length. Fails as RegularFile.
std::uint64_t Checksum(const RegularFile& file, std::uint64_t length);

}  // namespace refstore
