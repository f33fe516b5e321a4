#pragma once

#include <string>

#include "jorvaudit/report.h"

namespace jorvaudit {

/// What changed between two reports of a share, by kind, object and name of the findings.
struct Comparison {
    std::vector<const Finding*> appeared;
    std::vector<const Finding*> gone;
    std::vector<const Finding*> stayed;  ///< of the newer report
};

/// Both composed; they outlive the result. Throws ToolError when they are of different shares.
Comparison Compare(const Report& older, const Report& newer);

/// The comparison for people, or as JSON.
std::string TextOf(const Comparison& comparison, const Report& older);
std::string JsonOf(const Comparison& comparison);

}  // namespace jorvaudit
