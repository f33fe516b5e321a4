#include "refstore/table/file_stamp.h"

#include <ctime>

namespace refstore {

namespace {

constexpr std::int64_t kSettledSeconds = 3;

}  // namespace

FileStamp::FileStamp(const struct stat& attributes, std::int64_t taken)
    : device_(attributes.st_dev),
      inode_(attributes.st_ino),
      size_(attributes.st_size),
      modified_{attributes.st_mtim.tv_sec, attributes.st_mtim.tv_nsec},
      changed_{attributes.st_ctim.tv_sec, attributes.st_ctim.tv_nsec},
      taken_(taken) {}

std::optional<FileStamp> FileStamp::Of(const std::string& path) {
    const std::int64_t taken = std::time(nullptr);
    struct stat attributes = {};
    if (::stat(path.c_str(), &attributes) != 0) {
        return std::nullopt;
    }
    return FileStamp(attributes, taken);
}

bool FileStamp::Settled() const {
    // The time of change is the kernel's own and cannot be set back.
    return changed_.seconds < taken_ - kSettledSeconds;
}

}  // namespace refstore
