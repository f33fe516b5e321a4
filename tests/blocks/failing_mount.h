#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace blocks {

inline constexpr std::uint64_t kBlock = 4096;

/// The files below one directory, shown read-only below another one by a file system of this
/// process's own, in which one 4 KiB block cannot be read. As with a disk, a read that begins
/// before that block ends short of it, and one that begins in it fails with EIO.
///
/// One thread at a time calls it; any process may read the files.
class FailingMount {
  public:
    /// @param source and @param place are absolute; both are directories.
    /// Throws std::runtime_error when the file system cannot be mounted.
    FailingMount(const std::string& source, const std::string& place);
    /// Unmounts it.
    ~FailingMount();
    FailingMount(const FailingMount&) = delete;
    FailingMount& operator=(const FailingMount&) = delete;

    enum class Times : std::uint8_t { kOnce, kAlways };

    /// From now on, a block of a file fails; no other one does.
    ///
    /// @param relative path of the file below the directory
    void Fail(const std::string& relative, std::uint64_t block, Times times);
    /// From now on, a directory cannot be listed; nothing else fails.
    void FailListing(const std::string& relative);
    /// From now on, nothing fails.
    void FailNothing();

    /// Reads and listings that failed since the last call that chose what fails.
    [[nodiscard]] std::uint64_t Failures() const;

    struct Fault;

  private:
    void Set(const std::string& relative, std::uint64_t block, int times);

    Fault* fault_;  ///< shared with the process that serves the file system
    pid_t server_;
};

}  // namespace blocks
