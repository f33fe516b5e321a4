#include "jorvaudit/report_json.h"

#include <sys/stat.h>

#include <algorithm>
#include <boost/algorithm/hex.hpp>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <fstream>
#include <ostream>

#include "jorvaudit/fleet.h"
#include "terminal/printable.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

using json = nlohmann::ordered_json;

constexpr std::string_view kFormat = "jorvaudit-report";
constexpr std::string_view kFleetFormat = "jorvaudit-fleet";

std::string Lower(std::string_view what) {
    std::string key(what);
    std::ranges::replace(key, ' ', '_');
    return key;
}

json CountJson(const Count& count, bool known) {
    return {{"looked_at", count.lookedAt},
            {"there_are", known ? json(count.thereAre) : json(nullptr)}};
}

json CoverageJson(const std::vector<CoverageRow>& rows) {
    json coverage = json::array();
    for (const CoverageRow& row : rows) {
        json object = {{"what", kWhats.at(static_cast<std::size_t>(row.what))}};
        object.update(CountJson(row.count, row.known));
        coverage.push_back(object);
    }
    return coverage;
}

json CauseJson(const Cause& cause, const Finding& example) {
    json object = {{"kind", cause.kind->id}, {"title", cause.kind->title}};
    PutName(&object, "subject", cause.subject);
    object["files"] = cause.files;
    object["findings"] = cause.findings;
    object["acknowledged"] = cause.acknowledged;
    object["meaning"] = cause.kind->meaning;
    object["advice"] = cause.kind->advice;
    PutName(&object, "example", example.name);
    return object;
}

json HeadJson(const Report& report) {
    json share = json::object();
    PutName(&share, "path", report.sharePath);
    PutName(&share, "id", report.shareId);
    share["hours"] = report.hours;
    share["layout"] = report.layout;
    PutName(&share, "configuration", report.configPath);
    PutName(&share, "volume_table", report.volumeTable);
    json head = {{"format", kFormat},
                 {"version", kReportVersion},
                 {"share", share},
                 {"started", TimeText(report.started)},
                 {"ended", TimeText(report.ended)},
                 {"status", report.status},
                 {"verdict", VerdictOf(report)},
                 {"counted", report.counted},
                 {"affected_files", report.affected.size()}};
    // A report of all parts says nothing of them: it is the same as that of one run.
    if (report.present.size() < report.parts) {
        head["parts"] = {
            {"of", report.parts}, {"present", report.present}, {"division", report.division}};
    }
    head["coverage"] = CoverageJson(report.coverage);
    head["causes"] = json::array();
    for (const Cause& cause : report.causes) {
        head["causes"].push_back(CauseJson(cause, report.findings.at(cause.first)));
    }
    head["volumes"] = report.volumes;
    head["history"] = json::array();
    for (const PastRun& past : report.history) {
        head["history"].push_back({{"ended", TimeText(past.ended)},
                                   {"status", past.status},
                                   {"findings", past.findings},
                                   {"files", past.files}});
    }
    head["tally"] = report.tally;
    return head;
}

json ShareJson(const FleetShare& share) {
    json object = json::object();
    PutName(&object, "name", share.name);
    object["status"] = share.status;
    object["verdict"] = share.verdict;
    if (!share.problem.empty()) {
        PutName(&object, "problem", share.problem);
    }
    if (!share.reported) {
        return object;
    }
    PutName(&object, "path", share.path);
    PutName(&object, "id", share.id);
    PutName(&object, "page", share.page);
    object["ended"] = TimeText(share.ended);
    object["files"] = share.files;
    object["affected_files"] = share.affected;
    object["findings"] = share.findings;
    if (share.fresh) {
        object["new"] = *share.fresh;
    }
    if (share.gone) {
        object["gone"] = *share.gone;
    }
    return object;
}

json CauseJson(const FleetCause& cause) {
    json object = {{"kind", cause.kind->id}, {"title", cause.kind->title}};
    PutName(&object, "subject", cause.subject);
    // Their names are UTF-8 in a plan, and any path without one.
    object["shares"] = json::array();
    for (const std::string& share : cause.shares) {
        object["shares"].push_back(terminal::Printable(share));
    }
    object["files"] = cause.files;
    object["findings"] = cause.findings;
    object["acknowledged"] = cause.acknowledged;
    object["meaning"] = cause.kind->meaning;
    object["advice"] = cause.kind->advice;
    return object;
}

