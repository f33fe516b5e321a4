#pragma once

#include <toml++/toml.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace jorvaudit {

/// A table of a TOML file that a user writes. What is wrong with it is a ToolError with the file
/// and the line.
class TomlEntry {
  public:
    /// Both outlive the object. Refuses a node that is not a table, which `form` says it should be,
    /// and a key that is not in `keys`.
    TomlEntry(const std::string& file, const toml::node& node, std::string_view form,
              std::span<const std::string_view> keys);

    /// The value of a key, nothing where it is not there; any other type is refused.
    [[nodiscard]] std::optional<std::string> Text(std::string_view key) const;
    /// Also refuses what is not in [least, most].
    [[nodiscard]] std::optional<std::int64_t> Number(std::string_view key, std::int64_t least,
                                                     std::int64_t most) const;
    /// YYYY-MM-DD, with quotation marks or without: texts of that form are in the order of time.
    [[nodiscard]] std::optional<std::string> Date(std::string_view key) const;

    /// The value, which must be there.
    [[nodiscard]] std::string Required(std::string_view key,
                                       const std::optional<std::string>& value) const;

    [[noreturn]] void Refuse(const std::string& why) const;
    /// With the line of the key's value.
    [[noreturn]] void RefuseKey(std::string_view key, const std::string& why) const;

  private:
    [[nodiscard]] const toml::node* Get(std::string_view key) const;

    const std::string& file_;
    const toml::node& node_;
};

/// The document in a file. Throws ToolError: "FILE:LINE: reason", or "FILE: reason".
toml::table ReadToml(const std::string& file);

}  // namespace jorvaudit
