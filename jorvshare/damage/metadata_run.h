#pragma once

#include "jorvshare/damage/report.h"
#include "jorvshare/damage/scene.h"

namespace jorvshare::damage {

/// Foretells that a metadata check of the share ends in an exception before it has printed
/// anything. To be called before the damage is done.
void EndMetadataRun(const Scene& scene, Report* report);

}  // namespace jorvshare::damage
