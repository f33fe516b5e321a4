#pragma once

#include <string>
#include <vector>

namespace jorvshare::damage {

/// One name in a directory as the system hands it out.
struct ListedEntry {
    std::string name;
    unsigned char type = 0;  ///< the entry's d_type
};

/// Entries but "." and ".." in the file system's own order, which the checker's walks go by; none
/// when the directory cannot be opened, which `opened` tells. A link at `directory` is followed.
std::vector<ListedEntry> InListingOrder(const std::string& directory, bool* opened);

/// Relative paths of all that is below `directory` and no directory, in the order in which a
/// recursive walk of the listings meets them: a directory's contents where it stands itself. Links
/// are not followed.
std::vector<std::string> FilesInWalkOrder(const std::string& directory);

}  // namespace jorvshare::damage
