#pragma once

#include <array>
#include <atomic>
#include <climits>
#include <cstdint>
#include <string>

namespace blocks {

inline constexpr std::uint64_t kBlock = 4096;

/// What fails, in memory that this process shares with others. It changes only while nothing reads.
class Fault {
  public:
    /// From now on a block of a file fails, as often as said: -1 for always, 0 for never.
    ///
    /// @param path from the root of the files, with a slash in front
    void Set(const std::string& path, std::uint64_t block, int times);

    /// How far a read from `begin` to `end` gets, up to the block that fails.
    [[nodiscard]] std::uint64_t ReadableFrom(const char* path, std::uint64_t begin,
                                             std::uint64_t end) const;
    /// Takes one failure, if there is one left for this block.
    bool Take(const char* path, std::uint64_t block);

    [[nodiscard]] std::uint64_t Failures() const { return failures_; }

  private:
    [[nodiscard]] bool IsFailing(const char* path, std::uint64_t block) const;

    std::array<char, PATH_MAX> path_ = {};
    std::uint64_t block_ = 0;
    std::atomic<int> left_ = 0;
    std::atomic<std::uint64_t> failures_ = 0;
};

/// The files below one directory, in which one 4 KiB block cannot be read. As with a disk, a read
/// that begins before that block ends short of it, and one that begins in it fails with EIO.
///
/// One thread at a time calls it; any process may read the files.
class FailingFiles {
  public:
    virtual ~FailingFiles();
    FailingFiles(const FailingFiles&) = delete;
    FailingFiles& operator=(const FailingFiles&) = delete;

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

  protected:
    FailingFiles();

    Fault* fault_;  ///< in memory that forked processes share
};

/// Stands for a block of a directory: its listing.
inline constexpr std::uint64_t kListing = ~std::uint64_t{0};

}  // namespace blocks
