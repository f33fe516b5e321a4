#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "refstore/base/regular_file.h"
#include "refstore/extent/extent.h"

namespace refstore {

/// A loaded extent file: `extents` lies inside `file`, in stored order.
struct ExtentRecord {
    std::int64_t transId = 0;
    FileBytes file;
    std::span<const Extent> extents;
};

/// Reads the extent file at `path`; every failure is a SysException.
ExtentRecord LoadExtentRecord(const std::string& path);

}  // namespace refstore
