#pragma once

#include <string>

#include "tests/campaign/scene.h"

namespace campaign {

/// Whether a call that failed, as strace shows it, is one that the text of a check passes over in
/// silence: lines of the sound share may be missing then, with none in their place.
bool IsPassedOver(const Scene& scene, const std::string& call);

/// Whether it is one that must be reported, by a line or by the run's end. `everAfter`: all calls
/// of its kind after it failed as well, so that no second attempt could do better.
bool MustBeTold(const Scene& scene, const std::string& call, bool everAfter);

}  // namespace campaign
