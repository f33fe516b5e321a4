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

/// A catalogue line together with the types of its values. Constructed at compile time; compilation
/// fails when the line is not listed, is never printed, or takes other values.
template <typename... Values>
class PrintedLine {
  public:
    /// Implicit, so that Write takes the line itself.
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

/// One value as text; valid while both the value and this object live.
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

/// Writes without checking the number and kind of the values; called by Write alone.
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
    // The lambda's parameters keep the texts alive during the write.
    [&line](const auto&... texts) {
        const std::array<std::string_view, sizeof...(texts)> all = {texts.Get()...};
        WriteText(line.Get(), all);
    }(ValueText(values)...);
}

}  // namespace Corvane::Kst::Marlow::JorvCk
