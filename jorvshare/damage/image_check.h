#pragma once

#include <string>
#include <vector>

#include "jorvshare/damage/report.h"
#include "jorvshare/damage/scene.h"
#include "jorvshare/site/site_layout.h"

namespace jorvshare::damage {

/// Images that the share's vcopy.dat lists, in its order; none when it is not there. Fails with
/// ToolError when it cannot be read in groups of three lines.
std::vector<ImageName> ListedImages(const Scene& scene);

/// What the virtual-copy check prints of a share whose images are sound.
struct ImageLines {
    Lines output;
    Lines errors;
};
ImageLines SoundImageLines(const Scene& scene);

}  // namespace jorvshare::damage
