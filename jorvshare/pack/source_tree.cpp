#include "jorvshare/pack/source_tree.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "terminal/console.h"
#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

constexpr std::uint64_t kBlock = 512;  // unit of st_blocks

std::string_view KindName(EntryKind kind) {
    switch (kind) {
        case EntryKind::kSymlink:
            return "symbolic link";
        case EntryKind::kFifo:
            return "FIFO";
        case EntryKind::kSocket:
            return "socket";
        default:
            return "device";
    }
}

class Walker {
  public:
    Walker(const std::string& root, SourceTree* tree) : root_(root), tree_(tree) {}

    /// @param prefix  relative path of the directory with a slash behind it, or empty.
    /// @param inHead  a directory of the prefix begins with "head".
    void Walk(const std::string& prefix, bool inHead) {
        terminal::CheckInterrupt();
        for (const DirectoryEntry& entry : ListDirectory(Join(root_, prefix))) {
            const std::string relative = prefix + entry.name;
            if (entry.kind == EntryKind::kDirectory) {
                tree_->directories.push_back(relative);
                Walk(relative + "/", inHead || entry.name.starts_with("head"));
            } else if (entry.kind == EntryKind::kFile) {
                tree_->files.push_back(relative);
                tree_->unpairable += inHead ? 1 : 0;
                const bool namedHead = !inHead && entry.name.starts_with("head");
                tree_->namedHead += namedHead ? 1 : 0;
                CountData(relative);
            } else {
                terminal::PrintWarning(wording::kProgram, wording::Skipped(KindName(entry.kind),
                                                                           Join(root_, relative)));
                ++tree_->skipped;
            }
        }
    }

  private:
    void CountData(const std::string& relative) {
        const std::string path = Join(root_, relative);
        struct stat attributes = {};
        if (::lstat(path.c_str(), &attributes) != 0) {
            throw terminal::ToolError(wording::Errno(path, errno));
        }
        tree_->dataBytes += std::min(static_cast<std::uint64_t>(attributes.st_size),
                                     static_cast<std::uint64_t>(attributes.st_blocks) * kBlock);
    }

    const std::string& root_;
    SourceTree* tree_;
};

}  // namespace

SourceTree WalkSource(const std::string& root) {
    SourceTree tree;
    Walker(root, &tree).Walk("", false);
    return tree;
}

}  // namespace jorvshare
