#pragma once

#include <functional>
#include <string>
#include <vector>

namespace jorvshare {

/// What a run has made so far. Unless Keep is called, its destructor takes all of it back, the
/// latest first. One thread.
class Undo {
  public:
    Undo() = default;
    ~Undo();
    Undo(const Undo&) = delete;
    Undo& operator=(const Undo&) = delete;

    /// The file, or the directory with all in it, is to go.
    void RemoveTree(std::string path);
    /// The directory is to go when nothing else has been put into it.
    void RemoveDirectory(std::string path);
    /// `action` is to be run; what it throws is dropped.
    void Run(std::function<void()> action);

    void Keep() { actions_.clear(); }

  private:
    std::vector<std::function<void()>> actions_;
};

}  // namespace jorvshare
