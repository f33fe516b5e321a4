#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "refstore/base/regular_file.h"
#include "refstore/container/container_reader.h"
#include "refstore/extent/extent.h"

namespace jorvshare {

/// Reads the data of extents and holds it against their fingerprints. Every failure is a ToolError
/// that names the user file. One thread.
class ExtentData {
  public:
    /// @param containers outlives this object.
    explicit ExtentData(refstore::ContainerReader* containers) : containers_(containers) {}

    /// The next extents belong to the user file `relative`, whose storage unit is at `unitPath`.
    void BeginFile(std::string relative, std::string unitPath);

    /// Verified data of the extent.
    std::vector<std::byte> Read(const refstore::Extent& extent);

  private:
    std::vector<std::byte> ReadUnit(const refstore::Extent& extent);

    refstore::ContainerReader* containers_;
    std::string relative_;
    std::string unitPath_;
    std::optional<refstore::RegularFile> unit_;
};

}  // namespace jorvshare
