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

}  // namespace test_support
