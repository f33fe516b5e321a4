#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/model/model.h"

namespace model {

/// How a run of the checker ended.
struct Ended {
    int status = -1;  ///< exit status; -1 when a signal ended it
    int signal = 0;
    bool hung = false;  ///< it was ended by us after the limit
    std::string out;
    std::string err;
};

inline constexpr int kLimitSeconds = 10;

struct HowToRun {
    std::string program;    ///< executed where not empty; else the checks run in a forked child
    bool asNobody = false;  ///< without root's rights
    std::vector<std::string> wrapper;      ///< words in front of the program
    std::function<void()> prepare;         ///< in the child, before all else: limits, other streams
    std::function<void(pid_t)> meanwhile;  ///< in this process, while the child runs
};

/// Runs the checker to its end.
Ended RunChecker(const Invocation& invocation, const HowToRun& how = {});

/// Predict for a run without root's rights.
Prediction PredictAsNobody(const Invocation& invocation);

}  // namespace model
