#include "jorvaudit/report.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <iterator>
#include <span>
#include <tuple>

#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

constexpr std::array<std::string_view, 6> kObjectWords = {"file",      "directory", "image",
                                                          "container", "volume",    "share"};
// More upper directories than a map of the share can show are counted by fewer levels.
constexpr std::size_t kMostDirectories = 4096;

using Interval = boost::icl::discrete_interval<std::uint64_t>;

std::string_view Upper(std::string_view directory, std::size_t levels) {
    if (levels == 0) {
        return {};
    }
    std::size_t end = 0;
    for (std::size_t level = 0; level < levels; ++level) {
        end = directory.find('/', end == 0 ? 0 : end + 1);
        if (end == std::string_view::npos) {
            return directory;
        }
    }
    return directory.substr(0, end);
}

// Follows from the sums, so a merge leaves it out and makes it anew.
bool IsDerived(const Finding& finding) {
    return finding.kind == &kinds::kIncomplete || finding.kind == &kinds::kVolumeEmpty ||
           finding.kind == &kinds::kNoVolume;
}

bool IsOfVolumes(const Kind* kind) {
    return kind == &kinds::kVolumeMissing || kind == &kinds::kVolumeNotMounted ||
           kind == &kinds::kVolumeEmpty || kind == &kinds::kVolumeUnreadable ||
           kind == &kinds::kNoVolume || kind == &kinds::kVolumeTableUnreadable;
}

// The file data check is for shares with tables. It takes the identifier, and leaves young files
// out.
std::string LeftOut(const Report& report) {
    if (report.layout != "tables" || report.tally[What::kFiles].thereAre == 0 ||
        report.tally[What::kData].thereAre > 0) {
        return {};
    }
    return report.shareId.empty() ? " but file data, which takes --share_id"
                                  : " but file data, since all files are younger than --t";
}

IdSet MissingContainers(const Report& report) {
    IdSet missing;
    for (const Finding& finding : report.findings) {
        for (const std::uint64_t id : finding.containers) {
            missing += id;
        }
    }
    return missing;
}

void AddDerived(Report* report, bool anyMissing) {
    for (const Volume& volume : report->volumes) {
        if (volume.whole && volume.containers == 0 && anyMissing) {
            report->findings.push_back(
                {.kind = &kinds::kVolumeEmpty, .object = Object::kVolume, .name = volume.path});
        }
    }
    const bool needed = !report->tally.named.empty() || report->tally[What::kData].thereAre > 0;
    if (report->volumes.empty() && needed &&
        std::ranges::none_of(report->findings, [](const Finding& finding) {
            return finding.kind == &kinds::kVolumeTableUnreadable;
        })) {
        report->findings.push_back(
            {.kind = &kinds::kNoVolume, .object = Object::kShare, .name = report->volumeTable});
    }
}

void FillCoverage(Report* report, const IdSet& missing) {
    report->coverage.clear();
    Count containers = {boost::icl::cardinality(report->tally.named),
                        boost::icl::cardinality(report->tally.named)};
    const bool allSearched =
        !report->volumes.empty() && std::ranges::all_of(report->volumes, &Volume::whole);
    // Where no container is known at all, none was looked for in the extents either.
    const bool someKnown = std::ranges::any_of(
        report->volumes, [](const Volume& volume) { return volume.containers > 0; });
    if (!someKnown && !allSearched) {
        containers.lookedAt = 0;
    } else if (!allSearched) {
        containers.lookedAt -= std::min(containers.lookedAt, boost::icl::cardinality(missing));
    }
    for (std::size_t i = 0; i < kWhats.size(); ++i) {
        const auto what = static_cast<What>(i);
        // The file data check is for shares with tables whose identifier is known.
        if (what == What::kData && report->tally[what].thereAre == 0) {
            continue;
        }
        Count count = what == What::kContainers ? containers : report->tally[what];
        count.lookedAt = std::min(count.lookedAt, count.thereAre);
        report->coverage.push_back({what, count, report->counted});
    }
    for (const CoverageRow& row : report->coverage) {
        if (!row.known || row.count.lookedAt < row.count.thereAre) {
            report->findings.push_back(
                {.kind = &kinds::kIncomplete,
                 .object = Object::kShare,
                 .name = std::string(kWhats.at(static_cast<std::size_t>(row.what))),
                 .detail = row.known ? std::to_string(row.count.lookedAt) + " of " +
                                           std::to_string(row.count.thereAre)
                                     : "not counted"});
        }
    }
}

