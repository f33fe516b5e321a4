#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "refstore/base/regular_file.h"

namespace refstore {

/// XXH3-64, seed 0: the checksum of every stored structure.
std::uint64_t Checksum(std::span<const std::byte> bytes);

/// The checksum of the first `length` bytes of a file. It is read in parts, so that a large file
/// takes no more memory than a small one. Fails as RegularFile.
std::uint64_t Checksum(const RegularFile& file, std::uint64_t length);

}  // namespace refstore
