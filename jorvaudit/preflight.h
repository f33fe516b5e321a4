#pragma once

#include <string>
#include <vector>

#include "jorvaudit/report.h"
#include "jorvaudit/storage_look.h"
#include "jorvaudit/view_check.h"

namespace jorvaudit {

/// What an audit is asked to do.
struct AuditOptions {
    std::string sharePath;  ///< empty: where the storage library keeps the share of this identifier
    std::string shareId;    ///< empty: no file data check
    std::int64_t hours = 0;
    std::string output;
    std::size_t jobs = 0;  ///< 0: as many as the machine has processors, 4 at least
    unsigned part = 1;
    unsigned parts = 1;
    bool resume = false;
    std::string acknowledge;  ///< file, or empty
    std::string checker;      ///< program; empty: jorvck beside this program, else of the path
    double timeLimit = 300;   ///< seconds for one view
};

/// What is found out before anything is checked.
struct Ground {
    std::string share;       ///< absolute, without links
    std::string configPath;  ///< of the storage library, where the environment names it
    StorageFacts facts;
    ViewSettings settings;
    std::vector<Volume> volumes;
    std::vector<Finding> findings;
    bool meaningless = false;  ///< a check would say nothing; a finding says why
    bool idFits = false;       ///< the identifier is that of the share at this path
};

/// Looks for what makes a check meaningless: a configuration that is missing, a layout that does
/// not fit, trees and volumes that are not there, a share that is not the one of the identifier.
/// @param scratch private directory for views.
Ground Prepare(const AuditOptions& options, const std::string& scratch);

/// The share's directory as the options name it, absolute and without links where it is there.
/// Throws ToolError when it can be found by the identifier alone, and the library does not tell.
std::string FindShare(const AuditOptions& options);

}  // namespace jorvaudit
