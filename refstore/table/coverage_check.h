#pragma once

#include <cstdint>
#include <string>

#include "refstore/table/table_environment.h"

namespace refstore {

/// Most spans of the configuration that one table may cover.
inline constexpr std::uint64_t kMaxSpansCovered = 4096;

/// Refuses tables (EBADMSG, naming the file in `directory`) whose recorded coverage would keep a
/// reader that steps through the file span by span, as the checks do, busy for years: a few changed
/// bytes make a coverage of 2^63. Not more than that is asked of the coverage; one that was
/// recorded for another span is taken.
void RequireSteppable(const TableEnvironment& environment, const std::string& directory);

}  // namespace refstore
