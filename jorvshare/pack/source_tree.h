#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "jorvshare/site/keep_going.h"
#include "jorvshare/site/root.h"

namespace jorvshare {

/// The real files and directories below a directory, by paths relative to it. A directory
/// comes before what is in it, names in the order of their bytes: the same tree always gives the
/// same lists.
struct SourceTree {
    std::vector<std::string> directories;
    std::vector<std::string> files;
    std::uint64_t dataBytes = 0;   ///< of all files, holes not counted; for progress only
    std::uint64_t unpairable = 0;  ///< files below a directory whose name begins with "head"
    std::uint64_t namedHead = 0;   ///< other files whose own name begins with "head"

    // What a share does not keep.
    std::uint64_t symlinks = 0;
    std::uint64_t specials = 0;    ///< FIFOs, sockets and devices
    std::uint64_t hardLinks = 0;   ///< files that have further names
    std::uint64_t owners = 0;      ///< files and directories that somebody else owns
    std::uint64_t attributes = 0;  ///< files and directories with extended attributes
    std::uint64_t setIds = 0;      ///< files with set-id or sticky bits

    [[nodiscard]] std::uint64_t Skipped() const { return symlinks + specials; }
    /// The same as one line with a count for each that is not 0; empty when all are.
    [[nodiscard]] std::string NotKept() const;
};

/// Walks `root`. Symbolic links are never followed. A directory that cannot be read, and a file
/// that vanishes, are InputErrors, passed over where `keepGoing` is for that.
SourceTree WalkSource(const Root& root, KeepGoing* keepGoing);

}  // namespace jorvshare
