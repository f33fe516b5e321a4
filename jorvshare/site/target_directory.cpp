#include "jorvshare/site/target_directory.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "refstore/base/file_writer.h"
#include "terminal/tool_error.h"

namespace jorvshare {

TargetDirectory::TargetDirectory(const std::string& path)
    : final_(AbsoluteTarget(path)), partial_(final_ + ".partial") {
    const EntryKind kind = KindOf(final_);
    replaces_ = kind != EntryKind::kUnknown;
    if (replaces_ && (kind != EntryKind::kDirectory || !ListDirectory(final_).empty())) {
        throw terminal::ToolError(wording::NotEmpty(final_));
    }
    // Not taken for our own and removed: people give such names to directories of theirs.
    if (KindOf(partial_) != EntryKind::kUnknown) {
        throw terminal::ToolError(wording::LeftOver(partial_));
    }
    MakeDirectory(partial_);
    struct stat attributes = {};
    if (replaces_ && ::stat(final_.c_str(), &attributes) == 0) {
        mode_ = attributes.st_mode & 07777U;
        ::chmod(partial_.c_str(), mode_);
    }
}

TargetDirectory::~TargetDirectory() {
    if (committed_) {
        return;
    }
    RemoveTree(partial_);
    if (renamed_) {
        // In its place, but perhaps not for long: whoever is told of a failure must not find it.
        RemoveTree(final_);
        if (replaces_) {
            ::mkdir(final_.c_str(), 0700);
            ::chmod(final_.c_str(), mode_);
        }
    }
}

void TargetDirectory::Commit() {
    refstore::SyncFileSystem(partial_);
    const unsigned flags = replaces_ ? 0 : RENAME_NOREPLACE;
    if (::renameat2(AT_FDCWD, partial_.c_str(), AT_FDCWD, final_.c_str(), flags) != 0) {
        throw terminal::ToolError(wording::Errno(final_, errno));
    }
    renamed_ = true;
    refstore::SyncFileSystem(ParentOf(final_));
    committed_ = true;
}

}  // namespace jorvshare