Report ReportOfHead(const json& head) {
    if (head.at("format") != kFormat || head.at("version") > kReportVersion) {
        throw terminal::ToolError("not a report that this version reads");
    }
    Report report;
    const json& share = head.at("share");
    report.sharePath = GetName(share, "path");
    report.shareId = GetName(share, "id");
    report.configPath = GetName(share, "configuration");
    report.volumeTable = GetName(share, "volume_table");
    share.at("hours").get_to(report.hours);
    share.at("layout").get_to(report.layout);
    report.started = TimeOf(head.at("started"));
    report.ended = TimeOf(head.at("ended"));
    head.at("counted").get_to(report.counted);
    head.at("status").get_to(report.status);
    head.at("tally").get_to(report.tally);
    if (head.contains("parts")) {
        head.at("parts").at("of").get_to(report.parts);
        head.at("parts").at("present").get_to(report.present);
        report.division = head.at("parts").value("division", "");
    }
    head.at("volumes").get_to(report.volumes);
    for (const json& object : head.at("history")) {
        report.history.push_back({TimeOf(object.at("ended")), object.at("status"),
                                  object.at("findings"), object.at("files")});
    }
    return report;
}

}  // namespace

void PutName(json* object, const std::string& key, const std::string& bytes) {
    if (terminal::IsUtf8(bytes)) {
        (*object)[key] = bytes;
        return;
    }
    (*object)[key] = terminal::Printable(bytes);
    std::string digits;
    boost::algorithm::hex_lower(bytes, std::back_inserter(digits));
    (*object)[key + "_bytes"] = digits;
}

std::string GetName(const json& object, const std::string& key) {
    const auto digits = object.find(key + "_bytes");
    if (digits == object.end()) {
        return object.at(key);
    }
    std::string bytes;
    boost::algorithm::unhex(digits->get<std::string>(), std::back_inserter(bytes));
    return bytes;
}

void to_json(json& object, const Finding& finding) {
    object = {{"kind", finding.kind->id},
              {"class", finding.kind->cls == Class::kDamage ? "damage" : "unchecked"},
              {"object", ObjectWord(finding.object)}};
    PutName(&object, "name", finding.name);
    if (!finding.group.empty()) {
        PutName(&object, "group", finding.group);
    }
    if (!finding.detail.empty()) {
        object["detail"] = finding.detail;
    }
    if (!finding.containers.empty()) {
        object["containers"] = finding.containers;
    }
    if (!finding.lines.empty()) {
        object["lines"] = finding.lines;
    }
    if (finding.since != 0) {
        object["since"] = TimeText(finding.since);
    }
    if (finding.acknowledged) {
        object["acknowledged"] = {{"date", finding.acknowledged->date},
                                  {"note", finding.acknowledged->note}};
    }
}

void from_json(const json& object, Finding& finding) {
    const std::string id = object.at("kind");
    const std::string word = object.at("object");
    finding.kind = FindKind(id);
    const auto known = ObjectOf(word);
    if (finding.kind == nullptr || !known) {
        throw terminal::ToolError("a finding of an unknown kind: " + id + ", " + word);
    }
    finding.object = *known;
    finding.name = GetName(object, "name");
    if (object.contains("group")) {
        finding.group = GetName(object, "group");
    }
    finding.detail = object.value("detail", "");
    finding.containers = object.value("containers", std::vector<std::uint64_t>());
    finding.lines = object.value("lines", std::vector<std::string>());
    if (object.contains("since")) {
        finding.since = TimeOf(object.at("since"));
    }
    if (object.contains("acknowledged")) {
        const json& by = object.at("acknowledged");
        finding.acknowledged = Acknowledgement{by.at("date"), by.at("note")};
    }
}

void to_json(json& object, const Tally& tally) {
    object = json::object();
    for (std::size_t i = 0; i < kWhats.size(); ++i) {
        object["counts"][Lower(kWhats.at(i))] = CountJson(tally.counts.at(i), true);
    }
    object["elsewhere"] = tally.elsewhere;
    object["names_with_line_ends"] = tally.hostile;
    object["containers"] = RangesOf(tally.named);
    object["directory_levels"] = tally.levels;
    object["directories"] = json::array();
    for (const auto& [directory, files] : tally.filesIn) {
        json entry = json::object();
        PutName(&entry, "path", directory);
        entry["files"] = files;
        object["directories"].push_back(entry);
    }
}

void from_json(const json& object, Tally& tally) {
    object.at("elsewhere").get_to(tally.elsewhere);
    object.at("names_with_line_ends").get_to(tally.hostile);
    object.at("directory_levels").get_to(tally.levels);
    tally.named = IdsOf(object.at("containers").get<std::string>());
    for (std::size_t i = 0; i < kWhats.size(); ++i) {
        const json& count = object.at("counts").at(Lower(kWhats.at(i)));
        tally.counts.at(i) = {count.at("looked_at"), count.at("there_are")};
    }
    for (const json& entry : object.at("directories")) {
        tally.filesIn[GetName(entry, "path")] = entry.at("files");
    }
}

void to_json(json& object, const Volume& volume) {
    object = json::object();
    PutName(&object, "path", volume.path);
    object["containers"] = volume.containers;
    object["whole"] = volume.whole;
}

