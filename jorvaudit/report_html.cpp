#include <algorithm>
#include <functional>
#include <map>
#include <ostream>
#include <span>
#include <sstream>

#include "jorvaudit/fleet.h"
#include "jorvaudit/output.h"
#include "jorvaudit/page.h"
#include "jorvaudit/report_json.h"
#include "terminal/printable.h"

namespace jorvaudit {

namespace {

constexpr std::size_t kMostRows = 1000;  // for readers without scripts
constexpr std::size_t kMostRectangles = 300;
constexpr double kMapWidth = 1000;
constexpr double kMapHeight = 420;

std::string Escaped(std::string_view text) {
    std::string escaped;
    for (const char letter : text) {
        switch (letter) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\'':
                escaped += "&#39;";
                break;
            default:
                escaped += letter;
        }
    }
    return escaped;
}

std::string Shown(const std::string& name) {
    return Escaped(terminal::Printable(name));
}

double PartOf(const Count& count) {
    return count.thereAre == 0
               ? 1.0
               : static_cast<double>(count.lookedAt) / static_cast<double>(count.thereAre);
}

void WriteFacts(const Report& report, std::ostream& out) {
    out << "<p class=\"facts\">";
    if (!report.shareId.empty()) {
        out << "Share " << Shown(report.shareId) << ", ";
    }
    if (!report.layout.empty()) {
        out << (report.layout == "tables" ? "mapping tables, " : "extent files, ");
    }
    out << "audited from " << TimeText(report.started) << " to " << TimeText(report.ended) << "; "
        << report.affected.size() << " files with findings</p>";
}

void WriteCoverage(const Report& report, std::ostream& out) {
    out << "<table><thead><tr><th>What</th><th class=\"n\">Looked at</th><th class=\"n\">There "
           "are</th><th>Part</th></tr></thead><tbody>\n";
    for (const CoverageRow& row : report.coverage) {
        const std::string_view what = kWhats.at(static_cast<std::size_t>(row.what));
        const double part = row.known ? PartOf(row.count) : 0;
        const bool all = row.known && row.count.lookedAt == row.count.thereAre;
        out << "<tr><td>" << what << "</td><td class=\"n\">" << row.count.lookedAt
            << "</td><td class=\"n\">";
        row.known ? out << row.count.thereAre : out << "not counted";
        out << "</td><td><svg width=\"220\" height=\"14\" viewBox=\"0 0 220 14\" role=\"img\" "
               "aria-label=\""
            << (all ? "all" : "not all")
            << "\"><rect class=\"bar-all\" width=\"220\" height=\"14\"/>"
            << "<rect class=\"bar" << (all ? "" : " part") << "\" width=\"" << 220 * part
            << "\" height=\"14\"/></svg></td></tr>\n";
    }
    out << "</tbody></table>";
}

void WriteCauses(const Report& report, std::ostream& out) {
    if (report.causes.empty()) {
        return;
    }
    out << "<section aria-labelledby=\"causes\"><h2 id=\"causes\">Causes (" << report.causes.size()
        << ")</h2>\n";
    for (const Cause& cause :
         std::span(report.causes).first(std::min(report.causes.size(), kMostRows))) {
        const Finding& example = report.findings.at(cause.first);
        out << "<details" << (&cause == report.causes.data() ? " open" : "") << "><summary>"
            << Escaped(cause.kind->title);
        if (!cause.subject.empty()) {
            out << ": " << Shown(cause.subject);
        }
        if (cause.files > 0) {
            out << " <span class=\"facts\">" << cause.files
                << (cause.files == 1 ? " file" : " files") << "</span>";
        }
        out << (cause.acknowledged ? " <span class=\"facts\">acknowledged</span>" : "")
            << "</summary><p>" << Escaped(cause.kind->meaning) << "</p><p>"
            << Escaped(cause.kind->advice) << "</p>";
        const std::string command = CommandFor(*cause.kind, example, report);
        if (!command.empty()) {
            out << "<pre>" << Escaped(command) << "</pre>";
        }
        for (const std::string& line : example.lines) {
            out << (&line == example.lines.data() ? "<p>For example:</p><pre>" : "")
                << Escaped(line) << (&line == &example.lines.back() ? "</pre>" : "\n");
        }
        out << "</details>\n";
    }
    out << "</section>";
}

struct Place {
    std::string name;
    std::uint64_t files = 0;
    std::uint64_t affected = 0;
};

// Directories with their files, largest first; what is too small to be drawn is one of them.
std::vector<Place> PlacesOf(const Report& report) {
    std::map<std::string, Place> places;
    for (const auto& [name, files] : report.tally.filesIn) {
        places[name] = {.name = name, .files = files};
    }
    for (const std::string& file : report.affected) {
        std::string_view directory = std::string_view(file).substr(0, file.rfind('/'));
        if (file.find('/') == std::string::npos) {
            directory = {};
        }
        for (auto place = places.find(std::string(directory));;
             place = places.find(std::string(directory))) {
            if (place != places.end()) {
                ++place->second.affected;
                break;
            }
            if (directory.empty()) {
                break;
            }
            const std::size_t slash = directory.rfind('/');
            directory = directory.substr(0, slash == std::string_view::npos ? 0 : slash);
        }
    }
    std::vector<Place> sorted;
    sorted.reserve(places.size());
    for (auto& [name, place] : places) {
        sorted.push_back(std::move(place));
    }
    std::ranges::stable_sort(sorted, std::greater<>(), &Place::files);
    if (sorted.size() > kMostRectangles) {
        Place other = {.name = "other directories"};
        for (const Place& place : std::span(sorted).subspan(kMostRectangles)) {
            other.files += place.files;
            other.affected += place.affected;
        }
        sorted.resize(kMostRectangles);
        sorted.push_back(std::move(other));
    }
    return sorted;
}

struct Box {
    double x, y, width, height;
};

void WritePlace(const Place& place, const Box& box, std::ostream& out) {
    constexpr double kLetterWidth = 7;
    const double part = static_cast<double>(place.affected) /
                        static_cast<double>(std::max<std::uint64_t>(place.files, 1));
    const char* const colour = place.affected == 0 ? "c0"
                               : part < 0.01       ? "c1"
                               : part < 0.5        ? "c2"
                                                   : "c3";
    const std::string name = place.name.empty() ? "(top)" : terminal::Printable(place.name);
    out << "<g><title>" << Escaped(name) << ": " << place.files << " files, " << place.affected
        << " with findings</title><rect class=\"" << colour << "\" x=\"" << box.x << "\" y=\""
        << box.y << "\" width=\"" << box.width << "\" height=\"" << box.height << "\"/>";
    if (box.height > 16 && box.width > kLetterWidth * static_cast<double>(name.size() + 1)) {
        out << "<text x=\"" << box.x + 4 << "\" y=\"" << box.y + 14 << "\">" << Escaped(name)
            << "</text>";
    }
    out << "</g>\n";
}

// Cuts the box across its longer side where both halves hold about as many files.
void WritePlaces(std::span<const Place> places, const Box& box, std::ostream& out) {
    if (places.size() == 1) {
        WritePlace(places.front(), box, out);
        return;
    }
    std::uint64_t all = 0;
    for (const Place& place : places) {
        all += place.files;
    }
    std::size_t count = 1;
    std::uint64_t first = places.front().files;
    while (count + 1 < places.size() && (first + places[count].files) * 2 <= all) {
        first += places[count++].files;
    }
    const double part = all == 0 ? 0.5 : static_cast<double>(first) / static_cast<double>(all);
    Box one = box;
    Box two = box;
    if (box.width > box.height) {
        one.width = box.width * part;
        two.x += one.width;
        two.width -= one.width;
    } else {
        one.height = box.height * part;
        two.y += one.height;
        two.height -= one.height;
    }
    WritePlaces(places.first(count), one, out);
    WritePlaces(places.subspan(count), two, out);
}

void WriteMap(const Report& report, std::ostream& out) {
    const std::vector<Place> places = PlacesOf(report);
    if (places.empty()) {
        return;
    }
    out << "<section aria-labelledby=\"map\"><h2 id=\"map\">Where</h2><p class=\"facts\">Upper "
           "directories by their number of files. Green: no finding; yellow to red: more of their "
           "files have one.</p><svg class=\"map\" viewBox=\"0 0 "
        << kMapWidth << ' ' << kMapHeight << "\" role=\"img\" aria-label=\"" << places.size()
        << " directories; " << report.affected.size() << " files have findings\">\n";
    WritePlaces(places, {0, 0, kMapWidth, kMapHeight}, out);
    out << "</svg></section>";
}

void WriteHistory(const Report& report, std::ostream& out) {
    if (report.history.empty()) {
        return;
    }
    std::vector<PastRun> runs = report.history;
    runs.push_back({report.ended, report.status, report.findings.size(), 0});
    const std::uint64_t most =
        std::max<std::uint64_t>(1, std::ranges::max(runs, {}, &PastRun::findings).findings);
    std::ostringstream points;
    std::ostringstream dots;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const double x = 20 + 960.0 * static_cast<double>(i) / static_cast<double>(runs.size() - 1);
        const double y =
            110 - 90.0 * static_cast<double>(runs[i].findings) / static_cast<double>(most);
        points << x << ',' << y << ' ';
        dots << "<circle cx=\"" << x << "\" cy=\"" << y << "\" r=\"4\"><title>"
             << TimeText(runs[i].ended) << ": " << runs[i].findings
             << " findings</title></circle>\n";
    }
    out << "<section aria-labelledby=\"runs\"><h2 id=\"runs\">The last audits</h2><svg "
           "class=\"runs\" viewBox=\"0 0 1000 130\" role=\"img\" aria-label=\"Findings of the last "
        << runs.size() << " audits, now " << report.findings.size() << ", at most " << most
        << "\"><polyline points=\"" << points.str() << "\"/>" << dots.str() << "</svg></section>";
}

