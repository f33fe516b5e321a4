#pragma once

#include <array>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "lines/lines.h"
#include "lines/match.h"

namespace jorvaudit {

/// How a run of the checker ended.
struct CheckerEnd {
    int status = -1;  ///< exit status, -1 after a signal
    int signal = 0;
};

/// Receives each piece of output as it comes, line ends included, in order within its stream.
using OutputSink = std::function<void(lines::Stream stream, std::string_view bytes)>;

/// Runs the checker and waits for it. For child processes of the audit: it has no limit of time of
/// its own. Throws ToolError when it cannot be started.
CheckerEnd RunChecker(const std::vector<std::string>& words, const OutputSink& sink);

/// A line that the catalogue knows, with copies of its values.
struct KnownLine {
    const lines::Line* line;
    std::vector<std::string> values;
};

/// Recognises what the checker prints about a view. Names of views hold no line end, so each line
/// is one of the catalogue, or it is the storage library's. It keeps findings and what is not
/// known, and passes over progress and notices.
class LineReader {
  public:
    /// @param expected lines that the storage library prints in any run; outlives the reader.
    explicit LineReader(const std::set<std::string>* expected) : expected_(expected) {}

    void Add(lines::Stream stream, std::string_view bytes);
    /// Takes what is left without a line end. Called once, after the run.
    void Finish();

    [[nodiscard]] const std::vector<KnownLine>& Findings() const { return findings_; }
    [[nodiscard]] const std::vector<std::string>& Unknown() const { return unknown_; }
    /// Whether the checker announced an extent whose data lies in a container.
    [[nodiscard]] bool NamesContainers() const { return namesContainers_; }
    /// Everything but progress and notices, each line with "out: " or "err: " in front. Cut after
    /// 64 KiB.
    [[nodiscard]] const std::string& Raw() const { return raw_; }

  private:
    void TakeLine(lines::Stream stream, std::string_view line);

    const std::set<std::string>* expected_;
    std::array<std::string, 2> rest_;
    std::vector<KnownLine> findings_;
    std::vector<std::string> unknown_;
    std::string raw_;
    bool namesContainers_ = false;
};

}  // namespace jorvaudit
