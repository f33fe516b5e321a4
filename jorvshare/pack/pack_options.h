#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "jorvshare/site/site_layout.h"

namespace jorvshare {

/// How a share keeps the extents of a user file.
enum class MapLayout {
    kFiles,   ///< one extent file; data of one file only lies in its storage unit
    kTables,  ///< a directory of mapping tables; all data lies in containers
};

/// What the user asks of one pack. What is not given is taken from the site, or is the default of
/// a new one.
struct PackOptions {
    std::string source;
    std::string site;
    std::string shareId;
    std::optional<MapLayout> layout;            ///< new site: kFiles
    std::optional<std::uint32_t> volumes;       ///< at least so many; new site: 1
    std::optional<std::uint32_t> tableSpanGiB;  ///< new site: 1
    std::uint32_t containerMiB = 64;            ///< most data in one container
    std::optional<ImageName> virtualCopy;
};

}  // namespace jorvshare
