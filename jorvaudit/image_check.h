#pragma once

#include <string>
#include <vector>

#include "jorvaudit/report.h"
#include "jorvaudit/view_check.h"

namespace jorvaudit {

struct ImagesResult {
    Count count;
    std::vector<Finding> findings;
};

/// Has all container images of the share checked. The checker ends at the first image that is not
/// sound; the list is then cut, until every image was looked at.
/// @param view directory for a view. @param raw directory for the checker's streams of the first
/// run.
ImagesResult CheckImages(const ViewSettings& settings, double limitSeconds, const std::string& view,
                         const std::string& raw);

}  // namespace jorvaudit