void from_json(const json& object, Volume& volume) {
    volume = {GetName(object, "path"), object.at("containers"), object.at("whole")};
}

std::string Packed(const json& object) {
    std::string bytes;
    json::to_cbor(object, bytes);
    return bytes;
}

json Unpacked(const std::string& bytes) {
    return json::from_cbor(bytes);
}

std::string TimeText(std::int64_t seconds) {
    const std::time_t time = seconds;
    std::tm fields = {};
    ::gmtime_r(&time, &fields);
    std::array<char, 32> text = {};
    const std::size_t length = std::strftime(text.data(), text.size(), "%FT%TZ", &fields);
    return {text.data(), length};
}

std::int64_t TimeOf(const std::string& text) {
    std::tm fields = {};
    const char* const rest = ::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &fields);
    if (rest == nullptr || *rest != '\0') {
        throw terminal::ToolError("\"" + text + "\": expected a time as 2026-11-21T03:00:00Z");
    }
    return ::timegm(&fields);
}

void WriteJson(const Report& report, std::ostream& out) {
    // ASCII alone, so that a name cannot steer the terminal that shows the file.
    const std::string head = HeadJson(report).dump(1, ' ', true);
    out << std::string_view(head).substr(0, head.size() - 2) << ",\n \"findings\": [";
    const char* separator = "\n";
    // One by one: a document of all of them would take many times their memory.
    for (const Finding& finding : report.findings) {
        out << separator << json(finding).dump(-1, ' ', true);
        separator = ",\n";
    }
    out << "\n ]\n}\n";
}

void WriteJson(const Fleet& fleet, std::ostream& out) {
    const Report& sum = fleet.Sum();
    json head = {{"format", kFleetFormat},         {"version", kReportVersion},
                 {"made", TimeText(fleet.Made())}, {"status", sum.status},
                 {"verdict", VerdictOf(sum)},      {"shares", json::array()}};
    for (const FleetShare& share : fleet.Shares()) {
        head["shares"].push_back(ShareJson(share));
    }
    head["coverage"] = CoverageJson(sum.coverage);
    head["causes"] = json::array();
    for (const FleetCause& cause : fleet.Causes()) {
        head["causes"].push_back(CauseJson(cause));
    }
    if (fleet.Difference()) {
        head["difference"] = *fleet.Difference();
        head["difference"].erase("still_there");
    }
    head["findings"] = sum.findings;
    out << head.dump(1, ' ', true) << '\n';
}

void ReadFleet(const std::string& file, Report* rows, std::map<std::string, FleetShare>* shares) {
    std::ifstream in(file, std::ios::binary);
    try {
        const json fleet = json::parse(in);
        if (fleet.at("format") != kFleetFormat || fleet.at("version") > kReportVersion) {
            throw terminal::ToolError("not a report that this version reads");
        }
        rows->findings = fleet.at("findings").get<std::vector<Finding>>();
        std::ranges::sort(rows->findings);
        for (const json& object : fleet.at("shares")) {
            FleetShare share = {.name = GetName(object, "name"),
                                .reported = object.contains("ended")};
            if (share.reported) {
                share.ended = TimeOf(object.at("ended"));
                object.at("findings").get_to(share.findings);
            }
            shares->emplace(share.name, share);
        }
    } catch (const terminal::ToolError& error) {
        throw terminal::ToolError(file + ": " + error.Message());
    } catch (const std::exception& error) {
        throw terminal::ToolError(file + ": " + error.what());
    }
}

Report ReadReport(const std::string& path) {
    std::vector<Finding> findings;
    Report report =
        ReadReport(path, [&](Finding finding) { findings.push_back(std::move(finding)); });
    report.findings = std::move(findings);
    Compose(&report);
    return report;
}

Report ReadReport(const std::string& path, const std::function<void(Finding)>& take) {
    struct stat attributes = {};
    const bool isDirectory = ::stat(path.c_str(), &attributes) == 0 && S_ISDIR(attributes.st_mode);
    const std::string file = isDirectory ? path + "/report.json" : path;
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        throw terminal::ToolError(terminal::Errno(file, errno));
    }
    try {
        bool inFindings = false;
        // Leaves the findings out of the document.
        const auto filter = [&](int depth, json::parse_event_t event, json& parsed) {
            if (event == json::parse_event_t::key && depth == 1) {
                inFindings = parsed == "findings";
            }
            if (inFindings && depth == 2 && event == json::parse_event_t::object_end) {
                take(parsed.get<Finding>());
                return false;
            }
            return true;
        };
        return ReportOfHead(json::parse(in, filter));
    } catch (const terminal::ToolError& error) {
        throw terminal::ToolError(file + ": " + error.Message());
    } catch (const std::exception& error) {
        throw terminal::ToolError(file + ": not a report: " + error.what());
    }
}

}  // namespace jorvaudit
