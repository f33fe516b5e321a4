#pragma once

#include <sys/types.h>

#include <cstddef>
#include <span>
#include <string>

namespace refstore {

/// Writes `bytes` into a new file at `path`, with `mode` under the umask. Fails with SysException,
/// message "file <path>: ..." included, when the file is there already or cannot be written; what
/// was begun is then removed. Does not sync: see SyncFileSystem.
void WriteNewFile(const std::string& path, std::span<const std::byte> bytes, mode_t mode = 0644);

/// Puts a whole file in place at once: written beside `path` under a name of its own, synced, and
/// renamed over `path`. Fails as WriteNewFile; an older file at `path` is then untouched, unless it
/// was the last step that failed, the syncing of the directory.
void ReplaceFile(const std::string& path, std::span<const std::byte> bytes);

/// Makes everything written so far to the file system that holds `path` durable. Fails with
/// SysException.
void SyncFileSystem(const std::string& path);

/// Renames `from` to `to`, which must not be there, and syncs the directory that holds `to`. Fails
/// with SysException. Not atomic on every file system: the caller holds a lock that keeps others
/// from making `to` meanwhile.
void RenameNew(const std::string& from, const std::string& to);

}  // namespace refstore
