#include <map>
#include <sstream>

#include "jorvaudit/output.h"
#include "terminal/printable.h"

namespace jorvaudit {

namespace {

std::string Escaped(std::string_view value) {
    std::string text;
    for (const char letter : value) {
        text += letter == '"' || letter == '\\' ? "\\" : "";
        text += letter;
    }
    return text;
}

class Metrics {
  public:
    explicit Metrics(const Report& report)
        : share_("share=\"" + Escaped(terminal::Printable(report.sharePath)) + "\"") {}

    void Begin(const std::string& name, const std::string& help) {
        name_ = name;
        out_ << "# HELP " << name << ' ' << help << "\n# TYPE " << name << " gauge\n";
    }

    template <typename Number>
    void Add(const std::string& label, std::string_view value, Number number) {
        out_ << name_ << '{' << share_;
        if (!label.empty()) {
            out_ << ',' << label << "=\"" << Escaped(value) << '"';
        }
        out_ << "} " << number << '\n';
    }

    [[nodiscard]] std::string Text() const { return out_.str(); }

  private:
    const std::string share_;
    std::string name_;
    std::ostringstream out_;
};

}  // namespace

std::string MetricsOf(const Report& report) {
    Metrics metrics(report);
    metrics.Begin(
        "jorvaudit_status",
        "Exit status of the last audit: 0 sound, 4 damage, 8 not all looked at, 12 both.");
    metrics.Add("", "", report.status);
    metrics.Begin("jorvaudit_started_timestamp_seconds", "When the last audit began.");
    metrics.Add("", "", report.started);
    metrics.Begin("jorvaudit_ended_timestamp_seconds", "When the last audit ended.");
    metrics.Add("", "", report.ended);
    metrics.Begin("jorvaudit_affected_files", "Files with a finding.");
    metrics.Add("", "", report.affected.size());
    metrics.Begin("jorvaudit_findings", "Findings that nobody has acknowledged, by kind.");
    std::map<std::string_view, std::uint64_t> open;
    std::uint64_t acknowledged = 0;
    for (const Finding& finding : report.findings) {
        finding.acknowledged ? ++acknowledged : ++open[finding.kind->id];
    }
    for (const auto& [kind, number] : open) {
        metrics.Add("kind", kind, number);
    }
    metrics.Begin("jorvaudit_acknowledged_findings", "Findings that somebody has acknowledged.");
    metrics.Add("", "", acknowledged);
    metrics.Begin("jorvaudit_looked_at", "What was looked at, by coverage row.");
    for (const CoverageRow& row : report.coverage) {
        metrics.Add("what", kWhats.at(static_cast<std::size_t>(row.what)), row.count.lookedAt);
    }
    metrics.Begin("jorvaudit_there_are", "What there is to look at, by coverage row.");
    for (const CoverageRow& row : report.coverage) {
        if (row.known) {
            metrics.Add("what", kWhats.at(static_cast<std::size_t>(row.what)), row.count.thereAre);
        }
    }
    return metrics.Text();
}

}  // namespace jorvaudit
