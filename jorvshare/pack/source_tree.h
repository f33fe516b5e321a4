#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace jorvshare {

/// The real files and directories below a directory, by paths relative to it. Directories stand
/// before what is in them, names in the order of their bytes: the same tree always gives the same
/// lists.
struct SourceTree {
    std::vector<std::string> directories;
    std::vector<std::string> files;
    std::uint64_t dataBytes = 0;   ///< of all files, holes not counted; for progress only
    std::uint64_t skipped = 0;     ///< symbolic links, FIFOs, sockets and devices
    std::uint64_t unpairable = 0;  ///< files below a directory whose name begins with "head"
    std::uint64_t namedHead = 0;   ///< other files whose own name begins with "head"
};

/// Walks `root`, an absolute path. Symbolic links are never followed. What is skipped gets a
/// warning line each. Fails with ToolError when a directory cannot be read.
SourceTree WalkSource(const std::string& root);

}  // namespace jorvshare
