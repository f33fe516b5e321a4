#pragma once

#include <string>
#include <vector>

namespace jorvshare::damage {

/// Relative paths of all that is below `directory` and no directory, in the order in which a
/// recursive walk of the listings meets them: a directory's contents where it stands itself. Links
/// are not followed.
std::vector<std::string> FilesInWalkOrder(const std::string& directory);

}  // namespace jorvshare::damage
