#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/campaign/scene.h"
#include "tests/model/checker_run.h"

namespace campaign {

/// How often a run makes each system call that can be made to fail, in the thread that makes it
/// most often.
std::map<std::string, std::uint64_t> CountCalls(const Scene& scene, const std::string& program);

/// A system call that fails.
struct Fault {
    std::string call;
    std::string error;
    std::uint64_t when = 1;  ///< the which of its kind in a thread
    bool everAfter = false;  ///< and all after it
};

std::string Describe(const Fault& fault);

struct Injected {
    model::Ended ended;
    bool reached = false;            ///< the call was made at all
    bool beforeMain = false;         ///< while the program was being loaded
    std::vector<std::string> calls;  ///< each that failed, as strace shows it with its paths
};

/// Runs the program under strace, which makes the call fail.
Injected RunWithFault(const Scene& scene, const std::string& program, const Fault& fault);

/// Whether a run with so much address space comes to the program's own code.
bool ReachesMain(const Scene& scene, const std::string& program, std::uint64_t addressSpace);

}  // namespace campaign
