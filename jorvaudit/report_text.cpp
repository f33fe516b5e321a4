#include <algorithm>
#include <cstdio>
#include <sstream>

#include "jorvaudit/compare.h"
#include "jorvaudit/fleet.h"
#include "jorvaudit/output.h"
#include "jorvaudit/report_json.h"
#include "terminal/printable.h"

namespace jorvaudit {

namespace {

constexpr std::size_t kMostCauses = 20;
constexpr std::size_t kMostFindings = 20;
constexpr std::size_t kWidth = 90;

// In lines of a width for reading, each after `indent`.
std::string Wrapped(std::string_view text, const std::string& indent) {
    std::istringstream words{std::string(text)};
    std::string result;
    std::string line = indent;
    for (std::string word; words >> word;) {
        if (line.size() > indent.size() && line.size() + 1 + word.size() > kWidth) {
            result += line + "\n";
            line = indent;
        }
        line += (line.size() > indent.size() ? " " : "") + word;
    }
    return result + line + "\n";
}

std::string Row(std::string_view what, const std::string& lookedAt, const std::string& thereAre,
                const std::string& part) {
    std::ostringstream out;
    out << "  " << what << std::string(20 - std::min<std::size_t>(what.size(), 20), ' ');
    for (const std::string& cell : {lookedAt, thereAre, part}) {
        out << std::string(14 - std::min<std::size_t>(cell.size(), 14), ' ') << cell;
    }
    return out.str() + "\n";
}

// Never more than it is: 100 % is all.
std::string PartText(const Count& count) {
    if (count.lookedAt == count.thereAre) {
        return "100 %";
    }
    const std::uint64_t tenths = count.lookedAt * 1000 / count.thereAre;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " %";
}

std::string CoverageText(const Report& report) {
    std::string text = "Coverage\n" + Row("", "looked at", "there are", "");
    for (const CoverageRow& row : report.coverage) {
        const std::string_view what = kWhats.at(static_cast<std::size_t>(row.what));
        text += row.known ? Row(what, std::to_string(row.count.lookedAt),
                                std::to_string(row.count.thereAre), PartText(row.count))
                          : Row(what, "0", "not counted", "");
    }
    return text + "Of containers the names are looked at, not the data.\n";
}

std::string Head(const Cause& cause) {
    std::string head(cause.kind->title);
    if (!cause.subject.empty()) {
        head += ": " + terminal::Printable(cause.subject);
    }
    if (cause.files > 0) {
        head += " (" + std::to_string(cause.files) + (cause.files == 1 ? " file)" : " files)");
    }
    return head + (cause.acknowledged ? " - acknowledged" : "");
}

std::string CausesText(const Fleet& fleet) {
    constexpr std::size_t kMostShares = 10;
    const std::vector<FleetCause>& causes = fleet.Causes();
    std::string text = causes.empty() ? "" : "\nCauses\n";
    for (const FleetCause& cause : std::span(causes).first(std::min(causes.size(), kMostCauses))) {
        text += "* " +
                Head({.kind = cause.kind,
                      .subject = cause.subject,
                      .files = cause.files,
                      .acknowledged = cause.acknowledged}) +
                "\n";
        std::string shares = "in";
        for (const std::string& share :
             std::span(cause.shares).first(std::min(cause.shares.size(), kMostShares))) {
            shares += " " + terminal::Printable(share);
        }
        if (cause.shares.size() > kMostShares) {
            shares += " and " + std::to_string(cause.shares.size() - kMostShares) + " more shares";
        }
        text += Wrapped(shares, "    ") + Wrapped(cause.kind->meaning, "    ") +
                Wrapped(cause.kind->advice, "    ");
    }
    if (causes.size() > kMostCauses) {
        text += "... and " + std::to_string(causes.size() - kMostCauses) + " more\n";
    }
    return text;
}

std::string CausesText(const Report& report) {
    std::string text = "Causes\n";
    for (const Cause& cause :
         std::span(report.causes).first(std::min(report.causes.size(), kMostCauses))) {
        const Finding& example = report.findings.at(cause.first);
        text += "* " + Head(cause) + "\n" + Wrapped(cause.kind->meaning, "    ");
        if (!example.detail.empty() && example.object != Object::kFile) {
            text += Wrapped(example.detail, "    ");
        }
        text += Wrapped(cause.kind->advice, "    ");
        const std::string command = CommandFor(*cause.kind, example, report);
        if (!command.empty()) {
            text += "    $ " + command + "\n";
        }
    }
    if (report.causes.size() > kMostCauses) {
        text += "... and " + std::to_string(report.causes.size() - kMostCauses) + " more\n";
    }
    return text;
}

std::string FindingsText(const Report& report) {
    const std::size_t count = std::min(report.findings.size(), kMostFindings);
    std::string text = "Findings";
    if (count < report.findings.size()) {
        text += ", the first " + std::to_string(count) + " of " +
                std::to_string(report.findings.size());
    }
    text += "\n";
    for (const Finding& finding : std::span(report.findings).first(count)) {
        text += "  " + PlaceOf(finding) + ": " + std::string(finding.kind->title);
        text += finding.detail.empty() ? "" : ", " + finding.detail;
        text += finding.acknowledged ? " - acknowledged" : "";
        text += "\n";
    }
    return text;
}

}  // namespace

std::string TextOf(const Report& report) {
    std::string text = "Share " + terminal::Printable(report.sharePath);
    text += report.shareId.empty() ? "" : ", id " + terminal::Printable(report.shareId);
    text += report.layout == "tables"  ? ", mapping tables"
            : report.layout == "files" ? ", extent files"
                                       : "";
    text += "\nAudited from " + TimeText(report.started) + " to " + TimeText(report.ended) + "\n";
    if (report.present.size() < report.parts) {
        text += "Parts " + std::to_string(report.present.size()) + " of " +
                std::to_string(report.parts) + "\n";
    }
    text += "Verdict: " + VerdictOf(report) + "\n\n" + CoverageText(report);
    if (!report.findings.empty()) {
        text += "\n" + CausesText(report) + "\n" + FindingsText(report);
    }
    return text;
}

std::string TextOf(const Fleet& fleet) {
    std::string text = "Fleet of " + std::to_string(fleet.Shares().size()) + " shares, " +
                       TimeText(fleet.Made()) + "\nVerdict: " + VerdictOf(fleet.Sum()) +
                       "\n\nShares\n";
    for (const FleetShare& share : fleet.Shares()) {
        text += "  " + terminal::Printable(share.name) + ": " + share.verdict;
        if (share.findings > 0) {
            text += ", findings: " + std::to_string(share.findings);
        }
        if (share.fresh.value_or(0) > 0) {
            text += " (" + std::to_string(*share.fresh) + " new)";
        }
        text += share.problem.empty() ? "" : "; " + terminal::Printable(share.problem);
        text += "\n";
    }
    text += "\n" + CoverageText(fleet.Sum()) + CausesText(fleet);
    if (fleet.Difference()) {
        text += "\nSince the last report\n" + ListText("New", fleet.Difference()->appeared) +
                ListText(fleet.TitleOfGone(), fleet.Difference()->gone);
    }
    return text;
}

}  // namespace jorvaudit
