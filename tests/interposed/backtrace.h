#pragma once

namespace interposed {

/// Makes backtrace() capture no frame while it lives. One at a time.
class NoFrames {
  public:
    NoFrames();
    ~NoFrames();
    NoFrames(const NoFrames&) = delete;
    NoFrames& operator=(const NoFrames&) = delete;
};

}  // namespace interposed
