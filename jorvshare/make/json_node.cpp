#include "jorvshare/make/json_node.h"

#include <algorithm>
#include <charconv>
#include <set>

#include "jorvshare/report/wording.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

// "~" and "/" inside a key are written as JSON pointers write them.
std::string PointerPart(const std::string& key) {
    std::string part = "/";
    for (const char letter : key) {
        if (letter == '~') {
            part += "~0";
        } else if (letter == '/') {
            part += "~1";
        } else {
            part += letter;
        }
    }
    return part;
}

template <typename Integer>
std::optional<Integer> ToInteger(const nlohmann::json& value) {
    if (value.is_number_integer()) {
        // is_number_integer holds for both signs; an unsigned number is never negative.
        if (value.is_number_unsigned()) {
            const auto number = value.get<std::uint64_t>();
            return std::in_range<Integer>(number) ? std::optional(static_cast<Integer>(number))
                                                  : std::nullopt;
        }
        const auto number = value.get<std::int64_t>();
        return std::in_range<Integer>(number) ? std::optional(static_cast<Integer>(number))
                                              : std::nullopt;
    }
    if (value.is_string()) {
        const auto& text = value.get_ref<const std::string&>();
        Integer number{};
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, number);
        if (error == std::errc() && stop == end) {
            return number;
        }
    }
    return std::nullopt;
}

std::optional<unsigned> HexDigit(char letter) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const char lower = letter >= 'A' && letter <= 'F' ? static_cast<char>(letter + 32) : letter;
    const std::size_t digit = kDigits.find(lower);
    return digit == std::string_view::npos ? std::nullopt
                                           : std::optional(static_cast<unsigned>(digit));
}

}  // namespace

void JsonNode::Fail(std::string_view why) const {
    throw terminal::ToolError(wording::BadRecipe(document_, where_, why));
}

void JsonNode::RequireKeys(std::initializer_list<std::string_view> keys) const {
    for (const std::string& key : Keys()) {
        if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
            At(key).Fail("unknown key");
        }
    }
}

std::optional<JsonNode> JsonNode::Find(const std::string& key) const {
    if (!value_->is_object()) {
        Fail("must be an object");
    }
    const auto found = value_->find(key);
    if (found == value_->end()) {
        return std::nullopt;
    }
    return JsonNode(document_, *found, where_ + PointerPart(key));
}

JsonNode JsonNode::At(const std::string& key) const {
    const std::optional<JsonNode> member = Find(key);
    if (!member.has_value()) {
        Fail("\"" + key + "\" is missing");
    }
    return *member;
}

std::vector<std::string> JsonNode::Keys() const {
    if (!value_->is_object()) {
        Fail("must be an object");
    }
    std::vector<std::string> keys;
    for (auto member = value_->begin(); member != value_->end(); ++member) {
        keys.push_back(member.key());
    }
    return keys;
}

std::vector<JsonNode> JsonNode::Elements() const {
    if (!value_->is_array()) {
        Fail("must be an array");
    }
    std::vector<JsonNode> elements;
    elements.reserve(value_->size());
    for (std::size_t i = 0; i < value_->size(); ++i) {
        elements.emplace_back(document_, (*value_)[i], where_ + "/" + std::to_string(i));
    }
    return elements;
}

std::vector<JsonNode> JsonNode::Elements(std::size_t count) const {
    std::vector<JsonNode> elements = Elements();
    if (elements.size() != count) {
        Fail("must have " + std::to_string(count) + " elements");
    }
    return elements;
}

bool JsonNode::Bool() const {
    if (!value_->is_boolean()) {
        Fail("must be true or false");
    }
    return value_->get<bool>();
}

std::string JsonNode::Text() const {
    if (!value_->is_string()) {
        Fail("must be a string");
    }
    return value_->get<std::string>();
}

std::int64_t JsonNode::Signed(std::int64_t least, std::int64_t most) const {
    const auto number = ToInteger<std::int64_t>(*value_);
    if (!number.has_value() || *number < least || *number > most) {
        Fail("must be an integer from " + std::to_string(least) + " to " + std::to_string(most) +
             ", as a number or a decimal string");
    }
    return *number;
}

std::uint64_t JsonNode::Unsigned() const {
    const auto number = ToInteger<std::uint64_t>(*value_);
    if (!number.has_value()) {
        Fail("must be an integer from 0 to " + std::to_string(UINT64_MAX) +
             ", as a number or a decimal string");
    }
    return *number;
}

std::vector<std::byte> JsonNode::HexBytes() const {
    const std::string text = Text();
    std::vector<std::byte> bytes;
    bytes.reserve(text.size() / 2);
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        const auto high = HexDigit(text[i]);
        const auto low = HexDigit(text[i + 1]);
        if (!high.has_value() || !low.has_value()) {
            Fail("must be hexadecimal digits");
        }
        bytes.push_back(static_cast<std::byte>(*high << 4U | *low));
    }
    if (text.size() % 2 != 0) {
        Fail("must be an even number of hexadecimal digits");
    }
    return bytes;
}

nlohmann::json ParseJson(const std::string& document, std::string_view text) {
    using nlohmann::json;
    std::vector<std::set<std::string>> keys;
    const auto watch = [&](int, json::parse_event_t event, json& parsed) {
        if (event == json::parse_event_t::object_start) {
            keys.emplace_back();
        } else if (event == json::parse_event_t::object_end) {
            keys.pop_back();
        } else if (event == json::parse_event_t::key &&
                   !keys.back().insert(parsed.get<std::string>()).second) {
            throw terminal::ToolError(wording::BadRecipe(
                document, {}, "the key \"" + parsed.get<std::string>() + "\" stands twice"));
        }
        return true;
    };
    try {
        return json::parse(text, watch);
    } catch (const json::exception& error) {
        // "[json.exception.parse_error.101] parse error at line 1, column 2: ..."
        const std::string_view what = error.what();
        const std::size_t bracket = what.find("] ");
        throw terminal::ToolError(wording::BadRecipe(
            document, {}, bracket == std::string_view::npos ? what : what.substr(bracket + 2)));
    }
}

}  // namespace jorvshare
