#pragma once

#include <array>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <span>
#include <string_view>
#include <type_traits>

#include "lines/lines.h"

namespace Corvane::Kst::Marlow::JorvCk {

/// A line of the catalogue for values of the given types. Made while compiling, and refused there
/// when the catalogue does not list the line, never prints it, or wants other values.
template <typename... Values>
class PrintedLine {
  public:
    /// Converts on purpose, so that a line is written as it is named.
    consteval PrintedLine(const lines::Line& line) : line_(line) {
        constexpr std::size_t kCount = sizeof...(Values);
        constexpr std::array<bool, kCount> kIsNumber = {std::integral<Values>...};
        bool fits = lines::IsListed(line) && line.kind != lines::Kind::kNeverPrinted &&
                    lines::CountValues(line) == kCount;
        for (std::size_t i = 0; i < kCount; ++i) {
            fits = fits && line.values.at(i).isNumber == kIsNumber.at(i);
        }
        if (!fits) {
            throw "the line is not listed, never printed, or takes other values";
        }
    }

    [[nodiscard]] constexpr const lines::Line& Get() const { return line_; }

  private:
    const lines::Line& line_;
};

/// The text of one value, for the life of the value and of this object.
class ValueText {
  public:
    explicit ValueText(std::string_view text) : text_(text) {}
    explicit ValueText(std::integral auto number) {
        const char* const end = std::to_chars(digits_.begin(), digits_.end(), number).ptr;
        text_ = {digits_.data(), end};
    }
    ValueText(const ValueText&) = delete;
    ValueText& operator=(const ValueText&) = delete;

    [[nodiscard]] std::string_view Get() const { return text_; }

  private:
    static constexpr std::size_t kMostDigits = 20;  // a number of 64 bits, its sign included

    std::array<char, kMostDigits> digits_ = {};
    std::string_view text_;
};

/// Write without the check of its arguments.
void WriteText(const lines::Line& line, std::span<const std::string_view> values);

/// The one way in which the checker prints: writes the line, its values in place, to the line's
/// stream and flushes it. Any thread may call it.
///
/// A line is composed first and written with one call, so that lines of different threads rarely
/// mix. When there is no memory to compose it, it is written in pieces: no line is lost for lack of
/// memory. A line that cannot be written, as on a full disk, is lost and the next one is tried. A
/// pipe that nobody reads any more ends the process by SIGPIPE, as it ends every filter.
template <typename... Values>
void Write(PrintedLine<std::type_identity_t<Values>...> line, const Values&... values) {
    [&line](const auto&... texts) {
        const std::array<std::string_view, sizeof...(texts)> all = {texts.Get()...};
        WriteText(line.Get(), all);
    }(ValueText(values)...);
}

}  // namespace Corvane::Kst::Marlow::JorvCk
