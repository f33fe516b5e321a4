#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace jorvshare {

/// Volume directories in the order of the table of volumes at `fstab`. Fails with ToolError.
std::vector<std::string> ReadVolumes(const std::string& fstab);

/// Largest number that the name of any file on the volumes begins with, 0 for none. Halves of
/// containers count, whatever subdirectory they lie in: their number must not be given out again.
/// A volume that is not there has none. Fails with ToolError.
std::uint64_t LargestDcid(const std::vector<std::string>& volumes);

}  // namespace jorvshare
