#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace jorvaudit {

/// Work in child processes, so that nothing that happens there, a crash or an endless wait, harms
/// the audit. Each child has a process group of its own, which is killed as a whole; it dies with
/// this process and leaves no core file. One object at a time, main thread only: it blocks SIGCHLD.
class Children {
  public:
    using Seconds = std::chrono::duration<double>;

    struct Work {
        /// Run in the child; what it returns becomes Ended::result. An exception ends the child
        /// with a status other than 0.
        std::function<std::string()> body;
        Seconds limit{};
        /// Asked once when the limit is over: how much longer the child may take.
        std::function<Seconds()> extension = {};
    };

    struct Ended {
        std::size_t slot = 0;
        int status = -1;  ///< exit status, -1 after a signal
        int signal = 0;
        bool timedOut = false;
        std::string result;

        [[nodiscard]] bool IsRegular() const { return status == 0; }
    };

    /// @param most children at a time; each has a slot, numbered from 0.
    explicit Children(std::size_t most);
    /// Kills the children that are left.
    ~Children();
    Children(const Children&) = delete;
    Children& operator=(const Children&) = delete;

    [[nodiscard]] bool HasFreeSlot() const;
    [[nodiscard]] bool IsIdle() const;
    /// The slot that the next Start takes.
    [[nodiscard]] std::size_t FreeSlot() const;

    /// Starts a child in the free slot. Throws ToolError when the system has none.
    void Start(Work work);

    /// The next child that ended, waited for `patience` at most; nothing when none did. An arriving
    /// signal ends the wait.
    bool Wait(std::chrono::milliseconds patience, Ended* ended);

  private:
    struct Child {
        pid_t pid = 0;  ///< 0: the slot is free
        int memory = -1;
        std::chrono::steady_clock::time_point deadline;
        std::function<Seconds()> extension;
        bool timedOut = false;
    };

    bool Reap(Ended* ended);
    void KillOverdue();

    std::vector<Child> children_;
};

/// Runs one piece of work in a child and waits for it; an interruption of the audit ends it.
Children::Ended RunInChild(Children::Work work);

/// In a child: starts a program, with standard output and error as given, which dies with the
/// child. One that cannot be run ends with status 127. Throws ToolError when there is no process
/// for it.
pid_t StartProgram(const std::vector<std::string>& words, int out, int err);

/// Whether SIGCHLD arrived within `patience`; waits for it. SIGCHLD is blocked.
bool WaitForChild(std::chrono::milliseconds patience);

}  // namespace jorvaudit
