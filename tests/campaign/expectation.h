#pragma once

#include <cstdint>

#include "tests/campaign/object.h"
#include "tests/campaign/scene.h"

namespace campaign {

/// What the checker makes of something else in a file's place.
enum class Expected : std::uint8_t {
    kNamed,        ///< a finding that names the file
    kSilent,       ///< no line about the file: it is none of those that the check looks at
    kEnds,         ///< the run ends with its one line and 255
    kNamedOrEnds,  ///< one or the other, by the order in which the share is listed
    kAny,          ///< the run comes to its end; others' lines may change
};

/// Whether the walks of the checks are led past other files, whose lines are missing then: into
/// what they take for a directory, or to an end where a status cannot be read.
bool LosesLines(FileKind kind, Object object);

Expected ExpectedOf(FileKind kind, Object object, bool fileData);

}  // namespace campaign
