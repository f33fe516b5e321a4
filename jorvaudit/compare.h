#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "jorvaudit/report.h"

namespace jorvaudit {

/// What changed between two reports of a share, by kind, object and name of the findings.
struct Comparison {
    std::vector<const Finding*> appeared;
    std::vector<const Finding*> gone;    ///< none where it is not known
    bool goneKnown = true;               ///< false when the newer audit looked at nothing
    std::vector<const Finding*> stayed;  ///< of the newer report
};

/// Both composed; they outlive the result. Throws ToolError when they are of different shares
/// or parts.
Comparison Compare(const Report& older, const Report& newer);

/// Findings for people, under a title with their number.
/// @param since for findings without a time of their own; 0: no time is printed.
std::string ListText(const std::string& title, const std::vector<const Finding*>& findings,
                     std::int64_t since = 0);

/// The comparison for people, or as JSON.
std::string TextOf(const Comparison& comparison, const Report& older);
std::string JsonOf(const Comparison& comparison);
void to_json(nlohmann::ordered_json& object, const Comparison& comparison);

}  // namespace jorvaudit
