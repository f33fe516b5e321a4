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

std::string Label(const std::string& name, std::string_view value) {
    return name + "=\"" + Escaped(value) + "\"";
}

}  // namespace

template <typename Number>
void Metrics::Put(const std::string& name, std::string_view help, const std::string& labels,
                  Number number) {
    const auto [family, isNew] = families_.try_emplace(name);
    if (isNew) {
        order_.push_back(family);
        family->second << "# HELP " << name << ' ' << help << "\n# TYPE " << name << " gauge\n";
    }
    family->second << name << (labels.empty() ? "" : "{" + labels + "}") << ' ' << number << '\n';
}

void Metrics::PutStatus(const std::string& labels, int status) {
    Put("jorvaudit_status",
        "Exit status of the last audit: 0 sound, 4 damage, 8 not all looked at, 12 both.", labels,
        status);
}

void Metrics::Add(const std::string& share, const Report& report) {
    const std::string label = Label("share", terminal::Printable(share));
    PutStatus(label, report.status);
    Put("jorvaudit_started_timestamp_seconds", "When the last audit began.", label, report.started);
    Put("jorvaudit_ended_timestamp_seconds", "When the last audit ended.", label, report.ended);
    Put("jorvaudit_affected_files", "Files with a finding.", label, report.affected.size());
    std::map<std::string_view, std::uint64_t> open;
    std::uint64_t acknowledged = 0;
    for (const Finding& finding : report.findings) {
        finding.acknowledged ? ++acknowledged : ++open[finding.kind->id];
    }
    for (const auto& [kind, number] : open) {
        Put("jorvaudit_findings", "Findings that nobody has acknowledged, by kind.",
            label + "," + Label("kind", kind), number);
    }
    Put("jorvaudit_acknowledged_findings", "Findings that somebody has acknowledged.", label,
        acknowledged);
    for (const CoverageRow& row : report.coverage) {
        const std::string what =
            label + "," + Label("what", kWhats.at(static_cast<std::size_t>(row.what)));
        Put("jorvaudit_looked_at", "What was looked at, by coverage row.", what,
            row.count.lookedAt);
        if (row.known) {
            Put("jorvaudit_there_are", "What there is to look at, by coverage row.", what,
                row.count.thereAre);
        }
    }
}

void Metrics::AddMissing(const std::string& share) {
    PutStatus(Label("share", terminal::Printable(share)), kNotChecked);
}

void Metrics::AddFleet(int status, std::int64_t made) {
    Put("jorvaudit_fleet_status", "Exit status of the fleet's report.", "", status);
    Put("jorvaudit_fleet_made_timestamp_seconds", "When the fleet's report was made.", "", made);
}

std::string Metrics::Text() const {
    std::string text;
    for (const auto family : order_) {
        text += family->second.str();
    }
    return text;
}

}  // namespace jorvaudit
