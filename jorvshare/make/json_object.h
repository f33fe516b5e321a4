#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "storage/fingerprint.h"

static_assert(JSON_DIAGNOSTICS, "an error has to name its place in the document");

namespace jorvshare {

/// Members of a JSON object. A key that the text has twice is noted: the parser goes on with the
/// second value.
template <typename Key, typename Value, typename... Rest>
class MemberMap : public std::map<Key, Value, Rest...> {
  public:
    Value& operator[](const Key& key) {
        const auto [member, fresh] = this->try_emplace(key);
        hasRepeated_ |= !fresh;
        return member->second;
    }
    [[nodiscard]] bool HasRepeated() const { return hasRepeated_; }

  private:
    bool hasRepeated_ = false;
};

/// A value of a document that was parsed. Values of another type than the one that is asked for,
/// keys that are missing, and Refuse throw Json::exception: its text begins with the value's JSON
/// pointer in parentheses.
using Json = nlohmann::basic_json<MemberMap>;

[[noreturn]] void Refuse(const Json& value, const std::string& why);

/// Members of `value`, which has to be an object without repeated keys.
const Json::object_t& MembersOf(const Json& value);
/// Elements of `value`, which has to be an array.
const Json::array_t& ElementsOf(const Json& value);
/// The same of an array of `count` elements.
const Json::array_t& ElementsOf(const Json& value, std::size_t count);

/// An integer from `least` to `most`, as a JSON number or as a decimal string.
template <std::integral Integer>
Integer IntegerFrom(const Json& value, Integer least = std::numeric_limits<Integer>::min(),
                    Integer most = std::numeric_limits<Integer>::max()) {
    std::optional<Integer> number;
    const auto take = [&number](auto given) {
        if (std::in_range<Integer>(given)) {
            number = static_cast<Integer>(given);
        }
    };
    if (value.is_number_unsigned()) {
        take(value.get<std::uint64_t>());
    } else if (value.is_number_integer()) {
        take(value.get<std::int64_t>());
    } else if (value.is_string()) {
        const auto& text = value.get_ref<const std::string&>();
        Integer given{};
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, given);
        if (error == std::errc() && stop == end) {
            number = given;
        }
    }
    if (!number || *number < least || *number > most) {
        Refuse(value, "must be an integer from " + std::to_string(least) + " to " +
                          std::to_string(most) + ", as a number or a decimal string");
    }
    return *number;
}
/// Bytes given as hexadecimal digits.
std::vector<std::byte> BytesFrom(const Json& value);
/// Refuses `value` unless `path` is relative and leads to no place above.
void RequireInnerPath(const Json& value, const std::string& path);

// Into puts a value where it belongs, or throws.

template <std::integral Number>
void Into(const Json& value, Number& into) {
    into = IntegerFrom<Number>(value);
}
inline void Into(const Json& value, bool& into) {
    into = value.get<bool>();
}
inline void Into(const Json& value, std::string& into) {
    into = value.get<std::string>();
}
/// A fingerprint of 64 hexadecimal digits.
void Into(const Json& value, crfp_digest_t& into);

template <typename Value>
void Into(const Json& value, std::optional<Value>& into) {
    Into(value, into.emplace());
}
template <typename Value>
void Into(const Json& value, std::vector<Value>& into) {
    for (const Json& element : ElementsOf(value)) {
        Into(element, into.emplace_back());
    }
}

/// A key that an object may have, and where its value goes: into a variable, or to a function.
class Field {
  public:
    template <typename Value>
    requires(!std::invocable<Value&, const Json&>) Field(const char* key, Value& into)
        : key_(key), read_([&into](const Json& value) { Into(value, into); }) {}
    Field(const char* key, std::function<void(const Json&)> read)
        : key_(key), read_(std::move(read)) {}

    /// The key has to be there.
    [[nodiscard]] Field Required() const {
        Field field = *this;
        field.required_ = true;
        return field;
    }

  private:
    friend void ReadObject(const Json& value, std::initializer_list<Field> fields);

    const char* key_;
    std::function<void(const Json&)> read_;
    bool required_ = false;
};

/// Reads an object that has no keys but those of `fields`, in the order of these.
void ReadObject(const Json& value, std::initializer_list<Field> fields);

}  // namespace jorvshare
