#include "jorvaudit/acknowledge.h"

#include <toml++/toml.h>

#include <algorithm>
#include <boost/algorithm/hex.hpp>
#include <iterator>
#include <optional>
#include <sstream>

#include "jorvaudit/report_json.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

class Entry {
  public:
    Entry(const std::string& file, const toml::node& node) : file_(file), node_(node) {
        constexpr std::array<std::string_view, 7> kKeys = {"kind", "name",  "name_bytes", "date",
                                                           "note", "until", "object"};
        if (!node.is_table()) {
            Refuse("expected [[finding]]");
        }
        for (const auto& [key, value] : *node.as_table()) {
            if (std::ranges::find(kKeys, key.str()) == kKeys.end()) {
                Refuse("unknown key '" + std::string(key.str()) + "'");
            }
        }
    }

    [[nodiscard]] std::optional<std::string> Text(std::string_view key) const {
        const toml::node* const value = node_.as_table()->get(key);
        if (value == nullptr) {
            return std::nullopt;
        }
        if (const auto text = value->value<std::string>()) {
            return *text;
        }
        Refuse(std::string(key) + " must be a text");
    }

    // YYYY-MM-DD, with quotation marks or without: texts of that form are in the order of time.
    [[nodiscard]] std::optional<std::string> Date(std::string_view key) const {
        const toml::node* const value = node_.as_table()->get(key);
        if (value == nullptr) {
            return std::nullopt;
        }
        std::ostringstream text;
        if (value->is_date()) {
            text << value->as_date()->get();
        } else {
            text << Text(key).value_or("");
        }
        try {
            TimeOf(text.str() + "T00:00:00Z");
        } catch (const terminal::ToolError&) {
            Refuse(std::string(key) + " must be a date as 2026-11-21");
        }
        return text.str();
    }

    [[nodiscard]] std::string Required(std::string_view key,
                                       const std::optional<std::string>& value) const {
        if (!value) {
            Refuse("'" + std::string(key) + "' is missing");
        }
        return *value;
    }

    [[noreturn]] void Refuse(const std::string& why) const {
        throw terminal::ToolError(file_ + ":" + std::to_string(node_.source().begin.line) + ": " +
                                  why);
    }

  private:
    const std::string& file_;
    const toml::node& node_;
};

Finding WantedBy(const Entry& entry) {
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
    } else {
        wanted.name = entry.Required("name", entry.Text("name"));
    }
    wanted.acknowledged = Acknowledgement{entry.Required("date", entry.Date("date")),
                                          entry.Text("note").value_or("")};
    return wanted;
}

}  // namespace

void Acknowledge(const std::string& file, std::int64_t now, Report* report) {
    try {
        const toml::table document = toml::parse_file(file);
        for (const auto& [key, value] : document) {
            if (key.str() != "finding" || !value.is_array()) {
                throw terminal::ToolError(file + ":" + std::to_string(key.source().begin.line) +
                                          ": expected [[finding]]");
            }
            for (const toml::node& node : *value.as_array()) {
                const Entry entry(file, node);
                const Finding wanted = WantedBy(entry);
                const auto until = entry.Date("until");
                const auto found = std::ranges::lower_bound(report->findings, wanted);
                if (found != report->findings.end() && *found == wanted &&
                    (!until || TimeText(now).substr(0, until->size()) <= *until)) {
                    found->acknowledged = wanted.acknowledged;
                }
            }
        }
    } catch (const toml::parse_error& error) {
        throw terminal::ToolError(file + ":" + std::to_string(error.source().begin.line) + ": " +
                                  std::string(error.description()));
    }
}

}  // namespace jorvaudit
