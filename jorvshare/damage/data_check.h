#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "jorvshare/damage/report.h"
#include "jorvshare/damage/scene.h"

namespace jorvshare::damage {

/// All lines that the file data check prints on standard error for the share as it is on disk now.
/// One container that goes missing can show in many files, and which containers are found before a
/// walk of a volume is cut short depends on the order of its listing: so the check is gone through
/// here, before and after the damage.
///
/// Every 10,000 files it writes its progress without a line end, so what is written next stands on
/// the same line. Here that is what the worker of a single volume writes; those of several may
/// write the lines about files beside such a place in another order.
///
/// @param aged with the age limit of one hour.
Lines DataLines(const Scene& scene, bool aged);

/// The containers of the site's volumes: paths without ".bin", sorted, that a file of the volumes
/// which is named by a number gives.
std::vector<std::string> Containers(const Scene& scene);

}  // namespace jorvshare::damage
