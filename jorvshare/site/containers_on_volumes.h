#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace jorvshare {

/// Volume directories in the order of the table of volumes at `fstab`. Fails with ToolError.
std::vector<std::string> ReadVolumes(const std::string& fstab);

/// Paths of the data of all containers below the volume directories, by DCID, whatever
/// subdirectory they lie in; symbolic links are not followed. Of two with one DCID the first is
/// kept. A volume that is not there has none. Fails with ToolError.
std::map<std::uint64_t, std::string> FindContainers(const std::vector<std::string>& volumes);

/// Largest number that the name of any file on the volumes begins with, 0 for none. Halves of
/// containers count: their number must not be given out again.
std::uint64_t LargestDcid(const std::vector<std::string>& volumes);

}  // namespace jorvshare
