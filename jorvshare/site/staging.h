#pragma once

#include <string>

namespace jorvshare {

// Things that are on their way into a site or out of it are named ".jorv-<process>-<number>", by
// the library as well.

/// Whether a name is one of these.
bool IsUnfinishedName(const std::string& name);

/// Removes what killed runs left of these in `directory`. The caller holds the site.
void RemoveUnfinished(const std::string& directory);

/// A path that nothing has, from which and to which `path` can be renamed: in the site's root,
/// where no check looks, or, when `path` lies on another file system, in the highest directory of
/// the site that is on that one. `root` and `path` are absolute.
std::string StagingPlace(const std::string& root, const std::string& path);

}  // namespace jorvshare
