#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace refstore {

// The calls on files that the library and its tools make, in one place. A call that a signal
// interrupts is repeated. A call that fails returns false or no value and leaves its reason in
// errno, as the system's own calls do: the callers word their errors in different ways.

/// Owner of a file descriptor, or of none. Move-only.
class Descriptor {
  public:
    Descriptor() = default;
    /// Takes ownership of `fd`; a negative one is none.
    explicit Descriptor(int fd) noexcept : fd_(fd) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept : fd_(other.Release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    explicit operator bool() const noexcept { return fd_ >= 0; }
    [[nodiscard]] int Get() const noexcept { return fd_; }

    /// Gives up ownership.
    int Release() noexcept { return std::exchange(fd_, -1); }

    /// Closes the descriptor. Some file systems report a failed write only here.
    bool Close() noexcept;

  private:
    int fd_ = -1;
};

/// Opens `path` with `flags`, O_CLOEXEC and O_NOCTTY. The caller rejects NUL bytes in the path.
Descriptor OpenFile(const std::string& path, int flags, mode_t mode = 0);

/// Reads from `offset` until at least `enough` bytes of `out` are there or the file ends: at most
/// all of `out`, as the calls happen to return it. Calls the system at least once.
///
/// @return the number of bytes read.
std::optional<std::size_t> ReadAt(const Descriptor& file, std::uint64_t offset,
                                  std::span<std::byte> out, std::size_t enough);
inline std::optional<std::size_t> ReadAt(const Descriptor& file, std::uint64_t offset,
                                         std::span<std::byte> out) {
    return ReadAt(file, offset, out, out.size());
}

/// Writes all of `bytes`: at the file's position, or at `offset`.
bool WriteAll(int fd, std::span<const std::byte> bytes);
bool WriteAllAt(const Descriptor& file, std::uint64_t offset, std::span<const std::byte> bytes);

/// One name in a directory.
struct DirectoryEntry {
    std::string name;
    mode_t type = 0;  ///< S_IFMT bits of the entry itself, links not followed; 0: not known
};

/// The entries of a directory but "." and "..", in the file system's order. The descriptor is
/// closed again, so that a walk may go as deep as paths can.
///
/// @param flags for opening besides O_DIRECTORY; with O_NOFOLLOW a symbolic link is refused.
std::optional<std::vector<DirectoryEntry>> ListDirectory(const std::string& path, int flags = 0);
/// The same of a directory that is open for reading; no value, with errno as it is, of none.
std::optional<std::vector<DirectoryEntry>> ListDirectory(Descriptor opened);

/// `path` up to its last name: "/a" for "/a/b" and "/a/b/", "." for "b".
std::string ParentOf(std::string path);

}  // namespace refstore
