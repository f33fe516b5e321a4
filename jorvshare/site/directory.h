#pragma once

#include <string>
#include <vector>

#include "refstore/base/posix.h"

namespace jorvshare {

enum class EntryKind { kFile, kDirectory, kSymlink, kFifo, kSocket, kDevice, kUnknown };

struct DirectoryEntry {
    std::string name;
    EntryKind kind = EntryKind::kUnknown;
};

/// Entries of the directory at `path` but "." and "..", sorted by the bytes of their names. A
/// symbolic link at `path` is not followed. Holds no descriptor when it returns, so that walks may
/// go as deep as paths can. Fails with ToolError.
std::vector<DirectoryEntry> ListDirectory(const std::string& path);

/// Kind of what lies at `path`, a symbolic link not followed; kUnknown when nothing does. Fails
/// with ToolError when that cannot be told.
EntryKind KindOf(const std::string& path);

/// Makes one directory, mode 0755 under the umask. Fails with ToolError, also when it is there.
void MakeDirectory(const std::string& path);

/// Makes the directories that are missing above and at `path`. Fails with ToolError.
void MakeDirectories(const std::string& path);

/// Removes `path` and all below it, symbolic links as such. What cannot be removed stays.
///
/// @return error number of the first failure, 0 for none.
int RemoveTree(const std::string& path);

/// Absolute path, without symbolic links, of something that is there, or that is to be made in a
/// directory that is there. Fails with ToolError.
std::string AbsoluteTarget(const std::string& path);

/// True when the absolute `path` is `directory` or lies below it; by text.
bool IsWithin(const std::string& path, const std::string& directory);

/// `directory` and `name` with a slash between.
std::string Join(const std::string& directory, const std::string& name);

using refstore::ParentOf;

}  // namespace jorvshare
