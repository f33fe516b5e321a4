#include "jorvaudit/fleet.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <tuple>

#include "jorvaudit/report_json.h"
#include "jorvaudit/run.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

constexpr const char* kJson = "/fleet.json";

// What a cause of a share is one of in the fleet, in front of its subject. What has no subject is
// the same in all shares; a volume is the same for all shares of its node.
std::string ScopeOf(const FleetShare& share, const Report& report, const Cause& cause) {
    const Object object = report.findings.at(cause.first).object;
    if (cause.subject.empty() || cause.kind == &kinds::kIncomplete) {
        return {};
    }
    const bool isContainer = cause.kind == &kinds::kContainerMissing;
    if (!isContainer && (object == Object::kFile || object == Object::kDirectory)) {
        return share.name + ": ";
    }
    return (share.place.empty() ? "" : share.place + ": ") +
           (isContainer ? report.volumeTable + ": " : "");
}

std::string Number(std::uint64_t number, const std::string& what) {
    return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

}  // namespace

Fleet::Fleet(std::string directory, std::int64_t now)
    : directory_(std::move(directory)), now_(now) {
    try {
        if (std::filesystem::exists(directory_ + kJson)) {
            ReadFleet(directory_ + kJson, &last_.emplace(), &lastShares_);
        }
    } catch (const terminal::ToolError&) {
        // One of another version tells nothing; the new one replaces it.
        last_.reset();
    }
}

void Fleet::AddProblem(const FleetShare& share, const Kind& kind) {
    AddRow(share, {.kind = &kind, .findings = 1, .ofShare = true, .acknowledged = false}, {});
    sum_.findings.back().detail = share.problem;
    sum_.findings.back().since = now_;
    sum_.status |= kNotChecked;
}

void Fleet::AddMissing(FleetShare share) {
    share.reported = false;
    share.status = kNotChecked;
    share.verdict = "no report";
    AddProblem(share, kinds::kReportMissing);
    metrics_.AddMissing(share.name);
    shares_.push_back(std::move(share));
}

void Fleet::Add(FleetShare share, const Report& report) {
    share.path = report.sharePath;
    share.id = report.shareId;
    share.ended = report.ended;
    share.status = report.status;
    share.verdict = VerdictOf(report);
    share.files = report.tally[What::kFiles].thereAre;
    share.affected = report.affected.size();
    share.findings = report.findings.size();
    const bool isWhole = report.counted && report.present.size() == report.parts;
    if (isWhole) {
        whole_.insert(share.name);
    }
    const auto last = lastShares_.find(share.name);
    if (last != lastShares_.end() && last->second.reported && report.counted) {
        share.fresh = static_cast<std::uint64_t>(std::ranges::count_if(
            report.findings,
            [&](const Finding& finding) { return finding.since > last->second.ended; }));
        if (isWhole) {
            // An older report may have been put back: then there can be more than there were.
            const std::uint64_t before = last->second.findings;
            share.gone = before - std::min(before, share.findings - *share.fresh);
        }
    }
    if (!share.problem.empty()) {
        AddProblem(share, report.present.size() < report.parts ? kinds::kReportMissing
                                                               : kinds::kReportOld);
    }
    for (const Cause& cause : report.causes) {
        AddCause(share, report, cause);
    }
    Count(report);
    metrics_.Add(share.name, report);
    shares_.push_back(std::move(share));
}

void Fleet::AddCause(const FleetShare& share, const Report& report, const Cause& cause) {
    const Object object = report.findings.at(cause.first).object;
    AddRow(share,
           {.kind = cause.kind,
            .subject = ScopeOf(share, report, cause) + cause.subject,
            .files = cause.files,
            .findings = cause.findings,
            .ofShare = object == Object::kShare || object == Object::kVolume,
            .acknowledged = cause.acknowledged},
           cause.subject);
    if (cause.acknowledged) {
        sum_.findings.back().acknowledged = report.findings.at(cause.first).acknowledged;
    }
}

void Fleet::AddRow(const FleetShare& share, const FleetCause& cause, const std::string& subject) {
    const auto [known, isNew] =
        causeOf_.try_emplace(std::string(cause.kind->id) + '\0' + cause.subject, causes_.size());
    if (isNew) {
        causes_.push_back(cause);
    } else {
        FleetCause& sum = causes_[known->second];
        sum.files += cause.files;
        sum.findings += cause.findings;
        sum.acknowledged = sum.acknowledged && cause.acknowledged;
    }
    causes_[known->second].shares.push_back(share.name);
    sum_.findings.push_back({.kind = cause.kind,
                             .object = Object::kShare,
                             .name = share.name + (subject.empty() ? "" : ": " + subject),
                             .detail = cause.files > 0 ? Number(cause.files, "file")
                                                       : Number(cause.findings, "finding"),
                             .since = share.ended == 0 ? now_ : share.ended});
}

void Fleet::Count(const Report& report) {
    for (const CoverageRow& row : report.coverage) {
        const auto same = std::ranges::find(sum_.coverage, row.what, &CoverageRow::what);
        if (same == sum_.coverage.end()) {
            sum_.coverage.push_back({.what = row.what, .count = row.count});
        } else {
            same->count += row.count;
        }
    }
    sum_.status |= report.status;
}

