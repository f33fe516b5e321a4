#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

namespace refstore {

/// What a file system tells about one state of a file: two equal stamps, the first of them settled,
/// are of the same contents.
class FileStamp {
  public:
    /// Stamp of the file that `path` names now, symbolic links followed; none when there is none.
    static std::optional<FileStamp> Of(const std::string& path);

    /// Stamp of a file with these attributes, which were asked for at `taken` or later, in seconds
    /// of the epoch.
    FileStamp(const struct stat& attributes, std::int64_t taken);

    /// The file's last change lay long enough before the stamp was taken for a later one to bear
    /// another time, coarse clocks and file systems that keep whole seconds included.
    [[nodiscard]] bool Settled() const;

    friend bool operator==(const FileStamp& left, const FileStamp& right) {
        return left.device_ == right.device_ && left.inode_ == right.inode_ &&
               left.size_ == right.size_ && left.modified_ == right.modified_ &&
               left.changed_ == right.changed_;
    }

  private:
    std::uint64_t device_;
    std::uint64_t inode_;
    std::int64_t size_;
    // Seconds and nanoseconds of the epoch; `taken_` does not take part in comparisons.
    struct Time {
        std::int64_t seconds = 0;
        std::int64_t nanoseconds = 0;
        friend bool operator==(const Time&, const Time&) = default;
    };
    Time modified_;
    Time changed_;
    std::int64_t taken_;
};

}  // namespace refstore
