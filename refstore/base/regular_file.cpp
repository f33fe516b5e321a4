#include "refstore/base/regular_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include "refstore/base/errors.h"

namespace refstore {

namespace {

// A single pread is kept below the 2 GiB that Linux moves at most.
constexpr std::size_t kMaxRead = std::size_t{1} << 30;

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

}  // namespace

RegularFile::RegularFile(std::string_view what, const std::string& path)
    : what_(what), path_(path) {
    RequireNoNul(what, path);
    // O_NONBLOCK: opening a FIFO must not wait for a writer.
    do {
        fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    } while (fd_ < 0 && errno == EINTR);
    if (fd_ < 0) {
        // Opening a socket gives ENXIO, as does a device that is not there.
        const int code = errno == ENXIO ? EINVAL : errno;
        ThrowErrno(code, what, path);
    }
    struct stat attributes = {};
    int code = 0;
    if (::fstat(fd_, &attributes) != 0) {
        code = errno;
    } else if (S_ISDIR(attributes.st_mode)) {
        code = EISDIR;
    } else if (!S_ISREG(attributes.st_mode)) {
        code = EINVAL;
    }
    if (code != 0) {
        ::close(std::exchange(fd_, -1));
        ThrowErrno(code, what, path);
    }
    size_ = static_cast<std::uint64_t>(attributes.st_size);
}

RegularFile::~RegularFile() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

RegularFile::RegularFile(RegularFile&& other) noexcept
    : what_(other.what_),
      path_(std::move(other.path_)),
      fd_(std::exchange(other.fd_, -1)),
      size_(other.size_) {}

void RegularFile::ReadAt(std::uint64_t offset, std::span<std::byte> out) const {
    std::size_t done = 0;
    while (done < out.size()) {
        const std::size_t wanted = std::min(out.size() - done, kMaxRead);
        const ssize_t got =
            ::pread(fd_, out.data() + done, wanted, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            ThrowErrno(errno, what_, path_);
        }
        if (got == 0) {
            ThrowDamage(what_, path_, "file ends too early");
        }
        done += static_cast<std::size_t>(got);
    }
}

FileBytes RegularFile::ReadAll(std::uint64_t limit) const {
    if (size_ > limit) {
        ThrowErrno(EFBIG, what_, path_);
    }
    FileBytes bytes;
    bytes.data = OrOutOfMemory(
        what_, path_, [this] { return std::make_unique_for_overwrite<std::byte[]>(size_); });
    bytes.size = size_;
    AskForLargePages({bytes.data.get(), bytes.size});
    ReadAt(0, {bytes.data.get(), bytes.size});
    std::byte extra{};
    ssize_t more = 0;
    do {
        more = ::pread(fd_, &extra, 1, static_cast<off_t>(size_));
    } while (more < 0 && errno == EINTR);
    if (more > 0) {
        ThrowDamage(what_, path_, "file grew while it was read");
    }
    return bytes;
}

}  // namespace refstore
