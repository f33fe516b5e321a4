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
    std::uint32_t volumes = 1;                  ///< at least so many
    std::optional<std::uint32_t> tableSpanGiB;  ///< new site: 1
    std::uint32_t containerMiB = 64;            ///< most data in one container
    std::optional<ImageName> virtualCopy;
    bool keepGoing = false;  ///< past files of the source that cannot be read
};

/// Packs the files of a directory into a new share, prints a summary and returns the exit status: 1
/// when a file was passed over.
///
/// Either the whole share is there afterwards, durable, or nothing of it: on every failure
/// (ToolError, the library's exceptions, Interrupted) all that was made is removed again. A file
/// that cannot be read fails the run, unless it is to keep going: then it is passed over with a
/// line of error.
int Pack(const PackOptions& options);

}  // namespace jorvshare
