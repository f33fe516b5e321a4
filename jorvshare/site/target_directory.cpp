#include "jorvshare/site/target_directory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "jorvshare/site/site.h"
#include "jorvshare/site/site_layout.h"
#include "refstore/base/file_writer.h"
#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

using terminal::Errno;
using terminal::ToolError;

// The one entry of "<path>.partial". Its name shows that a killed run left it, and not somebody
// else.
constexpr const char* kTree = "jorvshare-unfinished";

}  // namespace

TargetDirectory::TargetDirectory(const std::string& path, mode_t mode)
    : final_(AbsoluteTarget(path)), partial_(PartialOf(final_)) {
    struct stat attributes = {};
    if (::lstat(final_.c_str(), &attributes) == 0) {
        if (!S_ISDIR(attributes.st_mode) || !Root(final_).List("").empty()) {
            throw ToolError(final_ + ": exists and is not an empty directory");
        }
        replaced_ = attributes.st_mode & 07777U;
    }
    if (::mkdir(partial_.c_str(), 0700) != 0) {
        if (errno != EEXIST) {
            throw ToolError(Errno(partial_, errno));
        }
        TakeOver();
    }
    try {
        Begin(mode);
    } catch (...) {
        ::rmdir(partial_.c_str());
        throw;
    }
}

// Ours is an empty directory, or one with the unfinished tree in it; and no run may be at work.
void TargetDirectory::TakeOver() {
    struct stat attributes = {};
    if (::lstat(partial_.c_str(), &attributes) != 0) {
        throw ToolError(Errno(partial_, errno));
    }
    if (S_ISDIR(attributes.st_mode)) {
        lock_ = LockDirectory(partial_);
        const Root root(partial_);
        const auto entries = root.List("");
        if (entries.empty() || (entries.size() == 1 && entries.front().name == kTree)) {
            root.Remove(kTree);
            return;
        }
    }
    throw ToolError(partial_ +
                    ": is in the way: the run builds there, and removes only what a killed "
                    "run left");
}

void TargetDirectory::Begin(mode_t mode) {
    if (!lock_) {
        lock_ = LockDirectory(partial_);
    }
    const Root root(partial_);
    root.MakeDirectory(kTree, mode);
    if (replaced_ && ::chmod(root.At(kTree).c_str(), *replaced_) != 0) {
        throw ToolError(Errno(root.At(kTree), errno));
    }
    tree_.emplace(root.At(kTree));
}

TargetDirectory::~TargetDirectory() {
    try {
        if (!committed_) {
            Root(partial_).Remove(kTree);
        }
    } catch (const ToolError&) {
        // The failure that brought the run here is the one to report; the next run removes it.
    }
    ::rmdir(partial_.c_str());
}

void TargetDirectory::Commit() {
    refstore::SyncFileSystem(partial_);
    terminal::FinishRegardless();
    // Onto nothing or an empty directory: the system replaces no other.
    const std::string tree = tree_->Path();
    if (::rename(tree.c_str(), final_.c_str()) != 0) {
        throw ToolError(Errno(final_, errno));
    }
    try {
        refstore::SyncFileSystem(refstore::ParentOf(final_));
    } catch (...) {
        // In its place, but perhaps not for long: after a failure it must not be there.
        ::rename(final_.c_str(), tree.c_str());
        if (replaced_) {
            ::mkdir(final_.c_str(), 0700);
            ::chmod(final_.c_str(), *replaced_);
        }
        throw;
    }
    committed_ = true;
}

}  // namespace jorvshare
