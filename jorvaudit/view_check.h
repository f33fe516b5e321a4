#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "jorvaudit/children.h"
#include "jorvaudit/listing.h"
#include "jorvaudit/report.h"

namespace jorvaudit {

/// What every view of an audit is checked with.
struct ViewSettings {
    std::string checker;  ///< program
    std::string share;
    bool tables = false;
    std::vector<std::uint64_t> containers;  ///< of all volumes, sorted
    bool knowsContainers = true;            ///< false: the volumes could not be searched
    std::set<std::string> expected;         ///< lines that the storage library prints in any run
    bool checksData = false;                ///< a file data check follows
    std::int64_t youngerThan = 0;  ///< it leaves out files modified later, seconds since the epoch
};

/// What became of a view.
struct ViewOutcome {
    /// Something is wrong, and the files must be looked at in smaller views. Then only `suspects`
    /// is set: files of the view that are likely the cause.
    bool mustBeCut = false;
    std::vector<std::uint32_t> suspects;
    std::vector<Finding> findings;
    Tally tally;
    std::string raw;  ///< the checker's lines, where there is a finding
};

/// Checks the files with these numbers of a directory in one view at `viewPath`. Every file has a
/// header. A single file is always judged, also when the checker crashes on it. Run in a child
/// process.
ViewOutcome CheckView(const ViewSettings& settings, const Listing& listing,
                      const std::vector<std::uint32_t>& files, const std::string& viewPath);

/// What is known of a file whose view, with it alone, did not come to its end: the audit's own
/// child was ended by a signal, failed or ran out of time, which `end` tells.
ViewOutcome JudgeLostFile(const ViewSettings& settings, const Listing& listing, std::uint32_t file,
                          const Children::Ended& end);

/// Bytes for another process, and back.
std::string Encode(const ViewOutcome& outcome);
ViewOutcome DecodeOutcome(const std::string& bytes);

}  // namespace jorvaudit
