#include "refstore/table/file_stamp.h"

#include <sys/stat.h>

#include <ctime>

namespace refstore {

namespace {

constexpr std::int64_t kSettledSeconds = 3;

}  // namespace

std::optional<FileStamp> FileStamp::Of(const std::string& path) {
    struct stat attributes = {};
    FileStamp stamp;
    stamp.taken_ = std::time(nullptr);
    if (::stat(path.c_str(), &attributes) != 0) {
        return std::nullopt;
    }
    stamp.device_ = attributes.st_dev;
    stamp.inode_ = attributes.st_ino;
    stamp.size_ = attributes.st_size;
    stamp.modified_ = {attributes.st_mtim.tv_sec, attributes.st_mtim.tv_nsec};
    stamp.changed_ = {attributes.st_ctim.tv_sec, attributes.st_ctim.tv_nsec};
    return stamp;
}

bool FileStamp::Settled() const {
    // The time of change is the kernel's own and cannot be set back.
    return changed_.seconds < taken_ - kSettledSeconds;
}

}  // namespace refstore
