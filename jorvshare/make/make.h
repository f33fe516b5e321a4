#pragma once

#include <cstdint>
#include <string>

namespace jorvshare {

struct MakeSummary {
    std::uint64_t shares = 0;
    std::uint64_t files = 0;
};

/// Builds the site that a recipe describes at `site`, which must not be there or be an empty
/// directory. Whatever is inconsistent in the recipe is built as told; for testing. On failure
/// (ToolError, SysException, Interrupted) nothing is left.
MakeSummary Make(const std::string& recipePath, const std::string& site);

}  // namespace jorvshare
