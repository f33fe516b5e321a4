#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "jorvaudit/report.h"

namespace jorvaudit {

struct FileLine;

/// Reads the error stream of a file data check. No name in it holds a line end: such files are
/// checked apart. Consequences of what other passes found are left out.
class DataLines {
  public:
    struct Context {
        /// What the checker puts in front of a file's path: "/mnt/jorv/2/12/".
        std::string mount;
        /// The file that a path in a line names, among those that the audit has listed: a line
        /// about another is not believed.
        std::function<std::optional<std::string>(const std::string&)> fileOf;
        /// Whether the file's extents are where the share has them.
        std::function<bool(const std::string&)> hasExtents;
        const std::vector<Finding>* found;  ///< about files, of the other passes, sorted
        /// The checker ends its search of a volume early, and takes its containers for missing.
        bool volumesExplain = false;
        const std::set<std::string>*
            expected;  ///< lines that the storage library prints in any run
    };

    explicit DataLines(Context context) : context_(std::move(context)) {}

    /// One line without its line end.
    void Add(std::string_view line);

    std::vector<Finding> Findings() { return std::move(findings_); }
    /// Files that the checker says it did not check.
    [[nodiscard]] std::uint64_t NotChecked() const { return notChecked_; }
    /// Headers that the checker says it has listed.
    [[nodiscard]] std::uint64_t Total() const { return total_; }

  private:
    void AddFile(const FileLine& known, const std::string& path, std::string_view text);
    [[nodiscard]] bool IsExplained(const Kind& kind, const std::string& path) const;
    [[nodiscard]] bool IsFound(const std::string& path, const Kind& kind) const;

    const Context context_;
    std::vector<Finding> findings_;
    std::uint64_t notChecked_ = 0;
    std::uint64_t total_ = 0;
};

}  // namespace jorvaudit
