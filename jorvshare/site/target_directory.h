#pragma once

#include <sys/types.h>

#include <string>

namespace jorvshare {

/// A directory that appears in its place only when it is whole: built beside under
/// "<path>.partial", removed unless Commit succeeds. Failures are ToolErrors and SysExceptions.
class TargetDirectory {
  public:
    /// `path` must not be there or be an empty directory; "<path>.partial" must not be there.
    explicit TargetDirectory(const std::string& path);
    ~TargetDirectory();
    TargetDirectory(const TargetDirectory&) = delete;
    TargetDirectory& operator=(const TargetDirectory&) = delete;

    /// Absolute path that it will have.
    [[nodiscard]] const std::string& Final() const { return final_; }
    /// Absolute path that it has now.
    [[nodiscard]] const std::string& Partial() const { return partial_; }

    /// Makes all in it durable and renames it, durably as well.
    void Commit();

  private:
    std::string final_;
    std::string partial_;
    bool replaces_ = false;
    mode_t mode_ = 0755;  ///< of the empty directory that it replaces
    bool renamed_ = false;
    bool committed_ = false;
};

}  // namespace jorvshare
