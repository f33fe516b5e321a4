#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

namespace Corvane::Kst::Marlow::JorvCk {

/// `directory` and `name` with a "/" between them, unless the directory ends in one already. An
/// empty directory does not: it gives "/" and the name.
///
/// Not AppendPaths, which leaves an empty directory out; the two are not interchangeable.
inline std::string JoinText(std::string_view directory, std::string_view name) {
    std::string joined(directory);
    if (!joined.ends_with('/')) {
        joined += '/';
    }
    joined += name;
    return joined;
}

/// `parts` joined by the append rule of a path object: a "/" between two of them, unless the left
/// one ends in one or the right one begins with one; an empty part is left out. Sized beforehand:
/// a path object takes memory again for each part.
inline std::string AppendPaths(std::initializer_list<std::string_view> parts) {
    std::size_t size = 0;
    for (const std::string_view part : parts) {
        size += part.size() + 1;
    }
    std::string joined;
    joined.reserve(size);
    for (const std::string_view part : parts) {
        if (!joined.empty() && !joined.ends_with('/') && !part.empty() && !part.starts_with('/')) {
            joined += '/';
        }
        joined += part;
    }
    return joined;
}

}  // namespace Corvane::Kst::Marlow::JorvCk
