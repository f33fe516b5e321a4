#pragma once

#include <string>
#include <vector>

#include "jorvaudit/acknowledge.h"
#include "jorvaudit/preflight.h"

namespace jorvaudit {

/// Audits a share and writes its report. Returns the exit status. Throws ToolError when it cannot
/// work at all, and Interrupted: what is finished is in the journal then.
int RunAudit(const AuditOptions& options);

/// Composes a report that replaces the one in a directory: with what that one knew of its findings,
/// and what is known of them.
void FinishReport(const std::string& directory, const std::vector<Known>& known, Report* report);

/// Throws ToolError when `path` lies in a share.
void RefuseInShare(const std::string& path, const std::string& share);

/// Makes the directory of a report where it is missing. Throws ToolError, also when it lies in one
/// of the shares.
void MakeOutput(const std::string& directory, const std::vector<std::string>& shares);

/// The text of a report that is written, on standard output: nobody needs to read it.
void PrintReported(const std::string& text);

}  // namespace jorvaudit
