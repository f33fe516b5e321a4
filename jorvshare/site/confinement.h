#pragma once

#include <string>
#include <vector>

#include "jorvshare/site/site_layout.h"

namespace jorvshare {

/// What a run changes lies all within the site. A site that was copied still names the places of
/// the first one, and changing the copy would change that one. Fails with ToolError when the
/// configuration, or the table of volumes, which has `volumes`, names a place outside.
void RequireWithin(const SiteLayout& site, const std::vector<std::string>& volumes);

}  // namespace jorvshare
