#pragma once

#include <array>
#include <string_view>

namespace Corvane::Kst::Marlow::JorvCk {

/// The usage text; the blanks before the tabs and the bar are part of it.
inline constexpr std::array<std::string_view, 4> kUsageLines = {
    "USAGE:",
    "\t[--share_id <share id> |--share_path <share path>\t\trequired]",
    "\t--t <file creation time older than (int) hours> \t\toptional",
    "\t--verify_data\t\toptional",
};

/// Standard output, newline included: written when memory may be what ran out.
inline constexpr std::string_view kUnhandledException = "unhandled exception caught.\n";

}  // namespace Corvane::Kst::Marlow::JorvCk
