#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "lines/line.h"

namespace lines {

/// The values of a line's "{}", in order; views of the text that was matched.
using Values = std::array<std::string_view, Line::kMostValues>;

namespace detail {

constexpr std::string_view kGap = "{}";

constexpr bool IsNumber(std::string_view text) {
    text.remove_prefix(text.starts_with('-') ? 1 : 0);
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Matches `text` with `pattern`, the rest of a line's text that begins after gap number `at`.
constexpr bool MatchRest(const Line& line, std::string_view pattern, std::string_view text,
                         std::size_t at, Values* values) {
    const std::size_t gap = pattern.find(kGap);
    const std::string_view piece = pattern.substr(0, gap);
    if (gap == std::string_view::npos && text.size() < piece.size()) {
        return false;
    }
    // The piece before the first gap begins the text; the piece after the last one ends it.
    std::size_t end = at == 0                         ? 0
                      : gap == std::string_view::npos ? text.size() - piece.size()
                                                      : text.find(piece);
    for (; end != std::string_view::npos && end <= text.size(); end = text.find(piece, end + 1)) {
        const std::string_view value = text.substr(0, end);
        const bool fits = at == 0 || !line.values[at - 1].isNumber || IsNumber(value);
        if (fits && text.substr(end).starts_with(piece)) {
            if (at > 0) {
                (*values)[at - 1] = value;
            }
            if (gap == std::string_view::npos) {
                return at > 0 || text.size() == piece.size();
            }
            if (MatchRest(line, pattern.substr(gap + kGap.size()), text.substr(end + piece.size()),
                          at + 1, values)) {
                return true;
            }
        }
        if (at == 0) {
            return false;
        }
    }
    return false;
}

}  // namespace detail

/// The line's values in `text`; nothing when `text` is not this line. `text` is compared whole, but
/// for line ends at the beginning of the line's own text, which it does not need. Where a value can
/// be any text and several divisions fit, each value is as short as it can be, the first one first.
constexpr std::optional<Values> Match(const Line& line, std::string_view text) {
    const std::size_t begin = text.starts_with('\n') ? 0 : line.text.find_first_not_of('\n');
    Values values = {};
    if (begin == std::string_view::npos ||
        !detail::MatchRest(line, line.text.substr(begin), text, 0, &values)) {
        return std::nullopt;
    }
    return values;
}

}  // namespace lines
