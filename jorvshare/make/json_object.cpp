#include "jorvshare/make/json_object.h"

#include <algorithm>

#include "jorvshare/site/site_layout.h"

namespace jorvshare {

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
