#pragma once

#include <string>

#include "jorvaudit/report.h"

namespace jorvaudit {

/// Marks the findings that a TOML file lists as acknowledged. Each [[finding]] of it has `kind`,
/// `name` (or `name_bytes`, in hexadecimal digits), `date` (YYYY-MM-DD) and, where wanted, `object`
/// ("file" unless given), `note` and `until`, the last date on which it holds. Throws ToolError
/// with file and line.
/// @param now seconds since the epoch.
void Acknowledge(const std::string& file, std::int64_t now, Report* report);

}  // namespace jorvaudit
