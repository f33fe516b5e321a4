#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

namespace interposed {

/// Records the starts and joins of threads by the thread that made it, while it lives, and makes
/// one start fail. One at a time.
class Threads {
  public:
    /// The start with this number, from 1, fails with EAGAIN; 0 for none.
    explicit Threads(std::size_t failing = 0);
    ~Threads();
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;

    /// "start N", "start N failed" and "join N" in the order in which they happened, N being the
    /// number of the start.
    [[nodiscard]] std::vector<std::string> Calls() const;

    // For the functions that replace the C library's; true when the call is for this object.

    [[nodiscard]] bool BeginStart();
    /// Remembers who was started.
    void Started(unsigned long thread);
    void Joined(unsigned long thread);

  private:
    mutable std::mutex mutex_;
    unsigned long owner_;
    std::size_t failing_;
    std::size_t starts_ = 0;
    std::vector<std::pair<unsigned long, std::size_t>> running_;
    std::vector<std::string> calls_;
};

}  // namespace interposed
