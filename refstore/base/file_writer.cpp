#include "refstore/base/file_writer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "refstore/base/errors.h"
#include "refstore/base/posix.h"

namespace refstore {

namespace {

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

}  // namespace

void WriteNewFile(const std::string& path, std::span<const std::byte> bytes, mode_t mode) {
    Descriptor file = Open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
    if (!WriteAll(file.Get(), bytes) || !file.Close()) {
        const int code = errno;
        ::unlink(path.c_str());
        ThrowErrno(code, "file", path);
    }
}

void SyncFileSystem(const std::string& path) {
    Require(::syncfs(Open(path, O_RDONLY).Get()) == 0, path);
}

}  // namespace refstore
