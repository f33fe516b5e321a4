#include "tests/model/checker_run.h"

#include <grp.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <vector>

#include "tests/support/jorvck_main.h"

namespace model {

namespace {

constexpr uid_t kNobody = 65534;
constexpr int kNotStarted = 126;

void Require(bool done, const char* what) {
    if (!done) {
        throw std::runtime_error(std::string(what) + " failed");
    }
}

/// Takes what a child writes. Emptied for every run, made once.
class Sink {
  public:
    Sink() : fd_(::memfd_create("output", MFD_CLOEXEC)) { Require(fd_ >= 0, "memfd_create"); }
    ~Sink() { ::close(fd_); }
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    [[nodiscard]] int Descriptor() const { return fd_; }
    void Clear() const {
        Require(::ftruncate(fd_, 0) == 0 && ::lseek(fd_, 0, SEEK_SET) == 0, "ftruncate");
    }
    [[nodiscard]] std::string Take() const {
        const off_t size = ::lseek(fd_, 0, SEEK_END);
        std::string text(static_cast<std::size_t>(size), '\0');
        Require(::pread(fd_, text.data(), text.size(), 0) == size, "pread");
        return text;
    }

  private:
    int fd_;
};

/// Waits for a child; ends it after the limit.
int WaitFor(pid_t child, int seconds, bool& hung) {
    pollfd ended = {.fd = static_cast<int>(::syscall(SYS_pidfd_open, child, 0)),
                    .events = POLLIN,
                    .revents = 0};
    Require(ended.fd >= 0, "pidfd_open");
    hung = ::poll(&ended, 1, 1000 * seconds) == 0;
    if (hung) {
        ::kill(child, SIGKILL);
    }
    ::close(ended.fd);
    int how = 0;
    Require(::waitpid(child, &how, 0) == child, "waitpid");
    return how;
}

void NoCoreFile() {
    const rlimit none = {.rlim_cur = 0, .rlim_max = 0};
    ::setrlimit(RLIMIT_CORE, &none);
}

void BecomeNobody() {
    if (::geteuid() == 0 &&
        (::setgroups(0, nullptr) != 0 || ::setresgid(kNobody, kNobody, kNobody) != 0 ||
         ::setresuid(kNobody, kNobody, kNobody) != 0)) {
        ::_exit(kNotStarted);
    }
}

[[noreturn]] void BeTheChecker(const Invocation& invocation, const HowToRun& how, const Sink& out,
                               const Sink& err) {
    ::dup2(out.Descriptor(), STDOUT_FILENO);
    ::dup2(err.Descriptor(), STDERR_FILENO);
    NoCoreFile();
    if (how.asNobody) {
        BecomeNobody();
    }
    ::setenv("JORV_CONFIG", invocation.configuration.c_str(), 1);
    if (how.prepare) {
        how.prepare();
    }
    std::vector<std::string> words = how.wrapper;
    words.push_back(how.program.empty() ? "jorvck" : how.program);
    words.insert(words.end(), invocation.arguments.begin(), invocation.arguments.end());
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    const int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    if (!how.program.empty()) {
        ::execvp(arguments[0], arguments.data());
        ::_exit(kNotStarted);
    }
    std::exit(JorvckMain(count, arguments.data()));
}

}  // namespace

Ended RunChecker(const Invocation& invocation, const HowToRun& how) {
    static const Sink out;
    static const Sink err;
    out.Clear();
    err.Clear();
    // What is buffered would be written by the child as well.
    std::fflush(nullptr);
    const pid_t child = ::fork();
    Require(child >= 0, "fork");
    if (child == 0) {
        BeTheChecker(invocation, how, out, err);
    }
    if (how.meanwhile) {
        how.meanwhile(child);
    }
    Ended ended;
    const int result = WaitFor(child, kLimitSeconds, ended.hung);
    if (WIFEXITED(result)) {
        ended.status = WEXITSTATUS(result);
    } else {
        ended.signal = WTERMSIG(result);
    }
    ended.out = out.Take();
    ended.err = err.Take();
    return ended;
}

Prediction PredictAsNobody(const Invocation& invocation) {
    const bool isRoot = ::geteuid() == 0;
    Require(!isRoot || ::seteuid(kNobody) == 0, "seteuid");
    Prediction predicted = Predict(invocation);
    Require(!isRoot || ::seteuid(0) == 0, "seteuid");
    return predicted;
}

}  // namespace model
