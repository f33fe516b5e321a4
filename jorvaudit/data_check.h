#pragma once

#include <string>
#include <vector>

#include "jorvaudit/parts.h"
#include "jorvaudit/preflight.h"
#include "jorvaudit/report.h"

namespace jorvaudit {

/// What the file data check is made with.
struct DataCheckMeans {
    const AuditOptions* options;
    const Ground* ground;
    std::vector<Unit> units;
    std::string scratch;
    std::string raw;  ///< directory for the checker's streams
};

struct DataResult {
    std::uint64_t lookedAt = 0;
    std::vector<Finding> findings;
};

/// Has the files of a share with mapping tables checked against the data containers, in one run: of
/// the share itself, or of a directory of links to the headers of the part's files, which a copy of
/// the storage library's configuration names. A library that cannot be pointed elsewhere runs over
/// the whole share, in the first part alone.
///
/// A file whose name can divide or forge a line has a run of its own, and a file that the checker
/// dies of has none.
/// @param sums of the other passes. @param found their findings, sorted.
DataResult CheckData(const DataCheckMeans& means, const Tally& sums,
                     const std::vector<Finding>& found);

/// Whether parts of a share can have file data checks of their own. A library that cannot be
/// pointed elsewhere runs over the whole share in the first part. True as well where there is no
/// such check, and where the configuration is not on this machine or cannot be used: what that
/// means is for the audit to say.
/// @param configuration of the storage library; empty: its default.
/// @param scratch private directory.
bool DividesDataCheck(const std::string& configuration, const std::string& id,
                      const std::string& scratch);

}  // namespace jorvaudit
