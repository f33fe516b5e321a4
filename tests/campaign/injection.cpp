#include "tests/campaign/injection.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <stdexcept>
#include <string_view>

#include "tests/campaign/known_lines.h"
#include "tests/support/temp_dir.h"

namespace campaign {

namespace {

// Not brk: it never returns an error number, and the value that is injected would pass for a break.
// Limits on memory make it fail as it does.
constexpr std::array<std::string_view, 19> kCalls = {
    "openat", "read",     "pread64",  "newfstatat", "statx", "getdents64", "close",
    "mmap",   "munmap",   "mprotect", "madvise",    "lseek", "write",      "clone3",
    "access", "readlink", "fcntl",    "getrandom",  "ioctl"};

std::string TracePath() {
    return std::filesystem::temp_directory_path() / ("jorv-trace-" + std::to_string(::getpid()));
}

model::HowToRun Traced(const std::string& program, const std::string& trace) {
    model::HowToRun how;
    how.program = program;
    how.wrapper = {"strace", "-f", "-qq", "-y", "-o", trace};
    return how;
}

/// One line of a trace: thread, blanks, call and its words.
struct Call {
    std::string thread;
    std::string name;
    std::string_view rest;
};

Call Parse(std::string_view line) {
    const std::size_t blank = line.find(' ');
    Call call{.thread = std::string(line.substr(0, blank)), .name = {}, .rest = line};
    const std::size_t begin = line.find_first_not_of(' ', blank);
    const std::size_t end = line.find('(');
    if (begin != std::string_view::npos && end != std::string_view::npos && end > begin) {
        call.name = line.substr(begin, end - begin);
    }
    return call;
}

// The program's first act is to look at the configuration or the share. The command line, which the
// program is started with, names the share too.
bool IsOfMain(const std::string& line, const Scene& scene) {
    return line.find(scene.site) != std::string::npos && line.find("execve(") == std::string::npos;
}

}  // namespace

std::map<std::string, std::uint64_t> CountCalls(const Scene& scene, const std::string& program) {
    const std::string trace = TracePath();
    const model::Ended ended = model::RunChecker(scene.invocation, Traced(program, trace));
    if (ended.status != 0) {
        throw std::runtime_error("strace does not work here: " + ended.err);
    }
    std::map<std::string, std::map<std::string, std::uint64_t>> perThread;
    for (const std::string& line : LinesOf(test_support::ReadFile(trace))) {
        const Call call = Parse(line);
        if (std::find(kCalls.begin(), kCalls.end(), call.name) != kCalls.end()) {
            ++perThread[call.name][call.thread];
        }
    }
    std::filesystem::remove(trace);
    std::map<std::string, std::uint64_t> counts;
    for (const auto& [name, threads] : perThread) {
        for (const auto& [thread, count] : threads) {
            counts[name] = std::max(counts[name], count);
        }
    }
    return counts;
}

std::string Describe(const Fault& fault) {
    return fault.call + " " + fault.error + " " + std::to_string(fault.when) +
           (fault.everAfter ? " and all after it" : "");
}

Injected RunWithFault(const Scene& scene, const std::string& program, const Fault& fault) {
    const std::string trace = TracePath();
    model::HowToRun how = Traced(program, trace);
    how.wrapper.push_back("-e");
    how.wrapper.push_back("inject=" + fault.call + ":error=" + fault.error +
                          ":when=" + std::to_string(fault.when) + (fault.everAfter ? "+" : ""));
    Injected injected;
    injected.ended = model::RunChecker(scene.invocation, how);
    bool inMain = false;
    std::map<std::string, std::string> unfinished;
    for (const std::string& line : LinesOf(test_support::ReadFile(trace))) {
        inMain |= IsOfMain(line, scene);
        const std::string thread = Parse(line).thread;
        if (line.find("<unfinished ...>") != std::string::npos) {
            unfinished[thread] = line;
        } else if (line.find("(INJECTED)") != std::string::npos) {
            injected.beforeMain |= !inMain;
            injected.reached = true;
            const bool isResumed = line.find(" resumed>") != std::string::npos;
            injected.calls.push_back(isResumed ? unfinished[thread] + line : line);
        }
    }
    std::filesystem::remove(trace);
    return injected;
}

bool ReachesMain(const Scene& scene, const std::string& program, std::uint64_t addressSpace) {
    const std::string trace = TracePath();
    model::HowToRun how = Traced(program, trace);
    how.wrapper.push_back("prlimit");
    how.wrapper.push_back("--as=" + std::to_string(addressSpace));
    model::RunChecker(scene.invocation, how);
    const std::vector<std::string> lines = LinesOf(test_support::ReadFile(trace));
    std::filesystem::remove(trace);
    return std::any_of(lines.begin(), lines.end(),
                       [&scene](const std::string& line) { return IsOfMain(line, scene); });
}

}  // namespace campaign
