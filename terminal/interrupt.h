#pragma once

#include <array>
#include <csignal>

namespace terminal {

/// Thrown by CheckInterrupt; not derived from std::exception, so that no handler takes it for a
/// failure of the work at hand.
struct Interrupted {
    int signal;
};

/// While it lives, SIGINT, SIGTERM and SIGHUP are remembered instead of ending the process, a write
/// beyond the file size limit fails with EFBIG instead of raising SIGXFSZ, and one to a pipe that
/// nobody reads with EPIPE instead of SIGPIPE: long work can so take back what it began. One at a
/// time, main thread only.
class InterruptScope {
  public:
    /// @param notice not null: a literal that the first signal writes to standard error at once.
    explicit InterruptScope(const char* notice = nullptr);
    /// Puts the former handlers back.
    ~InterruptScope();
    InterruptScope(const InterruptScope&) = delete;
    InterruptScope& operator=(const InterruptScope&) = delete;

  private:
    std::array<struct sigaction, 5> former_;
};

/// Throws Interrupted when a signal has arrived since the scope began.
void CheckInterrupt();

/// CheckInterrupt, and then no signal counts any more until the scope ends: for the part of the
/// work that is not taken back.
void FinishRegardless();

/// Ends the process by `signal`, as if it had never been caught.
[[noreturn]] void DieOf(int signal);

}  // namespace terminal
