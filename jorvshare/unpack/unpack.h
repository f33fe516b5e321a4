#pragma once

#include <cstdint>
#include <string>

namespace jorvshare {

struct UnpackOptions {
    std::string site;
    std::string shareId;
    std::string destination;
};

struct UnpackSummary {
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
};

/// Writes the user files of a share into a directory that is not there or is empty: contents, with
/// holes as holes, permission bits and modification times. Owners are not kept in a share, so
/// set-id bits are not restored; of directories only the names are kept.
///
/// The data of every extent is held against its fingerprint. On damage (ToolError or SysException,
/// naming the file) nothing is left of the destination. No symbolic link inside the share is
/// followed, and nothing is written outside the destination.
UnpackSummary Unpack(const UnpackOptions& options);

}  // namespace jorvshare
