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

/// Makes everything written so far to the file system that holds `path` durable. Fails with
/// SysException.
void SyncFileSystem(const std::string& path);

}  // namespace refstore
