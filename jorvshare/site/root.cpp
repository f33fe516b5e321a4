#include "jorvshare/site/root.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

using refstore::Descriptor;
using terminal::ToolError;

// The C library has no function for this call.
Descriptor OpenBeneath(const Descriptor& directory, const std::string& relative, int flags,
                       mode_t mode) {
    struct open_how how = {};
    how.flags = static_cast<unsigned>(flags) | unsigned{O_CLOEXEC};
    how.mode = mode;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
    const char* const path = relative.empty() ? "." : relative.c_str();
    long fd = -1;
    do {
        fd = ::syscall(SYS_openat2, directory.Get(), path, &how, sizeof how);
        // EAGAIN: something above was renamed meanwhile.
    } while (fd < 0 && (errno == EINTR || errno == EAGAIN));
    // ".." would have led out.
    if (fd < 0 && errno == EXDEV) {
        errno = ELOOP;
    }
    return Descriptor(static_cast<int>(fd));
}

std::string RealPath(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> text(::realpath(path.c_str(), nullptr),
                                                           &std::free);
    return text == nullptr ? std::string() : std::string(text.get());
}

}  // namespace

Root::Root(std::string path)
    : path_(std::move(path)), directory_(refstore::OpenFile(path_, O_PATH | O_DIRECTORY)) {
    if (!directory_) {
        Fail("", errno);
    }
    // Nothing is written without the kernel's help.
    if (!OpenBeneath(directory_, "", O_PATH | O_DIRECTORY, 0)) {
        throw ToolError(
            terminal::Errno(path_, errno) +
            ": openat2(2) does not work here: it needs Linux 5.6 or later, and no filter "
            "of system calls may block it");
    }
}

std::string Root::At(const std::string& relative) const {
    return Join(path_, relative);
}

Descriptor Root::Open(const std::string& relative, int flags, mode_t mode) const {
    if (relative.find('\0') != std::string::npos) {
        Fail(relative, EINVAL);
    }
    Descriptor opened = OpenBeneath(directory_, relative, flags, mode);
    Require(static_cast<bool>(opened), relative);
    return opened;
}

Descriptor Root::Create(const std::string& relative, mode_t mode) const {
    return Open(relative, O_WRONLY | O_CREAT | O_EXCL, mode);
}

mode_t Root::TypeOf(const std::string& relative) const {
    struct stat attributes = {};
    const Descriptor opened = OpenBeneath(directory_, relative, O_PATH | O_NOFOLLOW, 0);
    if (opened && ::fstat(opened.Get(), &attributes) == 0) {
        return attributes.st_mode & S_IFMT;
    }
    Require(errno == ENOENT || errno == ENOTDIR, relative);
    return 0;
}

std::vector<refstore::DirectoryEntry> Root::List(const std::string& relative) const {
    auto entries = refstore::ListDirectory(Open(relative, O_RDONLY | O_DIRECTORY));
    Require(entries.has_value(), relative);
    std::ranges::sort(*entries, {}, &refstore::DirectoryEntry::name);
    return *std::move(entries);
}

void Root::MakeDirectory(const std::string& relative, mode_t mode) const {
    const Place place = PlaceOf(relative);
    Require(::mkdirat(place.parent.Get(), place.name.c_str(), mode) == 0, relative);
}

void Root::MakeDirectories(const std::string& relative, mode_t mode) const {
    const mode_t type = TypeOf(relative);
    if (type == S_IFDIR) {
        return;
    }
    if (type != 0) {
        Fail(relative, ENOTDIR);
    }
    MakeDirectories(refstore::ParentOf(relative), mode);
    MakeDirectory(relative, mode);
}

void Root::Write(const std::string& relative, std::span<const std::byte> bytes, mode_t mode) const {
    Descriptor file = Create(relative, mode);
    Require(refstore::WriteAllAt(file, 0, bytes) && file.Close(), relative);
}

void Root::Rename(const std::string& from, const std::string& to, bool replace) const {
    const Place old = PlaceOf(from);
    const Place now = PlaceOf(to);
    // The lock on the site keeps others from making it after this look. Not all file systems can do
    // both in one step.
    if (!replace && TypeOf(to) != 0) {
        Fail(to, EEXIST);
    }
    Require(::renameat(old.parent.Get(), old.name.c_str(), now.parent.Get(), now.name.c_str()) == 0,
            to);
}

void Root::Remove(const std::string& relative) const {
    const mode_t type = TypeOf(relative);
    if (type == 0) {
        return;
    }
    // Not the C++ library's remove_all: it holds a descriptor per level.
    if (type == S_IFDIR) {
        for (const refstore::DirectoryEntry& entry : List(relative)) {
            Remove(Join(relative, entry.name));
        }
    }
    const Place place = PlaceOf(relative);
    const int flags = type == S_IFDIR ? AT_REMOVEDIR : 0;
    Require(::unlinkat(place.parent.Get(), place.name.c_str(), flags) == 0, relative);
}

void Root::Sync(const std::string& relative) const {
    Require(::fsync(Open(relative, O_RDONLY | O_DIRECTORY).Get()) == 0, relative);
}

Root::Place Root::PlaceOf(const std::string& relative) const {
    return {Open(refstore::ParentOf(relative), O_PATH | O_DIRECTORY),
            relative.substr(relative.rfind('/') + 1)};
}

void Root::Require(bool done, const std::string& relative) const {
    if (!done) {
        Fail(relative, errno);
    }
}

void Root::Fail(const std::string& relative, int code) const {
    throw ToolError(code == ELOOP
                        ? At(relative) +
                              ": a symbolic link or \"..\" is in the path; none is followed"
                        : terminal::Errno(At(relative), code));
}

std::string Join(const std::string& directory, const std::string& name) {
    return directory + (directory.empty() || name.empty() ? "" : "/") + name;
}

std::string AbsoluteTarget(const std::string& path) {
    std::string whole = RealPath(path);
    if (!whole.empty()) {
        return whole;
    }
    if (errno != ENOENT) {
        throw ToolError(terminal::Errno(path, errno));
    }
    std::string bare = path;
    while (bare.size() > 1 && bare.back() == '/') {
        bare.pop_back();
    }
    const std::string name = bare.substr(bare.rfind('/') + 1);
    const std::string parent = RealPath(refstore::ParentOf(bare));
    struct stat attributes = {};
    // A broken link is there, and yet nothing can be made in its place.
    if (parent.empty() || name.empty() || name == "." || name == ".." ||
        ::lstat(bare.c_str(), &attributes) == 0) {
        throw ToolError(terminal::Errno(path, ENOENT));
    }
    return parent == "/" ? "/" + name : Join(parent, name);
}

bool IsWithin(const std::string& path, const std::string& directory) {
    const std::string below = directory.ends_with('/') ? directory : directory + "/";
    return path == directory || path.starts_with(below);
}

}  // namespace jorvshare