void WriteRows(const Report& report, std::ostream& out) {
    out << "<table><thead><tr><th>Where</th><th>What</th><th>Details</th><th>Since</th></tr>"
           "</thead><tbody id=\"rows\">\n";
    const std::size_t count = std::min(report.findings.size(), kMostRows);
    for (const Finding& finding : std::span(report.findings).first(count)) {
        out << "<tr" << (finding.acknowledged ? " class=\"acknowledged\"" : "")
            << "><td class=\"name\">" << Escaped(PlaceOf(finding)) << "</td><td>"
            << Escaped(finding.kind->title) << "</td><td class=\"name\">" << Escaped(finding.detail)
            << "</td><td>" << TimeText(finding.since).substr(0, 10) << "</td></tr>\n";
    }
    out << "</tbody></table>";
    if (count < report.findings.size()) {
        out << "<noscript><p>These are the first " << count
            << ". All are in report.json, the files "
               "in affected.txt.</p></noscript>";
    }
}

// A piece of JSON inside of a script element: nothing in it may look like the element's end.
std::string InScript(const nlohmann::ordered_json& value) {
    std::string text = value.dump(-1, ' ', true);
    for (std::size_t at = text.find('<'); at != std::string::npos; at = text.find('<', at)) {
        text.replace(at, 1, "\\u003c");
    }
    return text;
}

