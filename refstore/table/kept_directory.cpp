#include "refstore/table/kept_directory.h"

#include <sys/stat.h>

#include <ctime>

namespace refstore {

namespace {

struct Kept {
    std::shared_ptr<const TableDirectory> tables;  // null: nothing is kept
    std::string path;                              // of their file; its memory is used again
    struct stat attributes = {};
};

// One for each thread, so that nothing is shared and nothing locked.
thread_local Kept t_kept;

bool IsSame(const timespec& left, const timespec& right) {
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

// Whether the kept path is that of the file in `directory`. Requires that tables are kept: then it
// ends in the file's name.
bool IsOf(const std::string& directory) {
    return t_kept.path.size() == directory.size() + TableDirectory::kFileName.size() &&
           t_kept.path.starts_with(directory);
}

bool IsUnchanged() {
    const struct stat& then = t_kept.attributes;
    struct stat now = {};
    return ::stat(t_kept.path.c_str(), &now) == 0 && now.st_dev == then.st_dev &&
           now.st_ino == then.st_ino && now.st_size == then.st_size &&
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
    if (t_kept.tables != nullptr && IsOf(directory) && IsUnchanged()) {
        return t_kept.tables;
    }
    // Given up first: two of the largest files at once would be one too many.
    t_kept.tables.reset();
    t_kept.path.assign(directory).append(TableDirectory::kFileName);
    const std::time_t now = std::time(nullptr);
    const RegularFile file(kTablesKind.what, t_kept.path);
    auto tables = TableDirectory::Load(file);
    if (IsSettled(file.Attributes(), now)) {
        t_kept.attributes = file.Attributes();
        t_kept.tables = tables;
    }
    return tables;
}

}  // namespace refstore
