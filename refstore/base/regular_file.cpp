#include "refstore/base/regular_file.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include "refstore/base/errors.h"

namespace refstore {

namespace {

// Fresh memory comes a page at a time, which costs more than reading the file into it. Advice only:
// a kernel without large pages ignores it.
void AskForLargePages(std::span<std::byte> memory) {
    constexpr std::size_t kLargePage = std::size_t{2} << 20;
    void* at = memory.data();
    std::size_t room = memory.size();
    if (std::align(kLargePage, kLargePage, at, room) != nullptr) {
        ::madvise(at, room - room % kLargePage, MADV_HUGEPAGE);
    }
}

// Error number of opening what has these attributes, 0 for a regular file.
int RefusalOf(const struct stat& attributes) {
    if (S_ISDIR(attributes.st_mode)) {
        return EISDIR;
    }
    return S_ISREG(attributes.st_mode) ? 0 : EINVAL;
}

// Reading leaves the access time alone where the kernel allows that: for the file's owner and for
// root. For anyone else the file is opened as every reader opens it.
Descriptor OpenForReading(const std::string& path) {
    // O_NONBLOCK: it may have become a FIFO.
    constexpr int kFlags = O_RDONLY | O_NONBLOCK;
    Descriptor file = OpenFile(path, kFlags | O_NOATIME);
    return file || errno != EPERM ? std::move(file) : OpenFile(path, kFlags);
}

// The type as well: the number of a file that is gone may be given to another one.
bool IsSame(const struct stat& left, const struct stat& right) {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino &&
           (left.st_mode & S_IFMT) == (right.st_mode & S_IFMT);
}

}  // namespace

RegularFile::RegularFile(std::string_view what, const std::string& path)
    : what_(what), path_(&path) {
    RequireNoNul(what, path);
    const auto require = [&](bool done) {
        if (!done) {
            ThrowErrno(errno, what, path);
        }
    };
    // The type is looked at first: to open a FIFO lets go of a process that waits for a reader, and
    // to open some devices acts. A file that is replaced meanwhile is looked at again.
    constexpr int kAttempts = 8;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        struct stat seen = {};
        require(::stat(path.c_str(), &seen) == 0);
        if (const int refusal = RefusalOf(seen); refusal != 0) {
            ThrowErrno(refusal, what, path);
        }
        file_ = OpenForReading(path);
        require(static_cast<bool>(file_));
        require(::fstat(file_.Get(), &attributes_) == 0);
        if (IsSame(seen, attributes_)) {
            return;
        }
    }
    ThrowError(ESTALE, what, path, "replaced while it was opened");
}

void RegularFile::Read(std::uint64_t offset, std::span<std::byte> out, std::size_t wanted) const {
    const auto got = refstore::ReadAt(file_, offset, out, wanted);
    if (!got) {
        ThrowErrno(errno, what_, *path_);
    }
    if (*got < wanted) {
        ThrowDamage(what_, *path_, "file ends too early");
    }
    if (*got > wanted) {
        ThrowDamage(what_, *path_, "file grew while it was read");
    }
}

void RegularFile::ReadAt(std::uint64_t offset, std::span<std::byte> out) const {
    if (!out.empty()) {
        Read(offset, out, out.size());
    }
}

FileBytes RegularFile::ReadAll(std::uint64_t limit) const {
    if (Size() > limit) {
        ThrowErrno(EFBIG, what_, *path_);
    }
    FileBytes bytes;
    bytes.data = OrOutOfMemory(
        what_, *path_, [this] { return std::make_unique_for_overwrite<std::byte[]>(Size() + 1); });
    bytes.size = Size();
    AskForLargePages({bytes.data.get(), bytes.size});
    Read(0, {bytes.data.get(), bytes.size + 1}, bytes.size);
    return bytes;
}

}  // namespace refstore