void WriteData(const Report& report, std::ostream& out) {
    std::map<std::string_view, std::size_t> numbers;
    nlohmann::ordered_json kinds = nlohmann::ordered_json::array();
    for (const Finding& finding : report.findings) {
        if (numbers.try_emplace(finding.kind->id, numbers.size()).second) {
            kinds.push_back({finding.kind->id, finding.kind->title});
        }
    }
    out << "{\"kinds\":" << InScript(kinds) << ",\"findings\":[";
    const char* separator = "\n";
    for (const Finding& finding : report.findings) {
        out << separator
            << InScript({PlaceOf(finding), numbers.at(finding.kind->id), finding.detail,
                         TimeText(finding.since).substr(0, 10),
                         finding.acknowledged ? finding.acknowledged->date : ""});
        separator = ",\n";
    }
    out << "]}";
}

// The page with what `write` puts in place of its words.
void FillPage(const std::function<void(std::string_view)>& write, std::ostream& out) {
    std::string_view rest = kPage;
    for (std::size_t at = rest.find("{{"); at != std::string_view::npos; at = rest.find("{{")) {
        const std::size_t end = rest.find("}}", at);
        out << rest.substr(0, at);
        write(rest.substr(at + 2, end - at - 2));
        rest.remove_prefix(end + 2);
    }
    out << rest;
}

// What the pages of a share and of a fleet have in common.
void WriteShared(std::string_view word, const Report& report, std::ostream& out) {
    if (word == "verdict_class") {
        out << (report.status == kSound         ? "sound"
                : (report.status & kFound) != 0 ? "damaged"
                                                : "unchecked");
    } else if (word == "verdict") {
        out << VerdictOf(report);
    } else if (word == "coverage") {
        WriteCoverage(report, out);
    } else if (word == "total") {
        out << report.findings.size();
    } else if (word == "findings") {
        WriteRows(report, out);
    } else if (word == "data") {
        WriteData(report, out);
    }
}

