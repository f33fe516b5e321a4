#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "refstore/base/posix.h"

namespace refstore {

/// Bytes of a whole file, in memory of its own, aligned for any scalar.
struct FileBytes {
    std::unique_ptr<std::byte[]> data;
    std::size_t size = 0;

    [[nodiscard]] std::span<const std::byte> Span() const { return {data.get(), size}; }
    [[nodiscard]] std::string_view Text() const {
        return {reinterpret_cast<const char*>(data.get()), size};
    }
};

/// A regular file opened for reading. Nothing else is opened: a directory gives EISDIR, a FIFO,
/// socket or device EINVAL, at once and without side effects. Every failure is a SysException whose
/// message names `what` and the path. Move-only; one thread at a time.
class RegularFile {
  public:
    /// @param what kind of structure, a literal, for messages.
    /// @param path kept by reference, as `what` is: both must outlive this object.
    RegularFile(std::string_view what, const std::string& path);
    /// A temporary path would not.
    RegularFile(std::string_view what, std::string&& path) = delete;

    /// As given to the constructor.
    [[nodiscard]] std::string_view What() const { return what_; }
    [[nodiscard]] const std::string& Path() const { return *path_; }

    /// Size in bytes when the file was opened.
    [[nodiscard]] std::uint64_t Size() const {
        return static_cast<std::uint64_t>(attributes_.st_size);
    }

    /// Fewer bytes lie on disk than the file has.
    [[nodiscard]] bool IsSparse() const {
        constexpr std::uint64_t kBlock = 512;
        return static_cast<std::uint64_t>(attributes_.st_blocks) * kBlock < Size();
    }

    /// The file's attributes when it was opened.
    [[nodiscard]] const struct stat& Attributes() const { return attributes_; }

    /// Fills `out` from `offset`. A file that ends before is damage (EBADMSG).
    void ReadAt(std::uint64_t offset, std::span<std::byte> out) const;

    /// Reads Size() bytes from the start. Out of memory is SysException(ENOMEM), a file that has
    /// grown or shrunk since it was opened EBADMSG. A size above `limit` is EFBIG, before anything
    /// is allocated.
    [[nodiscard]] FileBytes ReadAll(std::uint64_t limit) const;

  private:
    /// Reads `wanted` bytes into `out`, which may have room for one more: asking for that one tells
    /// without another call that the file has grown.
    void Read(std::uint64_t offset, std::span<std::byte> out, std::size_t wanted) const;

    std::string_view what_;
    const std::string* path_;
    struct stat attributes_ = {};
    Descriptor file_;
};

}  // namespace refstore
