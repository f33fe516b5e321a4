#include "refstore/base/file_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

#include "refstore/base/errors.h"

namespace refstore {

namespace {

constexpr std::size_t kMaxWrite = std::size_t{1} << 30;
constexpr mode_t kMode = 0644;
constexpr int kNewFile = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW;

class Descriptor {
  public:
    Descriptor(const std::string& path, int flags, mode_t mode = 0) : path_(path), fd_(-1) {
        RequireNoNul("file", path);
        fd_ = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, mode);
        Require(fd_ >= 0);
    }
    ~Descriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    void Write(std::span<const std::byte> bytes) const {
        while (!bytes.empty()) {
            const ssize_t put = ::write(fd_, bytes.data(), std::min(bytes.size(), kMaxWrite));
            if (put < 0 && errno == EINTR) {
                continue;
            }
            Require(put >= 0);
            bytes = bytes.subspan(static_cast<std::size_t>(put));
        }
    }
    void Sync() const { Require(::fsync(fd_) == 0); }
    void SyncAll() const { Require(::syncfs(fd_) == 0); }
    // Errors of delayed writing come with close on some file systems.
    void Close() { Require(::close(std::exchange(fd_, -1)) == 0); }

  private:
    void Require(bool done) const {
        if (!done) {
            ThrowErrno(errno, "file", path_);
        }
    }
    std::string path_;
    int fd_;
};

std::string ParentOf(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

void Write(const std::string& path, std::span<const std::byte> bytes, mode_t mode, bool sync) {
    Descriptor file(path, kNewFile, mode);
    try {
        file.Write(bytes);
        if (sync) {
            file.Sync();
        }
        file.Close();
    } catch (...) {
        ::unlink(path.c_str());
        throw;
    }
}

// A name in the directory of `path` that no file has. It does not grow out of the name in `path`:
// "f.new" may well be a file of its own, and a longer name may be too long.
std::string NameBeside(const std::string& path) {
    const std::string stem = ParentOf(path) + "/.jorv-" + std::to_string(::getpid()) + "-";
    for (unsigned number = 0;; ++number) {
        std::string name = stem + std::to_string(number);
        struct stat attributes = {};
        if (::lstat(name.c_str(), &attributes) != 0) {
            return name;
        }
    }
}

// Renames unless something is at `to`; returns the error number, 0 for none.
int RenameUnlessThere(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    // Some file systems, of the network above all, cannot do both in one step. Two steps do where
    // the caller keeps others away.
    if (errno != EINVAL) {
        return errno;
    }
    struct stat attributes = {};
    if (::lstat(to.c_str(), &attributes) == 0) {
        return EEXIST;
    }
    if (errno != ENOENT) {
        return errno;
    }
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

}  // namespace

void WriteNewFile(const std::string& path, std::span<const std::byte> bytes, mode_t mode) {
    Write(path, bytes, mode, false);
}

void ReplaceFile(const std::string& path, std::span<const std::byte> bytes) {
    RequireNoNul("file", path);
    const std::string beside = NameBeside(path);
    Write(beside, bytes, kMode, true);
    if (::rename(beside.c_str(), path.c_str()) != 0) {
        const int code = errno;
        ::unlink(beside.c_str());
        ThrowErrno(code, "file", path);
    }
    Descriptor(ParentOf(path), O_RDONLY | O_DIRECTORY).Sync();
}

void SyncFileSystem(const std::string& path) {
    Descriptor(path, O_RDONLY).SyncAll();
}

void RenameNew(const std::string& from, const std::string& to) {
    RequireNoNul("file", from);
    RequireNoNul("file", to);
    if (const int code = RenameUnlessThere(from, to); code != 0) {
        ThrowErrno(code, "file", to);
    }
    Descriptor(ParentOf(to), O_RDONLY | O_DIRECTORY).Sync();
}

}  // namespace refstore
