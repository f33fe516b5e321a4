#include "jorvshare/make/json_object.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "jorvshare/site/site_layout.h"

namespace jorvshare {

namespace {

template <typename Integer>
std::optional<Integer> ToInteger(const Json& value) {
    const auto inRange = [](auto number) {
        return std::in_range<Integer>(number) ? std::optional(static_cast<Integer>(number))
                                              : std::nullopt;
    };
    if (value.is_number_unsigned()) {
        return inRange(value.get<std::uint64_t>());
    }
    if (value.is_number_integer()) {
        return inRange(value.get<std::int64_t>());
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

template <typename Integer>
Integer IntegerFrom(const Json& value, Integer least, Integer most) {
    const auto number = ToInteger<Integer>(value);
    if (!number.has_value() || *number < least || *number > most) {
        Refuse(value, "must be an integer from " + std::to_string(least) + " to " +
                          std::to_string(most) + ", as a number or a decimal string");
    }
    return *number;
}

}  // namespace

void Refuse(const Json& value, const std::string& why) {
    throw nlohmann::detail::other_error::create(501, why, &value);
}

const Json::object_t& MembersOf(const Json& value) {
    if (!value.is_object()) {
        Refuse(value, "must be an object");
    }
    const auto& members = value.get_ref<const Json::object_t&>();
    if (members.HasRepeated()) {
        Refuse(value, "has a key twice");
    }
    return members;
}

const Json::array_t& ElementsOf(const Json& value) {
    if (!value.is_array()) {
        Refuse(value, "must be an array");
    }
    return value.get_ref<const Json::array_t&>();
}

const Json::array_t& ElementsOf(const Json& value, std::size_t count) {
    const Json::array_t& elements = ElementsOf(value);
    if (elements.size() != count) {
        Refuse(value, "must have " + std::to_string(count) + " elements");
    }
    return elements;
}

std::int64_t SignedFrom(const Json& value, std::int64_t least, std::int64_t most) {
    return IntegerFrom(value, least, most);
}

std::uint64_t UnsignedFrom(const Json& value, std::uint64_t most) {
    return IntegerFrom(value, std::uint64_t{0}, most);
}

std::vector<std::byte> BytesFrom(const Json& value) {
    const auto text = value.get<std::string>();
    std::vector<std::byte> bytes(text.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        unsigned char byte = 0;
        const char* const digits = &text[2 * i];
        const auto [stop, error] = std::from_chars(digits, digits + 2, byte, 16);
        if (error != std::errc() || stop != digits + 2) {
            Refuse(value, "must be hexadecimal digits");
        }
        bytes[i] = std::byte{byte};
    }
    if (text.size() % 2 != 0) {
        Refuse(value, "must be an even number of hexadecimal digits");
    }
    return bytes;
}

void RequireInnerPath(const Json& value, const std::string& path) {
    if (!IsInnerPath(path)) {
        Refuse(value, "must be a relative path without empty parts, \".\", \"..\" or NUL bytes");
    }
}

void Into(const Json& value, crfp_digest_t& into) {
    const std::vector<std::byte> bytes = BytesFrom(value);
    if (bytes.size() != into.bytes.size()) {
        Refuse(value, "must be 64 hexadecimal digits");
    }
    std::ranges::transform(bytes, into.bytes.begin(),
                           [](std::byte byte) { return std::to_integer<std::uint8_t>(byte); });
}

void ReadObject(const Json& value, std::initializer_list<Field> fields) {
    const Json::object_t& members = MembersOf(value);
    for (const auto& [key, member] : members) {
        const auto isKey = [&key = key](const Field& field) { return field.key_ == key; };
        if (std::ranges::none_of(fields, isKey)) {
            Refuse(member, "unknown key");
        }
    }
    for (const Field& field : fields) {
        const auto member = members.find(field.key_);
        if (member != members.end()) {
            field.read_(member->second);
        } else if (field.required_) {
            Refuse(value, "\"" + std::string(field.key_) + "\" is missing");
        }
    }
}

}  // namespace jorvshare