void WriteCauses(const Fleet& fleet, std::ostream& out) {
    if (fleet.Causes().empty()) {
        return;
    }
    out << "<section aria-labelledby=\"causes\"><h2 id=\"causes\">Causes (" << fleet.Causes().size()
        << ")</h2>\n";
    for (const FleetCause& cause :
         std::span(fleet.Causes()).first(std::min(fleet.Causes().size(), kMostRows))) {
        out << "<details><summary>" << Escaped(cause.kind->title)
            << (cause.subject.empty() ? "" : ": ") << Shown(cause.subject)
            << " <span class=\"facts\">" << cause.shares.size()
            << (cause.shares.size() == 1 ? " share" : " shares") << ", " << cause.files
            << (cause.files == 1 ? " file" : " files")
            << (cause.acknowledged ? ", acknowledged" : "") << "</span></summary><p>"
            << Escaped(cause.kind->meaning) << "</p><p>" << Escaped(cause.kind->advice)
            << "</p><pre>";
        for (const std::string& share : cause.shares) {
            out << Shown(share) << "\n";
        }
        out << "</pre></details>\n";
    }
    out << "</section>";
}

// A path for a link: a name may hold anything but a slash.
std::string Link(const std::string& path) {
    constexpr std::string_view kPlain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.-/";
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string link;
    for (const char letter : path) {
        const auto byte = static_cast<unsigned char>(letter);
        link += kPlain.find(letter) != std::string_view::npos
                    ? std::string(1, letter)
                    : std::string{'%', kDigits[byte / 16], kDigits[byte % 16]};
    }
    return link;
}

void WriteShares(const Fleet& fleet, std::ostream& out) {
    out << "<section aria-labelledby=\"shares\"><h2 id=\"shares\">Shares</h2>"
           "<table><thead><tr><th>Share</th><th>Verdict</th><th>Audited</th><th "
           "class=\"n\">Files</th><th class=\"n\">with findings</th><th "
           "class=\"n\">Findings</th><th class=\"n\">new</th><th "
           "class=\"n\">gone</th></tr></thead><tbody>\n";
    for (const FleetShare& share : fleet.Shares()) {
        out << "<tr><td class=\"name\">";
        if (share.page.empty()) {
            out << Shown(share.name);
        } else {
            out << "<a href=\"" << Link(share.page) << "\">" << Shown(share.name) << "</a>";
        }
        out << "</td><td class=\"name\">" << Escaped(share.verdict)
            << (share.problem.empty() ? "" : "; ") << Shown(share.problem) << "</td><td>"
            << (share.reported ? TimeText(share.ended) : "") << "</td>";
        const auto number = [&](std::optional<std::uint64_t> value) {
            out << "<td class=\"n\">" << (share.reported && value ? std::to_string(*value) : "")
                << "</td>";
        };
        number(share.files);
        number(share.affected);
        number(share.findings);
        number(share.fresh);
        number(share.gone);
        out << "</tr>\n";
    }
    out << "</tbody></table></section>";
}

void WriteDifference(const Fleet& fleet, std::ostream& out) {
    if (!fleet.Difference()) {
        return;
    }
    const auto list = [&](const std::string& title, const std::vector<const Finding*>& findings) {
        out << "<h3>" << title << " (" << findings.size() << ")</h3><ul>\n";
        for (const Finding* const finding :
             std::span(findings).first(std::min(findings.size(), kMostRows))) {
            out << "<li>" << Escaped(PlaceOf(*finding)) << ": " << Escaped(finding->kind->title)
                << "</li>\n";
        }
        out << "</ul>";
    };
    out << "<section aria-labelledby=\"difference\"><h2 id=\"difference\">Since the last "
           "report</h2>";
    list("New", fleet.Difference()->appeared);
    list(fleet.TitleOfGone(), fleet.Difference()->gone);
    out << "</section>";
}

}  // namespace

void WriteHtml(const Fleet& fleet, std::ostream& out) {
    const auto write = [&](std::string_view word) {
        if (word == "share") {
            out << fleet.Shares().size() << " shares";
        } else if (word == "facts") {
            out << "<p class=\"facts\">Report of a fleet, made at " << TimeText(fleet.Made())
                << "</p>";
        } else if (word == "causes") {
            WriteShares(fleet, out);
            WriteCauses(fleet, out);
        } else if (word == "history") {
            WriteDifference(fleet, out);
        } else {
            WriteShared(word, fleet.Sum(), out);
        }
    };
    FillPage(write, out);
}

void WriteHtml(const Report& report, std::ostream& out) {
    const auto write = [&](std::string_view word) {
        if (word == "share") {
            out << Shown(report.sharePath);
        } else if (word == "facts") {
            WriteFacts(report, out);
        } else if (word == "causes") {
            WriteCauses(report, out);
        } else if (word == "map") {
            WriteMap(report, out);
        } else if (word == "history") {
            WriteHistory(report, out);
        } else {
            WriteShared(word, report, out);
        }
    };
    FillPage(write, out);
}

}  // namespace jorvaudit
