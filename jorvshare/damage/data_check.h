#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "jorvshare/damage/report.h"
#include "jorvshare/damage/scene.h"

namespace jorvshare::damage {

/// All that the file data check prints on standard error for the share as it is on disk now, as
/// texts in no particular order. One container that goes missing can show in many files, and which
/// containers are found before a walk of a volume is cut short depends on the order of its listing:
/// so the check is gone through here, before and after the damage.
///
/// @param aged with the age limit of one hour.
///
/// Holds for shares of fewer than 10,000 files; the progress of larger ones is on lines that it
/// shares with other texts.
Lines DataLines(const Scene& scene, bool aged);

/// The containers of the site's volumes: paths without ".bin", sorted, that a file of the volumes
/// which is named by a number gives.
std::vector<std::string> Containers(const Scene& scene);

}  // namespace jorvshare::damage
