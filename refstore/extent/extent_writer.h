#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "refstore/extent/extent.h"

namespace refstore {

/// The bytes of an extent file, its extents in the given order. More than fit into one record
/// (about 26 million) throw std::length_error.
std::vector<std::byte> EncodeExtents(std::int64_t transId, std::span<const Extent> extents);

}  // namespace refstore
