#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace jorvshare {

/// Volume directories in the order of the table of volumes at `fstab`. Fails with ToolError.
std::vector<std::string> ReadVolumes(const std::string& fstab);

/// True when the volume directory is there, perhaps by a symbolic link. Fails with ToolError when
/// that cannot be told.
bool IsThere(const std::string& volume);

/// Largest DCID that the name of anything on the volumes is made of, 0 for none: "<dcid>.bin",
/// "<dcid>.bhd", and either with ".new" behind it, in whatever subdirectory, files and directories
/// alike. None of these must be given out again. Fails with ToolError, also when a volume is not
/// there: what it holds is then not known.
std::uint64_t LargestDcid(const std::vector<std::string>& volumes);

}  // namespace jorvshare
