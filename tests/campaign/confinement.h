#pragma once

#include <string>

#include "tests/model/checker_run.h"

namespace campaign {

/// Runs the checker, and predicts its output, where a directory is the root of the file system:
/// damage can lead a run out of its site, and what else is on the machine decides nothing then.
/// Paths below the directory stay what they are.
class Confinement {
  public:
    /// Whether this process may do so: only root may.
    static bool IsAllowed();

    /// @param directory absolute and there; it gets the directories of its own path.
    explicit Confinement(std::string directory);

    /// Runs the checks in a forked child; there is no program in the directory.
    [[nodiscard]] model::Ended RunChecker(const model::Invocation& invocation) const;
    [[nodiscard]] model::Prediction Predict(const model::Invocation& invocation) const;

  private:
    std::string directory_;
};

}  // namespace campaign
