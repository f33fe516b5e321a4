#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "refstore/base/regular_file.h"
#include "refstore/extent/extent.h"

namespace jorvshare {

/// Reads the data of extents and holds it against their fingerprints. Failures are ToolErrors that
/// name the user file, and SysExceptions. One thread.
class ExtentData {
  public:
    /// @param containers paths of the containers' data by DCID.
    explicit ExtentData(std::map<std::uint64_t, std::string> containers);

    /// The next extents belong to the user file `relative`, whose storage unit is at `unitPath`.
    void BeginFile(std::string relative, std::string unitPath);

    /// Verified data of the extent, valid until the next call.
    std::span<const std::byte> Read(const refstore::Extent& extent);

  private:
    const refstore::RegularFile& Open(const refstore::Extent& extent);

    std::map<std::uint64_t, std::string> containers_;
    std::string relative_;
    std::string unitPath_;
    std::optional<refstore::RegularFile> unit_;
    // Only the container read last is held open: extents of one file mostly lie together.
    std::optional<refstore::RegularFile> container_;
    std::uint64_t containerDcid_ = 0;
    std::vector<std::byte> buffer_;
};

}  // namespace jorvshare
