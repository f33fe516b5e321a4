#pragma once

#include <ctime>

namespace interposed {

/// Makes time() tell this time, in seconds since the epoch, while it lives. One at a time.
class FixedTime {
  public:
    explicit FixedTime(std::time_t now);
    ~FixedTime();
    FixedTime(const FixedTime&) = delete;
    FixedTime& operator=(const FixedTime&) = delete;
};

}  // namespace interposed
