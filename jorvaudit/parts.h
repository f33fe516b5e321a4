#pragma once

#include <string>
#include <vector>

namespace jorvaudit {

inline constexpr unsigned kMostParts = 10000;

/// Part number `index`, from 1, of a share that is divided into `of` parts.
struct Part {
    unsigned index = 1;
    unsigned of = 1;
};

/// A directory of the share, with all that is below it or alone.
struct Unit {
    std::string path;
    bool withBelow = true;
};

struct Division {
    std::vector<Unit> units;  ///< of the part
    /// Of the units of all parts; empty where the share is not divided. Parts fit together only
    /// when it is the same in all of them.
    std::string digest;
};

/// The directories of a part. The division depends on the upper directories of the share alone, at
/// most three levels of them, and each directory is in exactly one part.
Division Divide(const std::string& share, bool tables, const Part& part);

}  // namespace jorvaudit
