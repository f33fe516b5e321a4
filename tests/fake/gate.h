#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace storage_fake {

/// Holds threads inside a scripted call until the test lets them go, to fix an order that would
/// otherwise be a race: script.On("HeaderFile::Load /h/a", [&] { gate.Pass(); }).
class Gate {
  public:
    /// Waits until the gate is open. Fails the test after half a minute rather than hang it.
    void Pass();

    /// Waits until `threads` have come to Pass. False when they do not within half a minute.
    [[nodiscard]] bool WaitUntilReached(std::size_t threads = 1);

    /// Lets everyone pass from now on.
    void Open();

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t reached_ = 0;
    bool open_ = false;
};

}  // namespace storage_fake
