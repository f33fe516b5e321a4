#pragma once

#include <string>
#include <vector>

#include "jorvshare/site/root.h"
#include "jorvshare/site/site_layout.h"

namespace jorvshare {

/// Images that the list `vcopyFile` below `root` names, in its order; none when it is not there. A
/// group that is cut short ends the list.
std::vector<ImageName> ReadImageList(const Root& root, const std::string& vcopyFile);

}  // namespace jorvshare
