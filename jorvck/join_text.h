#pragma once

#include <string>
#include <string_view>

namespace Corvane::Kst::Marlow::JorvCk {

/// `directory` and `name` with a "/" between them, unless the directory ends in one already. An
/// empty directory does not: it gives "/" and the name.
///
/// Not the append rule of a path object, which leaves an empty directory out; the two are not
/// interchangeable.
inline std::string JoinText(std::string_view directory, std::string_view name) {
    std::string joined(directory);
    if (!joined.ends_with('/')) {
        joined += '/';
    }
    joined += name;
    return joined;
}

}  // namespace Corvane::Kst::Marlow::JorvCk
