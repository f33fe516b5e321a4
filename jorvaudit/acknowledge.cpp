#include "jorvaudit/acknowledge.h"

#include <algorithm>
#include <array>
#include <boost/algorithm/hex.hpp>
#include <iterator>

#include "jorvaudit/report_json.h"
#include "jorvaudit/toml_entry.h"
#include "terminal/printable.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

constexpr std::array<std::string_view, 7> kKeys = {"kind", "name",  "name_bytes", "date",
                                                   "note", "until", "object"};

Finding WantedBy(const TomlEntry& entry) {
    Finding wanted;
    const std::string kind = entry.Required("kind", entry.Text("kind"));
    wanted.kind = FindKind(kind);
    if (wanted.kind == nullptr) {
        entry.Refuse("unknown kind '" + kind + "'");
    }
    const auto object = ObjectOf(entry.Text("object").value_or("file"));
    if (!object) {
        entry.Refuse("unknown object");
    }
    wanted.object = *object;
    if (const auto digits = entry.Text("name_bytes")) {
        try {
            boost::algorithm::unhex(*digits, std::back_inserter(wanted.name));
        } catch (const boost::algorithm::hex_decode_error&) {
            entry.Refuse("name_bytes must be hexadecimal digits");
        }
        // A report has both for a name that is not UTF-8.
        const std::string name = entry.Text("name").value_or(wanted.name);
        if (name != wanted.name && name != terminal::Printable(wanted.name)) {
            entry.Refuse("name and name_bytes are of different names");
        }
    } else {
        wanted.name = entry.Required("name", entry.Text("name"));
    }
    wanted.acknowledged = Acknowledgement{entry.Required("date", entry.Date("date")),
                                          entry.Text("note").value_or("")};
    return wanted;
}

}  // namespace

std::vector<Known> ReadKnown(const std::string& file) {
    std::vector<Known> known;
    if (file.empty()) {
        return known;
    }
    const toml::table document = ReadToml(file);
    for (const auto& [key, value] : document) {
        if (key.str() != "finding" || !value.is_array()) {
            throw terminal::ToolError(file + ":" + std::to_string(key.source().begin.line) +
                                      ": expected [[finding]]");
        }
        for (const toml::node& node : *value.as_array()) {
            const TomlEntry entry(file, node, "[[finding]]", kKeys);
            known.push_back({.finding = WantedBy(entry), .until = entry.Date("until")});
        }
    }
    return known;
}

void Acknowledge(const std::vector<Known>& known, std::int64_t now, Report* report) {
    for (const auto& [wanted, until] : known) {
        const auto found = std::ranges::lower_bound(report->findings, wanted);
        if (found != report->findings.end() && *found == wanted &&
            (!until || TimeText(now).substr(0, until->size()) <= *until)) {
            found->acknowledged = wanted.acknowledged;
        }
    }
}

}  // namespace jorvaudit
