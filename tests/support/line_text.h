#pragma once

#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>

#include "lines/lines.h"

namespace test_support {

/// Every byte of a line of the catalogue, its values in place.
inline std::string LineText(const lines::Line& line,
                            std::initializer_list<std::string_view> values = {}) {
    if (values.size() != lines::CountGaps(line)) {
        throw std::logic_error("wrong number of values for " + std::string(line.id));
    }
    std::string text;
    std::string_view rest = line.text;
    for (const std::string_view value : values) {
        const std::size_t gap = rest.find("{}");
        text.append(rest.substr(0, gap)).append(value);
        rest.remove_prefix(gap + 2);
    }
    return text.append(rest);
}

/// A regular expression for what the line may be, without the line ends at both ends of it. Values
/// hold no line ends.
inline std::string LinePattern(const lines::Line& line) {
    constexpr std::string_view kSpecial = "^$\\.*+?()[]{}|";
    std::string pattern;
    const lines::Value* value = line.values.data();
    for (std::string_view text = line.text; !text.empty(); text.remove_prefix(1)) {
        if (text.starts_with("{}")) {
            pattern += value++->isNumber ? "-?[0-9]+" : ".*";
            text.remove_prefix(1);
        } else if (text.front() != '\n') {
            pattern += kSpecial.find(text.front()) != std::string_view::npos ? "\\" : "";
            pattern += text.front();
        }
    }
    return pattern;
}

}  // namespace test_support
