#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "jorvshare/site/root.h"
#include "refstore/base/posix.h"

namespace jorvshare {

/// Most bytes of one extent, and the grid on which files are cut: extent boundaries inside data
/// lie at its multiples, so that no extent reaches over the end of a mapping table.
inline constexpr std::size_t kMaxExtent = 131072;

/// One regular file that is packed, opened for reading, and its attributes as they were then. Fails
/// with InputError; a symbolic link or anything but a regular file is refused. One thread.
class SourceFile {
  public:
    SourceFile(const Root& root, const std::string& relative);

    [[nodiscard]] std::int64_t Size() const { return attributes_.st_size; }
    [[nodiscard]] const struct stat& Attributes() const { return attributes_; }

    using Piece = std::function<void(std::uint64_t offset, std::span<const std::byte> data)>;

    /// Hands out the data up to Size() in ascending pieces of at most kMaxExtent bytes; holes are
    /// left out. A file that has become shorter is an InputError.
    void ForEachPiece(const Piece& piece);

  private:
    [[noreturn]] void FailChanged() const;
    [[nodiscard]] std::int64_t Seek(std::int64_t offset, int whence, std::int64_t otherwise) const;
    [[nodiscard]] std::span<const std::byte> Read(std::int64_t offset, std::size_t length);

    std::string path_;
    refstore::Descriptor file_;
    struct stat attributes_ = {};
    std::vector<std::byte> buffer_;
};

}  // namespace jorvshare
