#include "refstore/base/file_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "refstore/base/errors.h"
#include "refstore/base/posix.h"

namespace refstore {

namespace {

constexpr mode_t kMode = 0644;
constexpr int kNewFile = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW;

void Require(bool done, const std::string& path) {
    if (!done) {
        ThrowErrno(errno, "file", path);
    }
}

Descriptor Open(const std::string& path, int flags, mode_t mode = 0) {
    RequireNoNul("file", path);
    Descriptor file = OpenFile(path, flags | O_NONBLOCK, mode);
    Require(static_cast<bool>(file), path);
    return file;
}

void SyncDirectoryOf(const std::string& path) {
    const std::string parent = ParentOf(path);
    Require(::fsync(Open(parent, O_RDONLY | O_DIRECTORY).Get()) == 0, parent);
}

void Write(const std::string& path, std::span<const std::byte> bytes, mode_t mode, bool sync) {
    Descriptor file = Open(path, kNewFile, mode);
    const bool written =
        WriteAll(file.Get(), bytes) && (!sync || ::fsync(file.Get()) == 0) && file.Close();
    if (!written) {
        const int code = errno;
        ::unlink(path.c_str());
        ThrowErrno(code, "file", path);
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
    SyncDirectoryOf(path);
}

void SyncFileSystem(const std::string& path) {
    Require(::syncfs(Open(path, O_RDONLY).Get()) == 0, path);
}

void RenameNew(const std::string& from, const std::string& to) {
    RequireNoNul("file", from);
    RequireNoNul("file", to);
    if (const int code = RenameUnlessThere(from, to); code != 0) {
        ThrowErrno(code, "file", to);
    }
    SyncDirectoryOf(to);
}

}  // namespace refstore
