#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "jorvshare/site/root.h"
#include "refstore/base/posix.h"

namespace jorvshare {

/// A directory that appears in its place only when it is whole: built in "<path>.partial", which
/// nobody else can read, and renamed by Commit. Without Commit nothing is left. Failures are
/// ToolErrors and SysExceptions.
class TargetDirectory {
  public:
    /// `path` must not be there or be an empty directory, whose mode is kept. What a killed run
    /// left in "<path>.partial" is removed; anything else there is refused.
    ///
    /// @param mode of the directory, under the umask.
    TargetDirectory(const std::string& path, mode_t mode);
    ~TargetDirectory();
    TargetDirectory(const TargetDirectory&) = delete;
    TargetDirectory& operator=(const TargetDirectory&) = delete;

    /// Absolute path that it will have.
    [[nodiscard]] const std::string& Final() const { return final_; }
    /// Where it is built.
    [[nodiscard]] const Root& Tree() const { return *tree_; }

    /// Makes all in it durable and renames it, durably as well. A signal that comes before the
    /// renaming is Interrupted, a later one is ignored.
    void Commit();

  private:
    void Begin(mode_t mode);
    void TakeOver();

    std::string final_;
    std::string partial_;
    std::optional<mode_t> replaced_;  ///< mode of the empty directory in its place
    refstore::Descriptor lock_;
    std::optional<Root> tree_;
    bool committed_ = false;
};

}  // namespace jorvshare
