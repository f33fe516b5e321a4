#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "jorvshare/site/keep_going.h"
#include "jorvshare/site/site.h"

namespace jorvshare {

/// DCIDs below this one name no container: they are reserved.
inline constexpr std::uint64_t kFirstDcid = 64;

inline constexpr const char* kVolumeMissing =
    ": listed in the table of volumes, but missing; is it mounted?";

/// True when the volume directory is there, perhaps by a symbolic link. Throws ToolError when that
/// cannot be found out.
bool IsThere(const std::string& volume);

/// The volumes of a site whose containers can be read. One that is not there is left out with a
/// warning: it matters only to shares with data on it. One that cannot be listed, and a table of
/// volumes that cannot be read, are InputErrors, passed over by `keepGoing`.
std::vector<std::string> VolumesToRead(const Site& site, KeepGoing* keepGoing);

/// Largest DCID that the name of anything below the directories is made of, 0 for none:
/// "<dcid>.bin", "<dcid>.bhd" or "<dcid>.bin.partial", in any subdirectory, files and
/// directories alike. None of these must be given out again. Throws ToolError, also when a
/// directory is not there: its contents are then unknown.
std::uint64_t LargestDcid(const std::vector<std::string>& directories);

}  // namespace jorvshare
