#include "jorvshare/pack/source_tree.h"

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

constexpr off_t kBlock = 512;  // unit of st_blocks

class Walker {
  public:
    Walker(const Root& root, KeepGoing* keepGoing, SourceTree* tree)
        : root_(root), keepGoing_(keepGoing), tree_(tree) {}

    /// @param inHead a directory on the way begins with "head".
    void Walk(const std::string& directory, bool inHead) {
        terminal::CheckInterrupt();
        std::vector<refstore::DirectoryEntry> entries;
        keepGoing_->Try("not packed: ", nullptr,
                        [&] { entries = OrInputError([&] { return root_.List(directory); }); });
        for (const refstore::DirectoryEntry& entry : entries) {
            const std::string relative = Join(directory, entry.name);
            if (entry.type == S_IFLNK) {
                ++tree_->symlinks;
            } else if (entry.type != S_IFDIR && entry.type != S_IFREG) {
                ++tree_->specials;
            } else if (keepGoing_->Try("not packed: ", nullptr, [&] { Count(relative); })) {
                const bool namedHead = entry.name.starts_with("head");
                if (entry.type == S_IFDIR) {
                    tree_->directories.push_back(relative);
                    Walk(relative, inHead || namedHead);
                } else {
                    tree_->files.push_back(relative);
                    tree_->unpairable += inHead ? 1 : 0;
                    tree_->namedHead += !inHead && namedHead ? 1 : 0;
                }
            }
        }
    }

  private:
    void Count(const std::string& relative) {
        const std::string path = root_.At(relative);
        struct stat attributes = {};
        if (::lstat(path.c_str(), &attributes) != 0) {
            throw InputError(terminal::Errno(path, errno));
        }
        if (S_ISREG(attributes.st_mode)) {
            tree_->dataBytes += static_cast<std::uint64_t>(
                std::min(attributes.st_size, attributes.st_blocks * kBlock));
            tree_->hardLinks += attributes.st_nlink > 1 ? 1 : 0;
            tree_->setIds += (attributes.st_mode & 07000U) != 0 ? 1 : 0;
        }
        const bool isOthers = attributes.st_uid != user_ || attributes.st_gid != group_;
        tree_->owners += isOthers ? 1 : 0;
        const bool hasAttributes = ::llistxattr(path.c_str(), nullptr, 0) > 0;
        tree_->attributes += hasAttributes ? 1 : 0;
    }

    const Root& root_;
    KeepGoing* keepGoing_;
    SourceTree* tree_;
    const uid_t user_ = ::geteuid();
    const gid_t group_ = ::getegid();
};

}  // namespace

std::string SourceTree::NotKept() const {
    std::string line;
    const auto add = [&line](std::uint64_t number, std::string_view one, std::string_view many) {
        if (number != 0) {
            line += (line.empty() ? "" : ", ") + std::to_string(number) + " ";
            line += number == 1 ? one : many;
        }
    };
    add(symlinks, "symbolic link", "symbolic links");
    add(specials, "FIFO, socket or device", "FIFOs, sockets or devices");
    add(hardLinks, "hard link", "hard links");
    add(owners, "owner", "owners");
    add(attributes, "set of extended attributes", "sets of extended attributes");
    add(setIds, "file's set-id or sticky bits", "files' set-id or sticky bits");
    add(directories.size(), "directory's mode and time", "directories' modes and times");
    return line;
}

SourceTree WalkSource(const Root& root, KeepGoing* keepGoing) {
    SourceTree tree;
    Walker(root, keepGoing, &tree).Walk("", false);
    return tree;
}

}  // namespace jorvshare
