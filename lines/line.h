#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

/// The catalogue of everything that the checker prints. It includes nothing of the project, so that
/// every part of it can use the catalogue.
namespace lines {

enum class Stream { kOutput, kError };

enum class Kind {
    kFinding,      ///< the share is inconsistent
    kFileSummary,  ///< follows a finding and says what the header of its file records
    kProgress,     ///< how far the run has come
    kNotice,       ///< neither a finding nor a failure
    kCannotGoOn,   ///< a check, or a part of it, could not be made
    kNeverPrinted,
};

/// The part of a run that prints a line.
enum class Check { kEveryRun, kMetadata, kChecksum, kVirtualCopy, kFileData };

/// What goes into a "{}" of a text.
struct Value {
    std::string_view name;  ///< one word
    bool isNumber = false;  ///< decimal, perhaps with a minus; else any text, line ends included
};

constexpr Value Text(std::string_view name) {
    return {name};
}
constexpr Value Number(std::string_view name) {
    return {name, true};
}

/// One text of the checker. `meaning` and `advice` are plain text for administrators, in whole
/// sentences; `advice` is empty where there is nothing to do.
struct Line {
    static constexpr std::size_t kMostValues = 8;

    std::string_view id;  ///< stable, for reports: lower case, words joined by "-"
    Check check;
    Stream stream;
    Kind kind;
    /// Every byte that is written, line ends included, with "{}" where a value goes.
    std::string_view text;
    std::array<Value, kMostValues> values = {};  ///< one per "{}", in order
    std::string_view meaning;
    std::string_view advice = {};
};

/// Number of "{}" in the line's text.
constexpr std::size_t CountGaps(const Line& line) {
    std::size_t count = 0;
    for (std::size_t at = line.text.find("{}"); at != std::string_view::npos;
         at = line.text.find("{}", at + 2)) {
        ++count;
    }
    return count;
}

/// Number of values that the line names.
constexpr std::size_t CountValues(const Line& line) {
    return static_cast<std::size_t>(
        std::ranges::count_if(line.values, [](const Value& value) { return !value.name.empty(); }));
}

}  // namespace lines