// Subjects of the causes of a finding: mostly one, and one per container.
std::vector<std::string> SubjectsOf(const Finding& finding, bool volumesExplain) {
    if (finding.kind == &kinds::kContainerMissing && !volumesExplain) {
        std::vector<std::string> subjects;
        subjects.reserve(finding.containers.size());
        for (const std::uint64_t id : finding.containers) {
            subjects.push_back(std::to_string(id));
        }
        return subjects;
    }
    if (!finding.group.empty()) {
        return {finding.group};
    }
    // One cause for all files of a kind; what is no file is a cause of its own.
    return {finding.object == Object::kFile ? "" : finding.name};
}

void FillCauses(const IdSet& missing, Report* report) {
    // Where volumes are in doubt, a thousand missing containers are one consequence of that.
    constexpr std::uint64_t kFew = 10;
    const bool volumesExplain = boost::icl::cardinality(missing) > kFew &&
                                std::ranges::any_of(report->findings, [](const Finding& finding) {
                                    return IsOfVolumes(finding.kind);
                                });
    const Count& headers = report->tally[What::kHeaders];
    const bool moved = report->tally.elsewhere > 0 && report->tally.elsewhere == headers.lookedAt;
    std::map<std::pair<std::string_view, std::string>, Cause> causes;
    for (std::size_t i = 0; i < report->findings.size(); ++i) {
        const Finding& finding = report->findings[i];
        const Kind* const kind = moved && finding.kind == &kinds::kExtentsElsewhere
                                     ? &kinds::kShareElsewhere
                                     : finding.kind;
        for (std::string& subject : SubjectsOf(finding, volumesExplain)) {
            Cause& cause = causes
                               .try_emplace({kind->id, subject},
                                            Cause{.kind = kind, .subject = subject, .first = i})
                               .first->second;
            ++cause.findings;
            cause.files += finding.object == Object::kFile ? 1U : 0U;
            cause.acknowledged = cause.acknowledged && finding.acknowledged.has_value();
        }
    }
    report->causes.clear();
    for (auto& [key, cause] : causes) {
        report->causes.push_back(std::move(cause));
    }
    const auto rank = [&](const Cause& cause) {
        const Object object = report->findings[cause.first].object;
        const bool ofShare = cause.kind != &kinds::kIncomplete &&
                             (object == Object::kShare || object == Object::kVolume);
        return std::tuple(cause.acknowledged, cause.kind == &kinds::kIncomplete, !ofShare,
                          ~cause.files);
    };
    std::ranges::stable_sort(report->causes, {}, rank);
}

// With other directories the numbers of the units shift: some would be in two parts, some in none.
void TakeDivision(const Report& part, Report* merged) {
    if (!part.counted && part.division.empty()) {
        return;
    }
    if (!merged->counted && merged->division.empty()) {
        merged->division = part.division;
    } else if (part.division.empty() || part.division != merged->division) {
        throw terminal::ToolError(merged->sharePath +
                                  ": the directories of the share changed between the parts: "
                                  "audit all parts again");
    }
}

}  // namespace

std::string_view ObjectWord(Object object) {
    return kObjectWords.at(static_cast<std::size_t>(object));
}

std::optional<Object> ObjectOf(std::string_view word) {
    const auto* const found = std::ranges::find(kObjectWords, word);
    return found == kObjectWords.end()
               ? std::nullopt
               : std::optional(static_cast<Object>(found - kObjectWords.begin()));
}

std::strong_ordering operator<=>(const Finding& a, const Finding& b) {
    return std::tie(a.object, a.name, a.kind->id) <=> std::tie(b.object, b.name, b.kind->id);
}

bool operator==(const Finding& a, const Finding& b) {
    return (a <=> b) == std::strong_ordering::equal;
}

Count& Count::operator+=(const Count& other) {
    lookedAt += other.lookedAt;
    thereAre += other.thereAre;
    return *this;
}

std::string RangesOf(const IdSet& ids) {
    std::string text;
    for (const auto& interval : ids) {
        text += text.empty() ? "" : ",";
        text += std::to_string(boost::icl::first(interval));
        if (boost::icl::first(interval) != boost::icl::last(interval)) {
            text += "-" + std::to_string(boost::icl::last(interval));
        }
    }
    return text;
}

IdSet IdsOf(std::string_view ranges) {
    IdSet ids;
    const char* at = ranges.data();
    const char* const end = at + ranges.size();
    while (at < end) {
        std::uint64_t first = 0;
        std::from_chars_result read = std::from_chars(at, end, first);
        std::uint64_t last = first;
        if (read.ec == std::errc() && read.ptr < end && *read.ptr == '-') {
            read = std::from_chars(read.ptr + 1, end, last);
        }
        if (read.ec != std::errc() || last < first || (read.ptr < end && *read.ptr != ',')) {
            throw terminal::ToolError("\"" + std::string(ranges) +
                                      "\": expected ranges of numbers");
        }
        ids += Interval::closed(first, last);
        at = read.ptr + 1;
    }
    return ids;
}

