#include "jorvshare/pack/source_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "jorvshare/site/keep_going.h"
#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvshare {

SourceFile::SourceFile(const Root& root, const std::string& relative)
    : path_(root.At(relative)),
      file_(OrInputError([&] { return root.Open(relative, O_RDONLY | O_NONBLOCK | O_NOCTTY); })) {
    if (::fstat(file_.Get(), &attributes_) != 0) {
        throw InputError(terminal::Errno(path_, errno));
    }
    if (!S_ISREG(attributes_.st_mode)) {
        FailChanged();
    }
}

void SourceFile::FailChanged() const {
    throw InputError(path_ + ": changed while it was packed");
}

void SourceFile::ForEachPiece(const Piece& piece) {
    constexpr auto kGrid = static_cast<std::int64_t>(kMaxExtent);
    std::int64_t offset = 0;
    while (offset < Size()) {
        // A file system that knows no holes has data everywhere.
        offset = Seek(offset, SEEK_DATA, offset);
        const std::int64_t end = std::min(Size(), Seek(offset, SEEK_HOLE, Size()));
        while (offset < end) {
            terminal::CheckInterrupt();
            const std::int64_t next = std::min(end, (offset / kGrid + 1) * kGrid);
            piece(static_cast<std::uint64_t>(offset),
                  Read(offset, static_cast<std::size_t>(next - offset)));
            offset = next;
        }
    }
    // A file that has become shorter looks as if it ended in a hole.
    struct stat attributes = {};
    if (::fstat(file_.Get(), &attributes) != 0 || attributes.st_size < Size()) {
        FailChanged();
    }
}

std::int64_t SourceFile::Seek(std::int64_t offset, int whence, std::int64_t otherwise) const {
    if (offset >= Size()) {
        return Size();
    }
    const std::int64_t found = ::lseek(file_.Get(), offset, whence);
    if (found >= 0) {
        return found;
    }
    if (errno == ENXIO) {
        return Size();  // only a hole is left
    }
    if (errno != EINVAL && errno != EOPNOTSUPP) {
        throw InputError(terminal::Errno(path_, errno));
    }
    return otherwise;
}

std::span<const std::byte> SourceFile::Read(std::int64_t offset, std::size_t length) {
    buffer_.resize(std::max(buffer_.size(), length));
    const auto piece = std::span(buffer_).first(length);
    const auto got = refstore::ReadAt(file_, static_cast<std::uint64_t>(offset), piece);
    if (!got) {
        throw InputError(terminal::Errno(path_, errno));
    }
    // Zeros in place of what was there would be a silent loss.
    if (*got < length) {
        FailChanged();
    }
    return piece;
}

}  // namespace jorvshare
