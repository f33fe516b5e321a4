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
    int code = 0;
    if (::fstat(fd_, &attributes_) != 0) {
        code = errno;
    } else if (S_ISDIR(attributes_.st_mode)) {
        code = EISDIR;
    } else if (!S_ISREG(attributes_.st_mode)) {
        code = EINVAL;
    }
    if (code != 0) {
        ::close(std::exchange(fd_, -1));
        ThrowErrno(code, what, path);
    }
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
      attributes_(other.attributes_) {}

void RegularFile::Read(std::uint64_t offset, std::span<std::byte> out, bool last) const {
    std::size_t done = 0;
    do {
        const std::size_t wanted = std::min(out.size() - done, kMaxRead) + (last ? 1 : 0);
        const ssize_t got =
            ::pread(fd_, out.data() + done, wanted, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            ThrowErrno(errno, what_, path_);
        }
        if (got == 0 && done < out.size()) {
            ThrowDamage(what_, path_, "file ends too early");
        }
        if (got == 0) {
            return;
        }
        done += static_cast<std::size_t>(got);
    } while (done < out.size());
    if (done > out.size()) {
        ThrowDamage(what_, path_, "file grew while it was read");
    }
}

void RegularFile::ReadAt(std::uint64_t offset, std::span<std::byte> out) const {
    if (!out.empty()) {
        Read(offset, out, false);
    }
}

FileBytes RegularFile::Room(std::uint64_t limit) const {
    if (Size() > limit) {
        ThrowErrno(EFBIG, what_, path_);
    }
    FileBytes bytes;
    bytes.data = OrOutOfMemory(
        what_, path_, [this] { return std::make_unique_for_overwrite<std::byte[]>(Size() + 1); });
    bytes.size = Size();
    AskForLargePages({bytes.data.get(), bytes.size});
    return bytes;
}

FileBytes RegularFile::ReadAll(std::uint64_t limit) const {
    FileBytes bytes = Room(limit);
    Read(0, {bytes.data.get(), bytes.size}, true);
    return bytes;
}

FileBytes RegularFile::ReadAll(std::uint64_t limit, const Seen& seen) const {
    FileBytes bytes = Room(limit);
    std::size_t offset = 0;
    do {
        const std::size_t length = std::min(bytes.size - offset, kPiece);
        const std::span<std::byte> piece(bytes.data.get() + offset, length);
        Read(offset, piece, offset + length == bytes.size);
        seen(piece);
        offset += length;
    } while (offset < bytes.size);
    return bytes;
}

}  // namespace refstore
