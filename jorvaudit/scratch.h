#pragma once

#include <string>

namespace jorvaudit {

/// Whether `path`, or what is nearest above it where it is not there yet, lies in the directory
/// `root` or is it. Links are followed.
bool LiesIn(const std::string& path, const std::string& root);

/// A private directory for views, removed at the end with all that is in it. It lies in $TMPDIR,
/// else in memory where there is room, else in /tmp. What killed audits left there is removed
/// first.
class Scratch {
  public:
    /// Throws ToolError when no directory can be made, or only one below `share`.
    explicit Scratch(const std::string& share);
    ~Scratch();
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    /// Absolute; it holds neither "/head" nor a line end.
    [[nodiscard]] const std::string& Path() const { return path_; }

  private:
    std::string path_;
    int lock_ = -1;
};

}  // namespace jorvaudit
