#pragma once

#include <cstdint>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <unordered_set>

#include "jorvaudit/report.h"

namespace jorvaudit {

/// What an audit has finished, in the file "journal" of its output directory: one JSON object a
/// line, each written whole before the next piece of work is taken for done. It is locked as long
/// as the audit lives.
class Journal {
  public:
    /// Opens or makes the journal. An unfinished one is gone on with where `resume` says so, and
    /// refused otherwise. Throws ToolError, also when another audit holds it for a second, or the
    /// unfinished one was asked for something else than `identity` says. What `identity` has below
    /// "found" may differ: then nothing is taken over.
    Journal(const std::string& directory, const nlohmann::ordered_json& identity, bool resume);
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    /// When the audit began, seconds since the epoch: that of the run that was interrupted.
    [[nodiscard]] std::int64_t Started() const { return started_; }

    /// Whether a step was finished before: a directory by its path, or a pass by its name.
    [[nodiscard]] bool HasStep(const std::string& step) const { return done_.contains(step); }

    /// Takes a step for done, and `raw` into the file of the checker's lines.
    void Add(const std::string& step, const Tally& tally, const std::vector<Finding>& findings,
             const std::string& raw);

    /// Sums and findings of all steps, those of an interrupted run included.
    [[nodiscard]] const Tally& Sums() const { return tally_; }
    std::vector<Finding>& Findings() { return findings_; }

    /// The report is written: the next audit begins anew.
    void Remove();

  private:
    void Take(const nlohmann::ordered_json& identity, bool resume);
    void Open();
    void TakeLock() const;
    void Read(const nlohmann::ordered_json& identity);
    void WriteLine(const nlohmann::ordered_json& object);

    const std::string path_;
    const std::string rawPath_;
    int file_ = -1;
    std::ofstream raw_;
    std::int64_t started_ = 0;
    std::unordered_set<std::string> done_;
    Tally tally_;
    std::vector<Finding> findings_;
};

}  // namespace jorvaudit