Tally& Tally::operator+=(const Tally& other) {
    for (std::size_t i = 0; i < counts.size(); ++i) {
        counts.at(i) += other.counts.at(i);
    }
    elsewhere += other.elsewhere;
    hostile += other.hostile;
    named += other.named;
    FoldDirectories(other.levels);
    for (const auto& [directory, files] : other.filesIn) {
        AddFiles(directory, files);
    }
    return *this;
}

void Tally::AddFiles(const std::string& directory, std::uint64_t files) {
    filesIn[std::string(Upper(directory, levels))] += files;
    while (filesIn.size() > kMostDirectories) {
        FoldDirectories(levels - 1);
    }
}

// The levels that are left depend on the whole set alone, so that the sum of parts is what one run
// gives.
void Tally::FoldDirectories(std::size_t most) {
    if (most >= levels) {
        return;
    }
    levels = most;
    std::map<std::string, std::uint64_t> folded;
    for (const auto& [directory, files] : filesIn) {
        folded[std::string(Upper(directory, levels))] += files;
    }
    filesIn = std::move(folded);
}

void Compose(Report* report) {
    const auto derived =
        std::partition(report->findings.begin(), report->findings.end(), std::not_fn(IsDerived));
    const std::vector<Finding> former(std::make_move_iterator(derived),
                                      std::make_move_iterator(report->findings.end()));
    report->findings.erase(derived, report->findings.end());
    const IdSet missing = MissingContainers(*report);
    AddDerived(report, !missing.empty());
    FillCoverage(report, missing);
    std::ranges::sort(report->findings);
    report->findings.erase(std::unique(report->findings.begin(), report->findings.end()),
                           report->findings.end());
    for (const Finding& finding : former) {
        const auto again = std::ranges::lower_bound(report->findings, finding);
        if (again != report->findings.end() && *again == finding) {
            again->since = finding.since;
            again->acknowledged = finding.acknowledged;
        }
    }
    FillCauses(missing, report);
    report->affected.clear();
    report->status = kSound;
    for (const Finding& finding : report->findings) {
        if (finding.object == Object::kFile &&
            (report->affected.empty() || report->affected.back() != finding.name)) {
            report->affected.push_back(finding.name);
        }
        if (!finding.acknowledged) {
            report->status |= finding.kind->cls == Class::kDamage ? kFound : kNotChecked;
        }
    }
    if (report->present.size() < report->parts) {
        report->status |= kNotChecked;
    }
}

Report Merge(std::vector<Report> reports) {
    if (reports.empty()) {
        throw terminal::ToolError("no report to merge");
    }
    std::ranges::sort(reports, {}, [](const Report& part) { return part.present; });
    Report merged = std::move(reports.front());
    for (Report& part : std::span(reports).subspan(1)) {
        if (part.sharePath != merged.sharePath || part.shareId != merged.shareId ||
            part.hours != merged.hours || part.parts != merged.parts) {
            throw terminal::ToolError("reports of different shares or divisions: " +
                                      merged.sharePath + " and " + part.sharePath);
        }
        for (const unsigned number : part.present) {
            if (std::ranges::find(merged.present, number) != merged.present.end()) {
                throw terminal::ToolError("part " + std::to_string(number) + " is there twice");
            }
            merged.present.push_back(number);
        }
        TakeDivision(part, &merged);
        merged.started = std::min(merged.started, part.started);
        merged.ended = std::max(merged.ended, part.ended);
        merged.counted = merged.counted && part.counted;
        merged.tally += part.tally;
        std::ranges::move(part.findings, std::back_inserter(merged.findings));
    }
    std::ranges::sort(merged.present);
    merged.history.clear();
    Compose(&merged);
    return merged;
}

std::string VerdictOf(const Report& report) {
    if (report.present.size() < report.parts) {
        return "incomplete: parts are missing";
    }
    switch (report.status) {
        case kSound:
            return report.findings.empty() ? "sound: everything was looked at" + LeftOut(report)
                                           : "all findings are acknowledged";
        case kFound:
            return "damaged";
        case kNotChecked:
            return "not all could be looked at";
        default:
            return "damaged, and not all could be looked at";
    }
}

}  // namespace jorvaudit
