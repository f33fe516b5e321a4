#pragma once

#include <string>

namespace jorvaudit {

/// Writes a copy of the reference library's configuration at `from` to `to`, with another directory
/// for the metadata of shares. Paths are made absolute. Throws ToolError.
void CopyConfiguration(const std::string& from, const std::string& to, const std::string& metaDir);

}  // namespace jorvaudit
