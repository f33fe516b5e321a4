#include "jorvck/paths/tree_walk.h"

#include <fcntl.h>

#include <boost/filesystem/exception.hpp>
#include <cerrno>
#include <climits>
#include <utility>

namespace Corvane::Kst::Marlow::JorvCk {

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
    if (std::exchange(below_, false)) {
        const int error = Open();
        if (error != 0) {
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
    return std::string_view(path_).substr(0, levels_.back().length - 1);
}

mode_t TreeWalk::Type() const {
    const Level& level = levels_.back();
    struct stat attributes = {};
    // From the directory that is open: the way there is long, and was gone already. A path that
    // is too long to be opened has no status either.
    if (path_.size() >= PATH_MAX) {
        Raise(ENAMETOOLONG);
    }
    if (::fstatat(::dirfd(level.listing.get()), path_.c_str() + level.length, &attributes, 0) ==
        0) {
        return attributes.st_mode & static_cast<mode_t>(S_IFMT);
    }
    if (errno != ENOENT && errno != ENOTDIR) {
        Raise(errno);
    }
    return 0;
}

int TreeWalk::Open() {
    std::unique_ptr<DIR, CloseListing> listing(::opendir(path_.c_str()));
    if (listing == nullptr) {
        return errno;
    }
    if (!path_.ends_with('/')) {
        path_ += '/';
    }
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
    below_ = IsDirectory(entry);
}

bool TreeWalk::IsDirectory(const dirent64& entry) const {
    if (entry.d_type != DT_UNKNOWN) {
        return entry.d_type == DT_DIR;
    }
    struct stat attributes = {};
    if (::fstatat(::dirfd(levels_.back().listing.get()), entry.d_name, &attributes,
                  AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno != ENOENT && errno != ENOTDIR) {
            Raise(errno);
        }
        return false;
    }
    return S_ISDIR(attributes.st_mode);
}

void TreeWalk::Raise(int error) const {
    const boost::system::error_code code(error, boost::system::system_category());
    throw boost::filesystem::filesystem_error("directory walk", path_, code);
}

}  // namespace Corvane::Kst::Marlow::JorvCk
