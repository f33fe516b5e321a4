#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "jorvshare/damage/report.h"
#include "jorvshare/damage/scene.h"
#include "refstore/extent/extent.h"

namespace jorvshare::damage {

/// The way of the checker's walk through the map tree. It lists a directory in the file system's
/// order, goes down into the first directory that it meets and never comes back, so a share's size
/// says nothing about how many files it reaches. To tell which they are, the directories are read
/// in the same way here.
struct MapWalk {
    bool opened = false;             ///< the last directory could be listed
    std::vector<std::string> files;  ///< relative paths of the files it checks, in its order
    std::size_t last = 0;            ///< files from this one on are in the directory it ends in
};
MapWalk WalkMap(const ShareLayout& share);

/// Files that the walk reaches and for which `applies` holds, sorted.
///
/// @param lastOnly those in the directory that the walk ends in only: an extent file that is put
///                 in place anew may get another place in the listing, which matters there not.
std::vector<std::string> WalkedFiles(const Scene& scene, bool lastOnly,
                                     const Scene::Applies& applies);

/// Extents of a file's extent file; SysException when it does not load.
std::vector<refstore::Extent> ExtentsOf(const ShareLayout& share, const std::string& relative);

/// What the check of one file prints when it ends with `text` (none: silently) at the extent
/// number `at`, or goes to the end when that is none.
Lines FileLines(const ShareLayout& share, const std::string& relative,
                std::span<const refstore::Extent> extents, std::optional<std::size_t> at = {},
                const std::string& text = {});

/// All that the check of the map tree prints: of `victim` the given lines, of all other files what
/// a sound file has. Files that do not load are left out.
Lines MapLines(const Scene& scene, const std::string& victim = {}, const Lines& victimLines = {});

}  // namespace jorvshare::damage