void Fleet::Compare() {
    if (!last_) {
        return;
    }
    difference_ = jorvaudit::Compare(*last_, sum_);
    std::erase_if(difference_->gone,
                  [&](const Finding* finding) { return !IsKnownGone(*finding); });
    for (Finding& finding : sum_.findings) {
        const auto same = std::ranges::lower_bound(last_->findings, finding);
        if (same != last_->findings.end() && *same == finding) {
            finding.since = same->since;
        }
    }
}

// What is about a report is known of every share, what is in it only where it was looked for.
bool Fleet::IsKnownGone(const Finding& finding) const {
    if (finding.kind == &kinds::kReportMissing || finding.kind == &kinds::kReportOld) {
        return true;
    }
    // The name is that of the share, and a subject after a colon; both may hold colons.
    for (std::size_t end = finding.name.find(": ");; end = finding.name.find(": ", end + 1)) {
        if (whole_.contains(finding.name.substr(0, end))) {
            return true;
        }
        if (end == std::string::npos) {
            return false;
        }
    }
}

std::string Fleet::TitleOfGone() const {
    return whole_.size() == shares_.size() ? "Gone" : "Gone, of the shares that were looked at";
}

int Fleet::Finish() {
    std::ranges::sort(sum_.findings);
    Compare();
    std::ranges::sort(sum_.coverage, {}, &CoverageRow::what);
    std::ranges::stable_sort(causes_, {}, [](const FleetCause& cause) {
        return std::tuple(cause.acknowledged, cause.kind == &kinds::kIncomplete, !cause.ofShare,
                          ~cause.files);
    });
    std::filesystem::create_directories(directory_);
    metrics_.AddFleet(sum_.status, now_);
    WriteFile(directory_ + "/fleet.prom", [&](std::ostream& out) { out << metrics_.Text(); });
    WriteFile(directory_ + "/fleet.html", [&](std::ostream& out) { WriteHtml(*this, out); });
    // Last: where it is new, the others are.
    WriteFile(directory_ + kJson, [&](std::ostream& out) { WriteJson(*this, out); });
    return sum_.status;
}

namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

// The reports of a share's parts, merged into the share's own.
class ShareMerge {
  public:
    ShareMerge(const PlannedShare& planned, std::int64_t oldest)
        : planned_(planned), oldest_(oldest) {}

    void AddTo(Fleet* fleet) {
        for (unsigned part = 1; part <= planned_.parts; ++part) {
            Take(part);
        }
        FleetShare share = {.name = planned_.name,
                            .place = planned_.node,
                            .page = "shares/" + planned_.name + "/report.html"};
        for (const Report& part : parts_) {
            RefuseInShare(planned_.output, part.sharePath);
        }
        try {
            if (!parts_.empty()) {
                const Report report = Join();
                share.problem = std::move(problem_);
                fleet->Add(std::move(share), report);
                return;
            }
        } catch (const terminal::ToolError& error) {
            problem_ = error.Message();
        }
        share.problem = std::move(problem_);
        share.page.clear();
        fleet->AddMissing(std::move(share));
    }

  private:
    void Take(unsigned part) {
        const std::string which = planned_.parts == 1 ? "" : "part " + std::to_string(part) + ": ";
        try {
            Report report = ReadReport(planned_.PartOutput(part));
            if (!planned_.id.empty() && report.shareId != planned_.id) {
                throw terminal::ToolError(planned_.PartOutput(part) +
                                          ": the report of another share");
            }
            if (report.ended < oldest_) {
                Say(which + "of " + TimeText(report.ended));
            }
            parts_.push_back(std::move(report));
        } catch (const terminal::ToolError& error) {
            Say(which + error.Message());
        }
    }

    void Say(const std::string& problem) { problem_ += (problem_.empty() ? "" : "; ") + problem; }

    Report Join() {
        if (planned_.parts == 1) {
            return std::move(parts_.front());
        }
        Report report = Merge(std::move(parts_));
        MakeOutput(planned_.output, {});
        FinishReport(planned_.output, ReadKnown(planned_.acknowledge), &report);
        WriteReport(report, planned_.output);
        return report;
    }

    const PlannedShare& planned_;
    const std::int64_t oldest_;
    std::vector<Report> parts_;
    std::string problem_;
};

int Finished(Fleet* fleet, const std::string& directory) {
    const int status = fleet->Finish();
    PrintReported(TextOf(*fleet) + "\nAll of it: " + directory +
                  "/fleet.html and fleet.json; metrics: fleet.prom\n");
    return status;
}

}  // namespace

int MergeFleet(const FleetPlan& plan) {
    const std::int64_t now = std::time(nullptr);
    Fleet fleet(plan.output, now);
    for (const PlannedShare& share : plan.shares) {
        ShareMerge(share, now - plan.maxAgeDays * kSecondsPerDay).AddTo(&fleet);
    }
    return Finished(&fleet, plan.output);
}

int MergeShares(std::vector<Report> reports, const std::string& directory,
                const std::string& acknowledge) {
    std::map<std::string, std::vector<Report>> shares;
    for (Report& report : reports) {
        shares[report.sharePath].push_back(std::move(report));
    }
    const std::vector<Known> known = ReadKnown(acknowledge);
    Fleet fleet(directory, std::time(nullptr));
    for (auto& [path, parts] : shares) {
        RefuseInShare(directory, path);
        Report report = Merge(std::move(parts));
        Acknowledge(known, report.ended, &report);
        Compose(&report);
        fleet.Add({.name = path}, report);
    }
    return Finished(&fleet, directory);
}

}  // namespace jorvaudit
