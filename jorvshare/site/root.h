#pragma once

#include <sys/types.h>

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "refstore/base/posix.h"

namespace jorvshare {

/// A directory, and what lies below it by relative paths. The kernel resolves each path beneath the
/// directory and follows no symbolic link: nothing outside can be changed, listed or opened through
/// a Root. The directory itself may be reached by links.
///
/// Failures are ToolErrors that name the absolute path. One thread.
class Root {
  public:
    /// @param path of a directory that is there.
    explicit Root(std::string path);

    /// The directory as it was given.
    [[nodiscard]] const std::string& Path() const { return path_; }
    /// Path of `relative` for messages and for readers; Path() for an empty one.
    [[nodiscard]] std::string At(const std::string& relative) const;

    /// Opens `relative`, the directory itself when that is empty, with `flags` and O_CLOEXEC.
    [[nodiscard]] refstore::Descriptor Open(const std::string& relative, int flags,
                                            mode_t mode = 0) const;
    /// Opens a new file for writing, with `mode` under the umask. Fails when anything is there.
    [[nodiscard]] refstore::Descriptor Create(const std::string& relative, mode_t mode) const;
    /// Throws ToolError about `relative`, with errno as the reason, unless `done`.
    void Require(bool done, const std::string& relative) const;

    /// Type of the entry as S_IFMT bits, a symbolic link not followed; 0 when nothing is there.
    [[nodiscard]] mode_t TypeOf(const std::string& relative) const;

    /// Entries of a directory, sorted by the bytes of their names. Holds no descriptor when it
    /// returns, so that walks may go as deep as paths can.
    [[nodiscard]] std::vector<refstore::DirectoryEntry> List(const std::string& relative) const;

    /// Makes one directory, with `mode` under the umask. Fails when anything is there.
    void MakeDirectory(const std::string& relative, mode_t mode) const;
    /// Makes the directories that are missing above and at `relative`.
    void MakeDirectories(const std::string& relative, mode_t mode) const;

    /// Writes a new file, with `mode` under the umask.
    void Write(const std::string& relative, std::span<const std::byte> bytes, mode_t mode) const;

    /// Renames `from` to `to`, which must not be there unless `replace`.
    void Rename(const std::string& from, const std::string& to, bool replace = false) const;

    /// Removes what is at `relative`, a directory with all in it. Nothing there is no failure.
    void Remove(const std::string& relative) const;

    /// Makes the entries of the directory `relative` durable.
    void Sync(const std::string& relative) const;

  private:
    /// The directory that holds an entry, and the entry's name.
    struct Place {
        refstore::Descriptor parent;
        std::string name;
    };
    [[nodiscard]] Place PlaceOf(const std::string& relative) const;
    [[noreturn]] void Fail(const std::string& relative, int code) const;

    std::string path_;
    refstore::Descriptor directory_;
};

/// `directory` and `name` with a slash between; one alone when the other is empty.
std::string Join(const std::string& directory, const std::string& name);

/// Absolute path, without symbolic links, of something that is there, or that is to be made in a
/// directory that is there. Fails with ToolError.
std::string AbsoluteTarget(const std::string& path);

/// True when the absolute `path` is `directory` or lies below it; by text.
bool IsWithin(const std::string& path, const std::string& directory);

/// The bytes of `text`, which has to outlive them.
inline std::span<const std::byte> BytesOf(std::string_view text) {
    return std::as_bytes(std::span(text));
}

}  // namespace jorvshare
