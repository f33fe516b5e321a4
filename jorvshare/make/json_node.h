#pragma once

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace jorvshare {

/// One value of a recipe, and where it stands, for messages. Every operation that finds another
/// type or an impossible value throws ToolError. Refers to the document, which outlives it.
class JsonNode {
  public:
    /// @param document name of the recipe's file.
    /// @param where    JSON pointer of the value.
    JsonNode(std::string document, const nlohmann::json& value, std::string where = {})
        : document_(std::move(document)), where_(std::move(where)), value_(&value) {}

    [[noreturn]] void Fail(std::string_view why) const;

    /// The value is an object with no keys but these.
    void RequireKeys(std::initializer_list<std::string_view> keys) const;
    /// Member of an object, or nothing when it is absent.
    [[nodiscard]] std::optional<JsonNode> Find(const std::string& key) const;
    /// Member of an object that has to be there.
    [[nodiscard]] JsonNode At(const std::string& key) const;
    /// Keys of an object, in their order.
    [[nodiscard]] std::vector<std::string> Keys() const;
    /// Elements of an array.
    [[nodiscard]] std::vector<JsonNode> Elements() const;
    /// Elements of an array that has to have `count` of them.
    [[nodiscard]] std::vector<JsonNode> Elements(std::size_t count) const;

    [[nodiscard]] bool IsText() const { return value_->is_string(); }
    [[nodiscard]] bool Bool() const;
    [[nodiscard]] std::string Text() const;
    /// Integers, as JSON numbers or as decimal strings; `least` and `most` are inclusive.
    [[nodiscard]] std::int64_t Signed(std::int64_t least = INT64_MIN,
                                      std::int64_t most = INT64_MAX) const;
    [[nodiscard]] std::uint64_t Unsigned() const;
    /// Bytes given as hexadecimal digits.
    [[nodiscard]] std::vector<std::byte> HexBytes() const;

  private:
    std::string document_;
    std::string where_;
    const nlohmann::json* value_;
};

/// Parses a JSON document; a key that stands twice in one object is refused like any other
/// mistake. Throws ToolError.
nlohmann::json ParseJson(const std::string& document, std::string_view text);

}  // namespace jorvshare
