#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace tool_test {

/// How a run of the tool ended.
struct Ended {
    int status = -1;  ///< exit status, or -1 when a signal ended it
    int signal = 0;
    std::string out;
    std::string err;
};

/// The tool in a process of its own. Output goes to files in a directory that is removed again.
class ToolProcess {
  public:
    /// @param prepare run in the child before the tool: limits, other users.
    explicit ToolProcess(const std::vector<std::string>& arguments,
                         const std::function<void()>& prepare = {});
    ~ToolProcess();
    ToolProcess(const ToolProcess&) = delete;
    ToolProcess& operator=(const ToolProcess&) = delete;

    [[nodiscard]] pid_t Pid() const { return pid_; }
    Ended Wait();

  private:
    std::string directory_;
    pid_t pid_ = -1;
};

/// Runs the tool to its end.
Ended RunTool(const std::vector<std::string>& arguments, const std::function<void()>& prepare = {});

/// The run failed with status 1: it said "jorvshare: <line>" on standard error and nothing else.
void ExpectRefused(const Ended& ended, const std::string& line);

/// The command line was refused with status 2: one line "jorvshare: <line>; see jorvshare --help".
void ExpectMisused(const Ended& ended, const std::string& line);

/// For RunTool: the process loses all privileges. The superuser passes every check.
void BecomeNobody();

/// What is below a directory: one text per relative path with type, permission bits and, of files,
/// modification time and contents. The root itself is not among them.
std::map<std::string, std::string> Snapshot(const std::string& root);

/// The same without the directories, whose modes a share does not keep.
std::map<std::string, std::string> Files(const std::string& root);

/// Deterministic noise.
std::string Noise(std::size_t size, std::uint64_t seed);

}  // namespace tool_test
