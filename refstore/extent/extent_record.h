#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "refstore/base/envelope.h"
#include "refstore/extent/extent.h"

namespace refstore {

/// The envelope that an extent file is kept in. It has room for about 26 million extents.
inline constexpr EnvelopeKind kExtentFileKind{"JORVEXTF", 1, "extent file"};

/// A loaded extent file: `extents` lies inside `file`, in stored order.
struct ExtentRecord {
    std::int64_t transId = 0;
    FileBytes file;
    std::span<const Extent> extents;
};

/// Reads the extent file at `path`; every failure is a SysException.
ExtentRecord LoadExtentRecord(const std::string& path);

/// The bytes of an extent file, its extents in the given order. Defined in the library of writers.
/// More than fit throw std::length_error.
std::vector<std::byte> EncodeExtents(std::int64_t transId, std::span<const Extent> extents);

}  // namespace refstore
