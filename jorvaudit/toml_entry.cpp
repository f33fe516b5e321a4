#include "jorvaudit/toml_entry.h"

#include <algorithm>
#include <sstream>

#include "jorvaudit/report_json.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

[[noreturn]] void RefuseAt(const std::string& file, const toml::source_region& place,
                           const std::string& why) {
    throw terminal::ToolError(file + ":" + std::to_string(place.begin.line) + ": " + why);
}

}  // namespace

TomlEntry::TomlEntry(const std::string& file, const toml::node& node, std::string_view form,
                     std::span<const std::string_view> keys)
    : file_(file), node_(node) {
    if (!node.is_table()) {
        Refuse("expected " + std::string(form));
    }
    for (const auto& [key, value] : *node.as_table()) {
        if (std::ranges::find(keys, key.str()) == keys.end()) {
            RefuseAt(file, key.source(), "unknown key '" + std::string(key.str()) + "'");
        }
    }
}

const toml::node* TomlEntry::Get(std::string_view key) const {
    return node_.as_table()->get(key);
}

std::optional<std::string> TomlEntry::Text(std::string_view key) const {
    const toml::node* const value = Get(key);
    if (value == nullptr) {
        return std::nullopt;
    }
    if (!value->is_string()) {
        RefuseKey(key, "must be a text");
    }
    return value->value<std::string>();
}

std::optional<std::int64_t> TomlEntry::Number(std::string_view key, std::int64_t least,
                                              std::int64_t most) const {
    const toml::node* const value = Get(key);
    if (value == nullptr) {
        return std::nullopt;
    }
    const auto number = value->value_exact<std::int64_t>();
    if (!number || *number < least || *number > most) {
        RefuseKey(key,
                  "must be a number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return number;
}

std::optional<std::string> TomlEntry::Date(std::string_view key) const {
    const toml::node* const value = Get(key);
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
        RefuseKey(key, "must be a date as 2026-11-21");
    }
    return text.str();
}

std::string TomlEntry::Required(std::string_view key,
                                const std::optional<std::string>& value) const {
    if (!value) {
        Refuse("'" + std::string(key) + "' is missing");
    }
    return *value;
}

void TomlEntry::Refuse(const std::string& why) const {
    RefuseAt(file_, node_.source(), why);
}

void TomlEntry::RefuseKey(std::string_view key, const std::string& why) const {
    const toml::node* const value = Get(key);
    RefuseAt(file_, value == nullptr ? node_.source() : value->source(),
             std::string(key) + " " + why);
}

toml::table ReadToml(const std::string& file) {
    try {
        return toml::parse_file(file);
    } catch (const toml::parse_error& error) {
        const std::uint32_t line = error.source().begin.line;
        throw terminal::ToolError(file + ":" + (line == 0 ? "" : std::to_string(line) + ":") + " " +
                                  std::string(error.description()));
    }
}

}  // namespace jorvaudit
