#pragma once

#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "jorvaudit/compare.h"
#include "jorvaudit/fleet_plan.h"
#include "jorvaudit/output.h"
#include "jorvaudit/report.h"

namespace jorvaudit {

/// A share in the report of a fleet.
struct FleetShare {
    std::string name = {};
    std::string place = {};    ///< node that it is audited on; empty where all nodes see the same
    std::string page = {};     ///< its report.html, from the fleet's directory; empty: not known
    std::string problem = {};  ///< why there is no report, or not a recent one; empty: none
    bool reported = true;      ///< there is a report; without one the rest is empty
    std::string path = {};
    std::string id = {};
    std::int64_t ended = 0;
    int status = 0;
    std::string verdict = {};
    std::uint64_t files = 0;
    std::uint64_t affected = 0;
    std::uint64_t findings = 0;
    std::optional<std::uint64_t> fresh = {};  ///< findings that the fleet's last report had not
    std::optional<std::uint64_t> gone = {};   ///< findings that only that one had
};

/// What one thing explains in all shares.
struct FleetCause {
    const Kind* kind = nullptr;
    std::string subject = {};  ///< as Cause::subject, with the share or node that it is of
    std::vector<std::string> shares = {};  ///< names
    std::uint64_t files = 0;
    std::uint64_t findings = 0;
    bool ofShare = false;  ///< of a whole share or volume: to be looked at first
    bool acknowledged = true;
};

/// The report of a fleet.
class Fleet {
  public:
    /// @param directory of the fleet's report; the one that is there already is the last one.
    explicit Fleet(std::string directory, std::int64_t now);

    /// Adds a share with its composed report, which need not be kept.
    void Add(FleetShare share, const Report& report);
    /// Adds a share without a report.
    void AddMissing(FleetShare share);

    /// Writes fleet.json, fleet.html and fleet.prom, after the last share. Returns the status.
    int Finish();

    [[nodiscard]] std::int64_t Made() const { return now_; }
    [[nodiscard]] const std::vector<FleetShare>& Shares() const { return shares_; }
    [[nodiscard]] const std::vector<FleetCause>& Causes() const { return causes_; }
    /// Coverage, status, and a finding for each cause of a share.
    [[nodiscard]] const Report& Sum() const { return sum_; }
    /// From the last report to this one; nothing where there is no last one.
    [[nodiscard]] const std::optional<Comparison>& Difference() const { return difference_; }
    /// "Gone", and of which shares that is known where it is not known of all.
    [[nodiscard]] std::string TitleOfGone() const;

  private:
    void AddProblem(const FleetShare& share, const Kind& kind);
    void AddCause(const FleetShare& share, const Report& report, const Cause& cause);
    void AddRow(const FleetShare& share, const FleetCause& cause, const std::string& subject);
    void Count(const Report& report);
    void Compare();
    [[nodiscard]] bool IsKnownGone(const Finding& finding) const;

    const std::string directory_;
    const std::int64_t now_;
    std::vector<FleetShare> shares_;
    std::vector<FleetCause> causes_;
    std::map<std::string, std::size_t> causeOf_;
    Report sum_;
    Metrics metrics_;
    std::optional<Report> last_;  ///< its findings
    std::map<std::string, FleetShare> lastShares_;
    std::unordered_set<std::string> whole_;  ///< shares all of whose parts looked at something
    std::optional<Comparison> difference_;
};

void WriteJson(const Fleet& fleet, std::ostream& out);
void WriteHtml(const Fleet& fleet, std::ostream& out);
std::string TextOf(const Fleet& fleet);

/// Reads what the next report compares itself with. Throws ToolError.
void ReadFleet(const std::string& file, Report* rows, std::map<std::string, FleetShare>* shares);

/// Merges the parts of each share of the plan, writes their reports and that of the fleet, and
/// prints it. Returns the exit status. Throws ToolError.
int MergeFleet(const FleetPlan& plan);

/// The same of reports of several shares, without a plan: nothing is missing or too old.
int MergeShares(std::vector<Report> reports, const std::string& directory,
                const std::string& acknowledge);

}  // namespace jorvaudit
