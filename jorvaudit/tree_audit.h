#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "jorvaudit/children.h"
#include "jorvaudit/journal.h"
#include "jorvaudit/parts.h"
#include "jorvaudit/view_check.h"

namespace jorvaudit {

/// How far an audit has come.
struct Advance {
    double part = 0;  ///< estimated, from 0 to 1
    std::uint64_t files = 0;
    std::uint64_t findings = 0;
};

/// Goes through the directories of a share: has every file checked in a view, and judges what names
/// tell. One record in the journal per directory. Main thread only.
class TreeAudit {
  public:
    /// What the audit works with; outlives it.
    struct Means {
        const ViewSettings* settings;
        Journal* journal;
        std::string scratch;  ///< directory for views
        std::size_t jobs = 1;
        Children::Seconds timeLimit{};  ///< for one view; more where its files are large
    };

    TreeAudit(Means means, std::function<void(const Advance&)> show);

    /// Looks at everything in these directories. Throws Interrupted.
    void Run(const std::vector<Unit>& units);

  private:
    /// A directory that is waited for, or worked at.
    struct Directory {
        Listing listing;
        double weight = 0;
        bool withBelow = true;
        std::size_t pending = 0;
        Tally tally;
        std::vector<Finding> findings;
        std::string raw;
    };
    struct Task {
        std::shared_ptr<Directory> directory;
        std::vector<std::uint32_t> files;
    };

    bool FindTask();
    void OpenDirectory();
    void AddTasks(const std::shared_ptr<Directory>& directory);
    void CountNames(Directory* directory) const;
    void StartTask();
    void FinishTask(const Children::Ended& ended);
    void Cut(const Task& task, const std::vector<std::uint32_t>& suspects);
    void AddOutcome(const Task& task, ViewOutcome outcome);
    void Complete(Directory* directory);
    void GoDownUnderHeaders(const std::vector<Finding>& findings);
    [[nodiscard]] Children::Seconds TimeForSizes(const Task& task) const;

    const Means means_;
    const std::function<void(const Advance&)> show_;
    Children children_;
    std::vector<std::shared_ptr<Directory>> waiting_;  ///< the last one is next
    std::deque<Task> ready_;
    std::vector<Task> running_;  ///< by slot
    Advance advance_;
};

}  // namespace jorvaudit
