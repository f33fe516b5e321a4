#pragma once

#include "jorvaudit/preflight.h"

namespace jorvaudit {

/// Audits a share and writes its report. Returns the exit status. Throws ToolError when it cannot
/// work at all, and Interrupted: what is finished is in the journal then.
int RunAudit(const AuditOptions& options);

/// Composes a report that replaces the one in a directory: with what that one knew of its findings,
/// and what the file `acknowledge`, or none where it is empty, says of them.
void FinishReport(const std::string& directory, const std::string& acknowledge, Report* report);

}  // namespace jorvaudit
