#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace jorvaudit {

/// A share of a fleet, as FLEET.toml has it. Paths are absolute.
struct PlannedShare {
    std::string name;  ///< in reports, and of its directory; unique in the fleet
    std::string id;    ///< empty without one; then there is a path
    std::string path;
    std::string configuration;  ///< of the storage library; empty: its default
    std::string acknowledge;    ///< file, or empty
    std::string node;           ///< where it is audited; at most one of the two
    std::string partition;
    std::int64_t hours = 0;
    unsigned parts = 1;
    std::string output;  ///< directory of its report

    /// Directory of the report of part `index`, from 1: `output` where there is one part.
    [[nodiscard]] std::string PartOutput(unsigned index) const;
};

struct FleetPlan {
    std::string output;           ///< directory of the fleet's report
    std::int64_t maxAgeDays = 0;  ///< a report that is older is a finding
    std::vector<PlannedShare> shares;
};

/// Reads FLEET.toml. Relative paths in it are relative to its directory. Throws ToolError with file
/// and line.
FleetPlan ReadPlan(const std::string& file);

/// The commands that audit the fleet, one a line, in the order of the plan, each quoted for any
/// POSIX shell.
/// @param places whether each line has in front where it runs, "node=NAME", "partition=NAME" or
/// "any", and a tab.
std::string CommandsOf(const FleetPlan& plan, bool places);

/// Names of the divided shares whose file data check does not divide, since their storage library
/// cannot be pointed elsewhere. Leaves out those whose configuration is not on this machine.
std::vector<std::string> UndividedDataChecks(const FleetPlan& plan);

}  // namespace jorvaudit
