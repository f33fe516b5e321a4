#include "jorvaudit/listing.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>
#include <optional>
#include <system_error>

#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

struct CloseListing {
    void operator()(DIR* listing) const { ::closedir(listing); }
};

struct Name {
    std::string text;
    Has has;
    bool link;
};

Has KindOf(mode_t mode) {
    return S_ISDIR(mode) ? Has::kDirectory : S_ISREG(mode) ? Has::kFile : Has::kOther;
}

// Links are followed, as the checker does. One that leads nowhere, or that cannot be followed, is
// something that is there.
Name NameOf(DIR* listing, const dirent& entry) {
    switch (entry.d_type) {
        case DT_REG:
            return {entry.d_name, Has::kFile, false};
        case DT_DIR:
            return {entry.d_name, Has::kDirectory, false};
        case DT_LNK:
        case DT_UNKNOWN: {
            struct stat itself = {};
            struct stat target = {};
            const bool link =
                ::fstatat(::dirfd(listing), entry.d_name, &itself, AT_SYMLINK_NOFOLLOW) == 0 &&
                S_ISLNK(itself.st_mode);
            const bool found = ::fstatat(::dirfd(listing), entry.d_name, &target, 0) == 0;
            return {entry.d_name, found ? KindOf(target.st_mode) : Has::kOther, link};
        }
        default:
            return {entry.d_name, Has::kOther, false};
    }
}

std::vector<Name> NamesOf(const std::string& directory, int* code) {
    std::vector<Name> names;
    const std::unique_ptr<DIR, CloseListing> listing(::opendir(directory.c_str()));
    *code = listing == nullptr ? errno : 0;
    while (*code == 0) {
        errno = 0;
        const dirent* const entry = ::readdir(listing.get());
        if (entry == nullptr) {
            *code = errno;
            break;
        }
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            names.push_back(NameOf(listing.get(), *entry));
        }
    }
    std::ranges::sort(names, {}, &Name::text);
    return names;
}

class Lister {
  public:
    Lister(const std::string& share, const std::string& path, bool tables)
        : share_(share), tables_(tables) {
        listing_.path = path;
    }

    Listing List() {
        std::array<std::vector<Name>, 3> names;
        for (std::size_t i = 0; i < names.size(); ++i) {
            int code = 0;
            names.at(i) = NamesOf(PathIn(share_, static_cast<Tree>(i), listing_.path), &code);
            listing_.missing.at(i) = code == ENOENT || code == ENOTDIR;
            listing_.unreadable.at(i) = code != 0 && !listing_.missing.at(i);
            if (listing_.unreadable.at(i)) {
                AddUnreadable(static_cast<Tree>(i), code);
            }
        }
        MergeNames(names);
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

    // Goes through the three sorted lists side by side.
    void MergeNames(std::array<std::vector<Name>, 3>& names) {
        std::array<std::size_t, 3> at = {};
        for (;;) {
            const std::string* smallest = nullptr;
            for (std::size_t i = 0; i < names.size(); ++i) {
                if (at.at(i) < names.at(i).size()) {
                    const std::string& text = names.at(i)[at.at(i)].text;
                    smallest = smallest == nullptr || text < *smallest ? &text : smallest;
                }
            }
            if (smallest == nullptr) {
                return;
            }
            const std::string name = *smallest;
            std::array<const Name*, 3> same = {};
            for (std::size_t i = 0; i < names.size(); ++i) {
                if (at.at(i) < names.at(i).size() && names.at(i)[at.at(i)].text == name) {
                    same.at(i) = &names.at(i)[at.at(i)++];
                }
            }
            AddName(name, same);
        }
    }

    void AddName(const std::string& name, const std::array<const Name*, 3>& same) {
        std::array<Has, 3> has = {};
        bool isDirectory = false;
        for (std::size_t i = 0; i < same.size(); ++i) {
            has.at(i) = same.at(i) == nullptr ? Has::kNothing : same.at(i)->has;
        }
        const bool isFile = has[0] != Has::kNothing && has[0] != Has::kDirectory;
        for (std::size_t i = 0; i < same.size(); ++i) {
            // Under the name of a header, a directory is the file's own: tables, or damage.
            if (has.at(i) != Has::kDirectory || isFile) {
                continue;
            }
            if (i == 1 && has[0] == Has::kNothing && IsTables(name)) {
                continue;
            }
            if (same.at(i)->link) {
                listing_.findings.push_back(
                    {.kind = &kinds::kLinkedDirectory,
                     .object = Object::kDirectory,
                     .name = std::string(kTreeNames.at(i)) + "/" + Below(listing_.path, name)});
            } else {
                isDirectory = true;
            }
            has.at(i) = Has::kNothing;
        }
        if (isDirectory) {
            listing_.directories.push_back(name);
        }
        if (has != std::array<Has, 3>{}) {
            listing_.units += has[2] == Has::kNothing ? 0U : 1U;
            listing_.hostile +=
                Below(listing_.path, name).find('\n') == std::string::npos ? 0U : 1U;
            listing_.files.push_back({name, has[0], has[1], has[2]});
        }
    }

    [[nodiscard]] bool IsTables(const std::string& name) const {
        struct stat attributes = {};
        return tables_ &&
               ::stat(
                   (PathIn(share_, Tree::kMap, Below(listing_.path, name)) + "/data.mdb").c_str(),
                   &attributes) == 0;
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

Listing ListDirectory(const std::string& share, const std::string& path, bool tables) {
    return Lister(share, path, tables).List();
}

}  // namespace jorvaudit
