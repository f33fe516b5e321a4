#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "jorvshare/site/root.h"
#include "refstore/base/posix.h"

namespace jorvshare {

/// A new file that is written piece by piece. Failures are ToolErrors that name the path; what was
/// written stays, for whoever made the directory around it to remove. One thread.
class OutputFile {
  public:
    /// Makes the file `relative` below `root`, open to its owner alone; fails when anything is
    /// there already.
    OutputFile(const Root& root, const std::string& relative);

    void WriteAt(std::uint64_t offset, std::span<const std::byte> bytes);
    /// Sets the size; what was never written is a hole.
    void SetSize(std::int64_t size);
    /// Permission bits, regardless of the umask.
    void SetMode(mode_t mode);
    void SetOwner(uid_t user, gid_t group);
    void SetModified(std::int64_t seconds, std::uint32_t nanoseconds);
    /// Makes the file durable.
    void Sync();
    /// Ends the file and reports delayed errors.
    void Close();

  private:
    void Require(bool done) const;

    std::string path_;
    refstore::Descriptor file_;
};

}  // namespace jorvshare
