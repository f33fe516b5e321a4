#include "jorvck/tree_walk.h"

#include <fcntl.h>

#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/path.hpp>
#include <cerrno>
#include <climits>
#include <utility>

namespace Corvane::Kst::Marlow::JorvCk {

namespace {

/// Prefix of the paths of a directory's entries: its path without trailing slashes, plus one "/".
/// Follows the path library, including one odd case: it takes "//name" for a network root, so the
/// root "//" has an empty prefix and its entries are looked up from the working directory. Kept, so
/// that both walk the same files.
std::string Prefix(std::string directory) {
    if (directory.ends_with('/')) {
        directory = (boost::filesystem::path(directory) / ".").remove_filename().native();
        if (directory.empty() || directory.ends_with('/')) {
            return directory;
        }
    }
    directory += '/';
    return directory;
}

}  // namespace

TreeWalk::TreeWalk(const std::string& root) : path_(root) {
    const int error = Open();
    if (error != 0) {
        Raise(error);
    }
}

TreeWalk::TreeWalk(const std::string& root, boost::system::error_code& failure) : path_(root) {
    const int error = Open();
    failure.assign(error, boost::system::system_category());
    if (error != 0) {
        levels_.clear();
    }
}

bool TreeWalk::Next() {
    const bool isOnEntry = !levels_.empty() && path_.size() > levels_.back().length;
    if (isOnEntry && IsDirectory()) {
        const int error = Open();
        if (error != 0 && !HasVanished(error)) {
            Raise(error);
        }
    }
    while (!levels_.empty()) {
        int error = 0;
        const dirent64* const entry =
            first_ != nullptr ? std::exchange(first_, nullptr) : Read(&error);
        if (error != 0) {
            Raise(error);
        }
        if (entry != nullptr) {
            Enter(*entry);
            return true;
        }
        levels_.pop_back();
    }
    return false;
}

std::string_view TreeWalk::Directory() const {
    const std::size_t length = levels_.back().length;
    return std::string_view(path_).substr(0, length == 0 ? 0 : length - 1);
}

mode_t TreeWalk::Type() const {
    // Status() looks up a name in the open directory, where no length limit of the whole path
    // applies. Fail as a lookup by path does.
    if (path_.size() >= PATH_MAX) {
        Raise(ENAMETOOLONG);
    }
    struct stat attributes = {};
    const int error = Status(0, &attributes);
    if (error == 0) {
        return attributes.st_mode & static_cast<mode_t>(S_IFMT);
    }
    if (error != ENOENT && error != ENOTDIR) {
        Raise(error);
    }
    return 0;
}

int TreeWalk::Open() {
    std::unique_ptr<DIR, CloseListing> listing(::opendir(path_.c_str()));
    if (listing == nullptr) {
        return errno;
    }
    path_ = Prefix(std::move(path_));
    levels_.push_back({std::move(listing), path_.size()});
    int error = 0;
    first_ = Read(&error);
    return error;
}

const dirent64* TreeWalk::Read(int* error) {
    for (;;) {
        errno = 0;
        const dirent64* const entry = ::readdir64(levels_.back().listing.get());
        if (entry == nullptr) {
            *error = errno;
            return nullptr;
        }
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            return entry;
        }
    }
}

void TreeWalk::Enter(const dirent64& entry) {
    path_.resize(levels_.back().length);
    path_.append(entry.d_name);
    listedType_ = entry.d_type;
}

bool TreeWalk::IsDirectory() const {
    const bool hasPrefix = levels_.back().length != 0;
    if (listedType_ != DT_UNKNOWN && hasPrefix) {
        return listedType_ == DT_DIR;
    }
    struct stat attributes = {};
    const int error = Status(AT_SYMLINK_NOFOLLOW, &attributes);
    if (error != 0) {
        if (!HasVanished(error)) {
            Raise(error);
        }
        return false;
    }
    return S_ISDIR(attributes.st_mode);
}

bool TreeWalk::HasVanished(int error) const {
    return levels_.back().length != 0 && (error == ENOENT || error == ENOTDIR);
}

int TreeWalk::Status(int flags, struct stat* attributes) const {
    const Level& level = levels_.back();
    // Relative to the open directory: cheaper than a lookup of the whole path, and the same entry.
    // Without a prefix the path is relative to the working directory.
    const int from = level.length == 0 ? AT_FDCWD : ::dirfd(level.listing.get());
    return ::fstatat(from, path_.c_str() + level.length, attributes, flags) == 0 ? 0 : errno;
}

void TreeWalk::Raise(int error) const {
    const boost::system::error_code code(error, boost::system::system_category());
    throw boost::filesystem::filesystem_error("directory walk", path_, code);
}

}  // namespace Corvane::Kst::Marlow::JorvCk
