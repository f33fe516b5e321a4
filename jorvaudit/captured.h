#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "jorvaudit/checker.h"
#include "jorvaudit/children.h"

namespace jorvaudit {

/// A whole run of the checker with what it printed, made in a child process of its own.
struct Captured {
    CheckerEnd end;
    bool timedOut = false;
    std::string out;
    std::string err;

    /// "signal 11, Segmentation fault", "status 255" or the like; empty for status 0.
    [[nodiscard]] std::string EndText() const;
};

/// Runs the checker to its end. Standard output and error go to these files where they are named,
/// appended, and else into the result, of each stream the first 64 MiB.
Captured RunCaptured(const std::vector<std::string>& words, Children::Seconds limit,
                     const std::map<std::string, std::string>& environment = {},
                     const std::string& outFile = {}, const std::string& errFile = {});

}  // namespace jorvaudit
