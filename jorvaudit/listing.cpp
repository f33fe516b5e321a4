#include "jorvaudit/listing.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <map>
#include <memory>
#include <system_error>

#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

struct CloseListing {
    void operator()(DIR* listing) const { ::closedir(listing); }
};

// What a tree has under a name.
struct Entry {
    Has has = Has::kNothing;
    bool isLink = false;
};
using Entries = std::map<std::string, std::array<Entry, 3>>;

Has KindOf(mode_t mode) {
    return S_ISDIR(mode) ? Has::kDirectory : S_ISREG(mode) ? Has::kFile : Has::kOther;
}

// Links are followed, as the checker does. One that leads nowhere, or that cannot be followed, is
// something that is there.
Entry EntryOf(int directory, const dirent& entry) {
    switch (entry.d_type) {
        case DT_REG:
            return {.has = Has::kFile};
        case DT_DIR:
            return {.has = Has::kDirectory};
        case DT_LNK:
        case DT_UNKNOWN: {
            struct stat itself = {};
            struct stat target = {};
            const bool isLink =
                ::fstatat(directory, entry.d_name, &itself, AT_SYMLINK_NOFOLLOW) == 0 &&
                S_ISLNK(itself.st_mode);
            const bool isFound = ::fstatat(directory, entry.d_name, &target, 0) == 0;
            return {.has = isFound ? KindOf(target.st_mode) : Has::kOther, .isLink = isLink};
        }
        default:
            return {.has = Has::kOther};
    }
}

// Adds the entries of a directory of one tree; an error number, or 0.
int AddEntries(const std::string& path, std::size_t tree, Entries* entries) {
    const std::unique_ptr<DIR, CloseListing> listing(::opendir(path.c_str()));
    if (listing == nullptr) {
        return errno;
    }
    for (;;) {
        errno = 0;
        const dirent* const entry = ::readdir(listing.get());
        if (entry == nullptr) {
            return errno;
        }
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            (*entries)[entry->d_name].at(tree) = EntryOf(::dirfd(listing.get()), *entry);
        }
    }
}

class Lister {
  public:
    Lister(const std::string& share, const std::string& path, bool tables)
        : share_(share), tables_(tables) {
        listing_.path = path;
    }

    Listing List(std::size_t trees) {
        Entries entries;
        for (std::size_t i = 0; i < trees; ++i) {
            const auto tree = static_cast<Tree>(i);
            const std::string directory = PathIn(share_, tree, listing_.path);
            const int code = AddEntries(directory, i, &entries);
            struct stat itself = {};
            listing_.isLinked |= !listing_.path.empty() &&
                                 ::lstat(directory.c_str(), &itself) == 0 &&
                                 S_ISLNK(itself.st_mode);
            listing_.missing.at(i) = code == ENOENT || code == ENOTDIR || code == ELOOP;
            listing_.unreadable.at(i) = code != 0 && !listing_.missing.at(i);
            if (listing_.unreadable.at(i)) {
                AddUnreadable(tree, code);
            }
        }
        for (const auto& [name, inTrees] : entries) {
            AddName(name, inTrees);
        }
        return std::move(listing_);
    }

  private:
    void AddUnreadable(Tree tree, int code) {
        listing_.findings.push_back(
            {.kind = &kinds::kDirectoryUnreadable,
             .object = Object::kDirectory,
             .name = std::string(kTreeNames.at(static_cast<std::size_t>(tree))) +
                     (listing_.path.empty() ? "" : "/") + listing_.path,
             .detail =
                 std::generic_category().message(code) + " (errno " + std::to_string(code) + ")"});
    }

    void AddName(const std::string& name, const std::array<Entry, 3>& inTrees) {
        std::array<Has, 3> has = {inTrees[0].has, inTrees[1].has, inTrees[2].has};
        bool isDirectory = false;
        bool isLinked = false;
        const bool isFile = has[0] != Has::kNothing && has[0] != Has::kDirectory;
        for (std::size_t i = 0; i < has.size(); ++i) {
            if (has.at(i) != Has::kDirectory) {
                continue;
            }
            // Under the name of a header, a directory is the file's own: tables, or damage. The
            // header may also be where a directory was: what is below is looked at too. Whether
            // there are tables is not asked here, the disk would be waited for at each file.
            if (isFile) {
                isDirectory = isDirectory || (!inTrees.at(i).isLink && (i == 2 || !tables_));
                continue;
            }
            if (i == 1 && inTrees[0].has == Has::kNothing && IsTables(name)) {
                continue;
            }
            if (inTrees.at(i).isLink) {
                listing_.findings.push_back(
                    {.kind = &kinds::kLinkedDirectory,
                     .object = Object::kDirectory,
                     .name = std::string(kTreeNames.at(i)) + "/" + Below(listing_.path, name)});
                isLinked = true;
            } else {
                isDirectory = true;
            }
            has.at(i) = Has::kNothing;
        }
        if (isDirectory) {
            listing_.directories.push_back(name);
        } else if (isLinked) {
            ++listing_.linked;
        }
        if (has != std::array<Has, 3>{}) {
            listing_.hostile +=
                Below(listing_.path, name).find('\n') == std::string::npos ? 0U : 1U;
            listing_.files.push_back({name, has[0], has[1], has[2]});
        }
    }

    [[nodiscard]] bool IsTables(const std::string& name) const {
        return tables_ && HoldsTables(PathIn(share_, Tree::kMap, Below(listing_.path, name)));
    }

    const std::string& share_;
    const bool tables_;
    Listing listing_;
};

}  // namespace

std::string PathIn(const std::string& share, Tree tree, std::string_view path) {
    std::string whole = share + "/";
    whole += kTreeNames.at(static_cast<std::size_t>(tree));
    if (!path.empty()) {
        whole += '/';
        whole += path;
    }
    return whole;
}

std::string Below(const std::string& directory, const std::string& name) {
    return directory.empty() ? name : directory + "/" + name;
}

bool HoldsTables(const std::string& directory) {
    struct stat attributes = {};
    return ::lstat((directory + "/data.mdb").c_str(), &attributes) == 0 &&
           !S_ISDIR(attributes.st_mode);
}

Listing ListDirectory(const std::string& share, const std::string& path, bool tables) {
    return Lister(share, path, tables).List(kTreeNames.size());
}

Listing ListHeaders(const std::string& share, const std::string& path) {
    return Lister(share, path, true).List(1);
}

}  // namespace jorvaudit
