#include "jorvshare/site/target_directory.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "jorvshare/report/tool_error.h"
#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "refstore/base/file_writer.h"

namespace jorvshare {

TargetDirectory::TargetDirectory(const std::string& path)
    : final_(AbsoluteTarget(path)), partial_(final_ + ".partial") {
    const EntryKind kind = KindOf(final_);
    replaces_ = kind != EntryKind::kUnknown;
    if (replaces_ && (kind != EntryKind::kDirectory || !ListDirectory(final_).empty())) {
        throw ToolError(wording::NotEmpty(final_));
    }
    // Not taken for our own and removed: people give such names to directories of theirs.
    if (KindOf(partial_) != EntryKind::kUnknown) {
        throw ToolError(wording::LeftOver(partial_));
    }
    MakeDirectory(partial_);
    struct stat attributes = {};
    if (replaces_ && ::stat(final_.c_str(), &attributes) == 0) {
        ::chmod(partial_.c_str(), attributes.st_mode & 07777U);
    }
}

TargetDirectory::~TargetDirectory() {
    if (!committed_) {
        RemoveTree(partial_);
    }
}

void TargetDirectory::Commit() {
    refstore::SyncFileSystem(partial_);
    if (!replaces_) {
        refstore::RenameNew(partial_, final_);
    } else if (::rename(partial_.c_str(), final_.c_str()) != 0) {
        throw ToolError(wording::Errno(final_, errno));
    }
    committed_ = true;
}

}  // namespace jorvshare
