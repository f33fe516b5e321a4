#include "refstore/table/kept_directory.h"

#include <sys/stat.h>

#include <ctime>
#include <utility>

namespace refstore {

namespace {

struct Kept {
    std::string path;
    struct stat attributes = {};
    std::shared_ptr<const TableDirectory> tables;  // null: nothing is kept
};

// One for each thread, so that nothing is shared and nothing locked.
thread_local Kept t_kept;

bool IsSame(const timespec& left, const timespec& right) {
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

bool IsUnchanged(const std::string& path) {
    const struct stat& then = t_kept.attributes;
    struct stat now = {};
    return t_kept.tables != nullptr && t_kept.path == path && ::stat(path.c_str(), &now) == 0 &&
           now.st_dev == then.st_dev && now.st_ino == then.st_ino && now.st_size == then.st_size &&
           IsSame(now.st_mtim, then.st_mtim) && IsSame(now.st_ctim, then.st_ctim);
}

// Whether the file's last change lies long enough back for a later one to bear another time, coarse
// clocks and file systems that keep whole seconds included. The time of change is the kernel's own
// and cannot be set back.
bool IsSettled(const struct stat& attributes, std::time_t now) {
    constexpr std::time_t kSettled = 3;
    return attributes.st_ctim.tv_sec < now - kSettled;
}

}  // namespace

std::shared_ptr<const TableDirectory> LoadDirectory(const std::string& directory) {
    std::string path = TableDirectory::FileIn(directory);
    if (IsUnchanged(path)) {
        return t_kept.tables;
    }
    // Given up first: two of the largest files at once would be one too many.
    t_kept.tables.reset();
    const std::time_t now = std::time(nullptr);
    const RegularFile file(kTablesKind.what, path);
    auto tables = TableDirectory::Load(file);
    if (IsSettled(file.Attributes(), now)) {
        t_kept = {std::move(path), file.Attributes(), tables};
    }
    return tables;
}

}  // namespace refstore
