#include "jorvshare/pack/source_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "jorvshare/report/wording.h"
#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvshare {

SourceFile::SourceFile(std::string path)
    : path_(std::move(path)),
      descriptor_(
          ::open(path_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) {
    struct stat attributes = {};
    if (descriptor_ < 0 || ::fstat(descriptor_, &attributes) != 0) {
        const int code = errno;
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
        throw terminal::ToolError(wording::Errno(path_, code));
    }
    if (!S_ISREG(attributes.st_mode)) {
        ::close(descriptor_);
        throw terminal::ToolError(wording::FileChanged(path_));
    }
    size_ = attributes.st_size;
    seconds_ = attributes.st_mtim.tv_sec;
    nanoseconds_ = static_cast<std::uint32_t>(attributes.st_mtim.tv_nsec);
    mode_ = attributes.st_mode & 07777U;
}

SourceFile::~SourceFile() {
    ::close(descriptor_);
}

void SourceFile::ForEachPiece(const Piece& piece) {
    constexpr auto kGrid = static_cast<std::int64_t>(kMaxExtent);
    std::int64_t offset = 0;
    while (offset < size_) {
        // A file system that knows no holes has data everywhere.
        offset = Seek(offset, SEEK_DATA, offset);
        const std::int64_t end = std::min(size_, Seek(offset, SEEK_HOLE, size_));
        while (offset < end) {
            terminal::CheckInterrupt();
            const std::int64_t next = std::min(end, (offset / kGrid + 1) * kGrid);
            piece(static_cast<std::uint64_t>(offset),
                  Read(offset, static_cast<std::size_t>(next - offset)));
            offset = next;
        }
    }
    // Behind the end of a file that has become shorter there seems to be only a hole.
    struct stat attributes = {};
    if (::fstat(descriptor_, &attributes) != 0 || attributes.st_size < size_) {
        throw terminal::ToolError(wording::FileChanged(path_));
    }
}

std::int64_t SourceFile::Seek(std::int64_t offset, int whence, std::int64_t otherwise) const {
    if (offset >= size_) {
        return size_;
    }
    const std::int64_t found = ::lseek(descriptor_, offset, whence);
    if (found >= 0) {
        return found;
    }
    if (errno == ENXIO) {
        return size_;  // only a hole is left
    }
    if (errno != EINVAL && errno != EOPNOTSUPP) {
        throw terminal::ToolError(wording::Errno(path_, errno));
    }
    return otherwise;
}

std::span<const std::byte> SourceFile::Read(std::int64_t offset, std::size_t length) {
    buffer_.resize(std::max(buffer_.size(), length));
    std::size_t done = 0;
    while (done < length) {
        const ssize_t got = ::pread(descriptor_, buffer_.data() + done, length - done,
                                    offset + static_cast<std::int64_t>(done));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            throw terminal::ToolError(wording::Errno(path_, errno));
        }
        // Zeros in place of what was there would be a silent loss.
        if (got == 0) {
            throw terminal::ToolError(wording::FileChanged(path_));
        }
        done += static_cast<std::size_t>(got);
    }
    return std::span<const std::byte>(buffer_).first(length);
}

}  // namespace jorvshare
