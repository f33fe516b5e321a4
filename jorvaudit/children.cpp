#include "jorvaudit/children.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

constexpr int kThrew = 125;
constexpr int kNotRun = 127;

sigset_t ChildSignal() {
    sigset_t set;
    ::sigemptyset(&set);
    ::sigaddset(&set, SIGCHLD);
    return set;
}

void WriteAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t put = ::write(descriptor, text.data(), text.size());
        if (put < 0) {
            throw terminal::ToolError(terminal::Errno("result of a child", errno));
        }
        text.remove_prefix(static_cast<std::size_t>(put));
    }
}

std::string ReadAll(int descriptor) {
    std::string text;
    std::array<char, 65536> buffer;
    ::lseek(descriptor, 0, SEEK_SET);
    for (;;) {
        const ssize_t got = ::read(descriptor, buffer.data(), buffer.size());
        if (got <= 0) {
            return text;
        }
        text.append(buffer.data(), static_cast<std::size_t>(got));
    }
}

void DefaultSignals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ}) {
        std::signal(signal, SIG_DFL);
    }
}

// Locks of the audit must end with it, although its children may live a moment longer.
void CloseOthers(int kept) {
    const auto number = static_cast<unsigned>(kept);
    constexpr unsigned kFirst = STDERR_FILENO + 1;
    if (number > kFirst) {
        ::close_range(kFirst, number - 1, 0);
    }
    ::close_range(number + 1, ~0U, 0);
}

// What a storage library prints is the checker's to show; the audit's own look at it is silent.
void Silence() {
    const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        ::dup2(null, stream);
    }
}

[[noreturn]] void RunBody(const Children::Work& work, int memory, pid_t parent) {
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    // It may have died before it could be asked for.
    if (::getppid() != parent) {
        ::_exit(kThrew);
    }
    DefaultSignals();
    CloseOthers(memory);
    Silence();
    try {
        WriteAll(memory, work.body());
    } catch (...) {
        ::_exit(kThrew);
    }
    ::_exit(0);
}

}  // namespace

Children::Children(std::size_t most) : children_(most) {
    const sigset_t set = ChildSignal();
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
    // Inherited. Thousands of core files would help no one.
    const struct rlimit none = {0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
}

Children::~Children() {
    for (const Child& child : children_) {
        if (child.pid != 0) {
            ::kill(-child.pid, SIGKILL);
            ::kill(child.pid, SIGKILL);
            ::waitpid(child.pid, nullptr, 0);
            ::close(child.memory);
        }
    }
}

bool Children::HasFreeSlot() const {
    return FreeSlot() < children_.size();
}

bool Children::IsIdle() const {
    return std::ranges::all_of(children_, [](const Child& child) { return child.pid == 0; });
}

std::size_t Children::FreeSlot() const {
    return static_cast<std::size_t>(std::ranges::find(children_, 0, &Child::pid) -
                                    children_.begin());
}

void Children::Start(Work work) {
    Child& child = children_.at(FreeSlot());
    child.memory = ::memfd_create("result", MFD_CLOEXEC);
    if (child.memory < 0) {
        throw terminal::ToolError(terminal::Errno("result of a child", errno));
    }
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid == 0) {
        RunBody(work, child.memory, parent);
    }
    if (pid < 0) {
        const int code = errno;
        ::close(child.memory);
        throw terminal::ToolError(terminal::Errno("a child process", code));
    }
    // Done on both sides: whichever comes first, the group is there when it is killed.
    ::setpgid(pid, pid);
    child.pid = pid;
    child.deadline = std::chrono::steady_clock::now() +
                     std::chrono::duration_cast<std::chrono::steady_clock::duration>(work.limit);
    child.extension = std::move(work.extension);
    child.timedOut = false;
}

bool Children::Wait(std::chrono::milliseconds patience, Ended* ended) {
    if (Reap(ended)) {
        return true;
    }
    WaitForChild(patience);
    KillOverdue();
    return Reap(ended);
}

bool Children::Reap(Ended* ended) {
    int state = 0;
    const pid_t pid = ::waitpid(-1, &state, WNOHANG);
    const auto child = std::ranges::find(children_, pid, &Child::pid);
    if (pid <= 0 || child == children_.end()) {
        return false;
    }
    // A checker that the child had started must not outlive it.
    ::kill(-pid, SIGKILL);
    ended->slot = static_cast<std::size_t>(child - children_.begin());
    ended->status = WIFEXITED(state) ? WEXITSTATUS(state) : -1;
    ended->signal = WIFSIGNALED(state) ? WTERMSIG(state) : 0;
    ended->timedOut = child->timedOut;
    ended->result = ReadAll(child->memory);
    ::close(child->memory);
    *child = {};
    return true;
}

void Children::KillOverdue() {
    const auto now = std::chrono::steady_clock::now();
    for (Child& child : children_) {
        if (child.pid == 0 || child.timedOut || now < child.deadline) {
            continue;
        }
        if (child.extension) {
            child.deadline = now + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                       child.extension());
            child.extension = nullptr;
        } else {
            child.timedOut = true;
            ::kill(-child.pid, SIGKILL);
        }
    }
}

Children::Ended RunInChild(Children::Work work) {
    Children one(1);
    one.Start(std::move(work));
    Children::Ended ended;
    while (!one.Wait(std::chrono::milliseconds(200), &ended)) {
        terminal::CheckInterrupt();
    }
    return ended;
}

pid_t StartProgram(const std::vector<std::string>& words, int out, int err) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    const sigset_t set = ChildSignal();
    const pid_t parent = ::getpid();
    // It shares this process's memory until it is another program: a copy would cost as much as the
    // check of many files.
    const pid_t pid = ::vfork();
    if (pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) {
            ::_exit(kNotRun);
        }
        ::sigprocmask(SIG_UNBLOCK, &set, nullptr);
        ::dup2(out, STDOUT_FILENO);
        ::dup2(err, STDERR_FILENO);
        ::execvp(arguments.front(), arguments.data());
        ::_exit(kNotRun);
    }
    if (pid < 0) {
        throw terminal::ToolError(terminal::Errno(words.front(), errno));
    }
    return pid;
}

bool WaitForChild(std::chrono::milliseconds patience) {
    const sigset_t set = ChildSignal();
    const timespec limit = {.tv_sec = patience.count() / 1000,
                            .tv_nsec = patience.count() % 1000 * 1000000};
    return ::sigtimedwait(&set, nullptr, &limit) == SIGCHLD;
}

}  // namespace jorvaudit
