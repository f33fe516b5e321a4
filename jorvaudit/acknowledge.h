#pragma once

#include <optional>
#include <string>
#include <vector>

#include "jorvaudit/report.h"

namespace jorvaudit {

/// An acknowledged finding.
struct Known {
    Finding finding;
    std::optional<std::string> until;  ///< YYYY-MM-DD
};

/// Reads the TOML file that lists them; none where `file` is empty. Each [[finding]] of it has
/// `kind`, `name` (or `name_bytes`, in hexadecimal digits, or both of one name), `date`
/// (YYYY-MM-DD) and, where wanted, `object` ("file" unless given), `note` and `until`, the last
/// date on which it holds. Throws ToolError with file and line.
std::vector<Known> ReadKnown(const std::string& file);

/// Marks the findings of a composed report that are known.
/// @param now seconds since the epoch.
void Acknowledge(const std::vector<Known>& known, std::int64_t now, Report* report);

}  // namespace jorvaudit
