#include "jorvaudit/scratch.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = "jorvaudit-";
constexpr std::string_view kLock = "/lock";

bool HasRoom(const std::string& directory) {
    constexpr std::uint64_t kEnoughBytes = 256ULL << 20U;
    constexpr std::uint64_t kEnoughFiles = 200000;
    struct statvfs room = {};
    return ::access(directory.c_str(), W_OK | X_OK) == 0 &&
           ::statvfs(directory.c_str(), &room) == 0 &&
           room.f_bavail * room.f_frsize > kEnoughBytes &&
           // A file system without a bound on its files counts none.
           (room.f_files == 0 || room.f_favail > kEnoughFiles);
}

std::string Base() {
    // Nothing in the process changes its environment.
    const char* const chosen = std::getenv("TMPDIR");
    if (chosen != nullptr && *chosen != '\0') {
        return chosen;
    }
    return HasRoom("/dev/shm") ? "/dev/shm" : "/tmp";
}

/// The lock of a scratch directory, -1 when another audit holds it. Whoever holds it is alive.
int TakeLock(const std::string& directory, int flags) {
    const int lock = ::open((directory + std::string(kLock)).c_str(),
                            O_RDWR | O_CLOEXEC | O_NOFOLLOW | flags, S_IRUSR | S_IWUSR);
    if (lock >= 0 && ::flock(lock, LOCK_EX | LOCK_NB) != 0) {
        ::close(lock);
        return -1;
    }
    return lock;
}

/// Removes a scratch directory. The lock goes last: without it, what a killed removal left would
/// look like the directory of an audit that is just beginning.
void RemoveScratch(const std::string& directory) {
    std::error_code ignored;
    std::error_code failure;
    for (fs::directory_iterator entry(directory, failure);
         !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
        if (entry->path().filename() != kLock.substr(1)) {
            fs::remove_all(entry->path(), ignored);
        }
    }
    fs::remove_all(directory, ignored);
}

void RemoveLeftOver(const std::string& base) {
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(base, ignored)) {
        const std::string path = entry.path().string();
        struct stat attributes = {};
        if (!entry.path().filename().string().starts_with(kPrefix) ||
            ::lstat(path.c_str(), &attributes) != 0 || !S_ISDIR(attributes.st_mode) ||
            attributes.st_uid != ::geteuid()) {
            continue;
        }
        const int lock = TakeLock(path, 0);
        if (lock >= 0) {
            RemoveScratch(path);
            ::close(lock);
        }
    }
}

}  // namespace

bool LiesIn(const std::string& path, const std::string& root) {
    struct stat wanted = {};
    if (::stat(root.c_str(), &wanted) != 0) {
        return false;
    }
    std::error_code failure;
    fs::path place = fs::weakly_canonical(fs::absolute(path, failure), failure);
    for (;; place = place.parent_path()) {
        struct stat attributes = {};
        if (::stat(place.c_str(), &attributes) == 0 && attributes.st_dev == wanted.st_dev &&
            attributes.st_ino == wanted.st_ino) {
            return true;
        }
        if (!place.has_relative_path()) {
            return false;
        }
    }
}

Scratch::Scratch(const std::string& share) {
    std::error_code failure;
    const std::string base = fs::canonical(Base(), failure).string();
    if (failure) {
        throw terminal::ToolError(terminal::Errno(Base(), failure.value()));
    }
    // The checker searches paths for "/head"; a line end would divide its lines.
    if ((base + "/").find("/head") != std::string::npos || base.find('\n') != std::string::npos) {
        throw terminal::ToolError("TMPDIR " + base +
                                  ": views cannot be made below a directory whose name begins with "
                                  "\"head\" or holds a line end");
    }
    if (LiesIn(base, share)) {
        throw terminal::ToolError("TMPDIR " + base + ": lies in the share");
    }
    RemoveLeftOver(base);
    path_ = base + "/" + std::string(kPrefix) + "XXXXXX";
    if (::mkdtemp(path_.data()) == nullptr) {
        throw terminal::ToolError(terminal::Errno(path_, errno));
    }
    lock_ = TakeLock(path_, O_CREAT);
}

Scratch::~Scratch() {
    RemoveScratch(path_);
    ::close(lock_);
}

}  // namespace jorvaudit
