#pragma once

#include <functional>
#include <iosfwd>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "jorvaudit/report.h"

namespace jorvaudit {

/// Replaces a file at once: a reader sees the old or the new one, never a part. Throws ToolError.
void WriteFile(const std::string& path, const std::function<void(std::ostream&)>& write);

/// Writes all forms of a composed report into a directory: report.json, report.html, affected.txt
/// and affected0.
void WriteReport(const Report& report, const std::string& directory);

/// Gives each finding that the earlier report in the directory has too its first time, and takes
/// over the history. Nothing happens where there is none, or it is of another share.
void CarryOver(const std::string& directory, Report* report);

/// The command of a kind for a finding, with quoted paths; empty when the kind has none.
std::string CommandFor(const Kind& kind, const Finding& finding, const Report& report);

/// Where the object of a finding is, for people: a file's path below the trees, "image x", ...
std::string PlaceOf(const Finding& finding);

/// The report for people: verdict, coverage, causes with what to do, the first findings.
std::string TextOf(const Report& report);

/// One page, for browsers; it loads nothing.
void WriteHtml(const Report& report, std::ostream& out);

/// Numbers for the textfile collector of a metrics exporter, with the share as a label.
class Metrics {
  public:
    void Add(const std::string& share, const Report& report);
    /// A share of a fleet that has no report.
    void AddMissing(const std::string& share);
    void AddFleet(int status, std::int64_t made);

    [[nodiscard]] std::string Text() const;

  private:
    using Families = std::map<std::string, std::ostringstream>;

    template <typename Number>
    void Put(const std::string& name, std::string_view help, const std::string& labels,
             Number number);
    void PutStatus(const std::string& labels, int status);

    Families families_;
    std::vector<Families::const_iterator> order_;
};

}  // namespace jorvaudit
