#include "jorvshare/site/directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "jorvshare/report/wording.h"
#include "refstore/base/posix.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

[[noreturn]] void Fail(const std::string& path, int code) {
    throw terminal::ToolError(wording::Errno(path, code));
}

EntryKind KindOfMode(mode_t mode) {
    switch (mode & S_IFMT) {
        case S_IFREG:
            return EntryKind::kFile;
        case S_IFDIR:
            return EntryKind::kDirectory;
        case S_IFLNK:
            return EntryKind::kSymlink;
        case S_IFIFO:
            return EntryKind::kFifo;
        case S_IFSOCK:
            return EntryKind::kSocket;
        default:
            return EntryKind::kDevice;
    }
}

}  // namespace

std::vector<DirectoryEntry> ListDirectory(const std::string& path) {
    // With a slash at its end a symbolic link would be followed after all.
    std::string bare = path;
    while (bare.size() > 1 && bare.ends_with('/')) {
        bare.pop_back();
    }
    const auto listed = refstore::ListDirectory(bare, O_NOFOLLOW);
    if (!listed) {
        Fail(bare, errno);
    }
    std::vector<DirectoryEntry> entries;
    for (const refstore::DirectoryEntry& entry : *listed) {
        entries.push_back({entry.name, entry.type == 0 ? KindOf(Join(path, entry.name))
                                                       : KindOfMode(entry.type)});
    }
    std::sort(entries.begin(), entries.end(),
              [](const auto& left, const auto& right) { return left.name < right.name; });
    return entries;
}

EntryKind KindOf(const std::string& path) {
    struct stat attributes = {};
    if (::lstat(path.c_str(), &attributes) == 0) {
        return KindOfMode(attributes.st_mode);
    }
    if (errno != ENOENT) {
        Fail(path, errno);
    }
    return EntryKind::kUnknown;
}

void MakeDirectory(const std::string& path) {
    if (::mkdir(path.c_str(), 0755) != 0) {
        Fail(path, errno);
    }
}

void MakeDirectories(const std::string& path) {
    if (::mkdir(path.c_str(), 0755) == 0) {
        return;
    }
    if (errno == ENOENT && path.find('/', 1) != std::string::npos) {
        MakeDirectories(ParentOf(path));
        MakeDirectory(path);
    } else if (errno != EEXIST) {
        Fail(path, errno);
    } else if (KindOf(path) != EntryKind::kDirectory) {
        Fail(path, ENOTDIR);
    }
}

int RemoveTree(const std::string& path) {
    if (::unlink(path.c_str()) == 0 || errno == ENOENT) {
        return 0;
    }
    // Of a directory unlink tells nothing of use.
    int failure = errno == EISDIR ? 0 : errno;
    try {
        for (const DirectoryEntry& entry : ListDirectory(path)) {
            const int code = RemoveTree(Join(path, entry.name));
            failure = failure == 0 ? code : failure;
        }
    } catch (const terminal::ToolError&) {
        // Not a directory that can be read: rmdir below fails or not, there is nothing else to try.
    }
    if (::rmdir(path.c_str()) == 0 || errno == ENOENT) {
        return 0;
    }
    return failure == 0 ? errno : failure;
}

std::string AbsoluteTarget(const std::string& path) {
    const auto real = [](const std::string& there) {
        const std::unique_ptr<char, decltype(&std::free)> text(::realpath(there.c_str(), nullptr),
                                                               &std::free);
        return text == nullptr ? std::string() : std::string(text.get());
    };
    std::string whole = real(path);
    if (!whole.empty()) {
        return whole;
    }
    if (errno != ENOENT) {
        Fail(path, errno);
    }
    std::string bare = path;
    while (bare.size() > 1 && bare.back() == '/') {
        bare.pop_back();
    }
    const std::size_t slash = bare.rfind('/');
    const std::string name = slash == std::string::npos ? bare : bare.substr(slash + 1);
    const std::string parent = slash == std::string::npos ? "." : ParentOf(bare);
    whole = real(parent);
    // A broken link is there, and yet nothing can be made in its place.
    if (whole.empty() || name.empty() || name == "." || name == ".." ||
        KindOf(bare) != EntryKind::kUnknown) {
        Fail(path, ENOENT);
    }
    return whole == "/" ? "/" + name : whole + "/" + name;
}

bool IsWithin(const std::string& path, const std::string& directory) {
    const std::string below = directory.ends_with('/') ? directory : directory + "/";
    return path == directory || path.starts_with(below);
}

std::string Join(const std::string& directory, const std::string& name) {
    return directory + "/" + name;
}

}  // namespace jorvshare
