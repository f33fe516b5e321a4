#include "terminal/interrupt.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>

namespace terminal {

namespace {

constexpr std::array<int, 5> kSignals = {SIGINT, SIGTERM, SIGHUP, SIGXFSZ, SIGPIPE};

// Of these the failed write alone is to tell.
bool IsOfAWrite(int signal) {
    return signal == SIGXFSZ || signal == SIGPIPE;
}

// A signal handler can reach nothing but globals: these are the only ones of the program.
volatile std::sig_atomic_t g_arrived = 0;
std::string_view g_notice;

extern "C" void Remember(int signal) {
    const int code = errno;
    if (g_arrived == 0) {
        [[maybe_unused]] const ssize_t put =
            ::write(STDERR_FILENO, g_notice.data(), g_notice.size());
    }
    g_arrived = signal;
    errno = code;
}

}  // namespace

InterruptScope::InterruptScope(const char* notice) {
    g_arrived = 0;
    g_notice = notice == nullptr ? std::string_view() : notice;
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        struct sigaction action = {};
        action.sa_handler = IsOfAWrite(kSignals.at(i)) ? SIG_IGN : Remember;
        action.sa_flags = SA_RESTART;
        ::sigemptyset(&action.sa_mask);
        ::sigaction(kSignals.at(i), &action, &former_.at(i));
        // A run that was started with a signal ignored (nohup) stays deaf to it.
        if (former_.at(i).sa_handler == SIG_IGN) {
            ::sigaction(kSignals.at(i), &former_.at(i), nullptr);
        }
    }
}

InterruptScope::~InterruptScope() {
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals.at(i), &former_.at(i), nullptr);
    }
}

void CheckInterrupt() {
    if (g_arrived != 0) {
        throw Interrupted{g_arrived};
    }
}

void FinishRegardless() {
    for (const int signal : kSignals) {
        if (!IsOfAWrite(signal)) {
            struct sigaction action = {};
            action.sa_handler = SIG_IGN;
            ::sigaction(signal, &action, nullptr);
        }
    }
    // Last: a signal that arrived until here still counts, and none can arrive after it.
    CheckInterrupt();
}

void DieOf(int signal) {
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    ::sigemptyset(&action.sa_mask);
    ::sigaction(signal, &action, nullptr);
    ::raise(signal);
    ::_Exit(128 + signal);
}

}  // namespace terminal
