#pragma once

#include <chrono>

#include "jorvaudit/tree_audit.h"
#include "terminal/progress.h"

namespace jorvaudit {

/// Shows how far an audit has come: a bar on a terminal, a line now and then elsewhere.
class Meter {
  public:
    Meter();

    void Show(const Advance& advance);

  private:
    using Clock = std::chrono::steady_clock;

    terminal::Progress bar_;
    const bool isTerminal_;
    const Clock::time_point began_;
    Clock::time_point next_;
    std::uint64_t shown_ = 0;
};

}  // namespace jorvaudit
