#include "jorvaudit/output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <ostream>

#include "jorvaudit/listing.h"
#include "jorvaudit/report_json.h"
#include "terminal/printable.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

constexpr std::size_t kMostPastRuns = 50;

// A word of a command line that means these bytes, in letters that no terminal takes for others.
std::string Quoted(const std::string& word) {
    constexpr std::string_view kPlain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./:=,@%+-";
    const std::string shown = terminal::Printable(word);
    if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) {
        return word;
    }
    const bool isPrintable = shown == word;
    std::string quoted = isPrintable ? "'" : "$'";
    for (const char letter : shown) {
        quoted += letter != '\'' ? std::string(1, letter) : isPrintable ? "'\\''" : "\\'";
    }
    return quoted + "'";
}

void Replace(std::string* text, std::string_view what, const std::string& by) {
    for (std::size_t at = text->find(what); at != std::string::npos;
         at = text->find(what, at + by.size())) {
        text->replace(at, what.size(), by);
    }
}

}  // namespace

void WriteFile(const std::string& path, const std::function<void(std::ostream&)>& write) {
    const std::string fresh = path + ".new";
    std::ofstream out(fresh, std::ios::binary | std::ios::trunc);
    write(out);
    out.close();
    if (!out || std::rename(fresh.c_str(), path.c_str()) != 0) {
        const int code = errno;
        std::remove(fresh.c_str());
        throw terminal::ToolError(terminal::Errno(path, code));
    }
}

void WriteReport(const Report& report, const std::string& directory) {
    WriteFile(directory + "/affected.txt", [&](std::ostream& out) {
        for (const std::string& name : report.affected) {
            out << terminal::Printable(name) << '\n';
        }
    });
    WriteFile(directory + "/affected0", [&](std::ostream& out) {
        for (const std::string& name : report.affected) {
            out << name << '\0';
        }
    });
    WriteFile(directory + "/report.html", [&](std::ostream& out) { WriteHtml(report, out); });
    // Last: where it is new, the others are.
    WriteFile(directory + "/report.json", [&](std::ostream& out) { WriteJson(report, out); });
}

void CarryOver(const std::string& directory, Report* report) {
    for (Finding& finding : report->findings) {
        finding.since = report->ended;
    }
    if (!std::filesystem::exists(directory + "/report.json")) {
        return;
    }
    std::uint64_t findings = 0;
    Report past;
    try {
        past = ReadReport(directory, [&](const Finding& finding) {
            ++findings;
            const auto same = std::ranges::lower_bound(report->findings, finding);
            if (finding.since != 0 && same != report->findings.end() && *same == finding) {
                same->since = finding.since;
            }
        });
    } catch (const terminal::ToolError&) {
        // A report of another version tells nothing; the new one replaces it.
        return;
    }
    if (past.sharePath != report->sharePath) {
        return;
    }
    report->history = std::move(past.history);
    if (past.started == report->started && past.ended == report->ended &&
        findings == report->findings.size()) {
        // The parts of the same audit, merged again.
        return;
    }
    report->history.push_back(
        {past.ended, past.status, findings, past.tally[What::kFiles].thereAre});
    if (report->history.size() > kMostPastRuns) {
        report->history.erase(report->history.begin());
    }
}

std::string CommandFor(const Kind& kind, const Finding& finding, const Report& report) {
    std::string command(kind.command);
    const bool isFile = finding.object == Object::kFile;
    const std::string name =
        finding.object == Object::kDirectory ? report.sharePath + "/" + finding.name : finding.name;
    if (!isFile && command.find("{head}") != std::string::npos) {
        return {};
    }
    Replace(&command, "{head}", Quoted(PathIn(report.sharePath, Tree::kHead, finding.name)));
    Replace(&command, "{map}", Quoted(PathIn(report.sharePath, Tree::kMap, finding.name)));
    Replace(&command, "{stu}", Quoted(PathIn(report.sharePath, Tree::kStu, finding.name)));
    Replace(&command, "{share}", Quoted(report.sharePath));
    Replace(&command, "{config}",
            Quoted(report.configPath.empty() ? "/etc/jorv/jorv.toml" : report.configPath));
    Replace(&command, "{name}", Quoted(name));
    return command;
}

std::string PlaceOf(const Finding& finding) {
    const std::string name = terminal::Printable(finding.name);
    return finding.object == Object::kFile ? name
                                           : std::string(ObjectWord(finding.object)) + " " + name;
}

}  // namespace jorvaudit
