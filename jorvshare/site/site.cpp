#include "jorvshare/site/site.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>

#include "storage/vol_mgr.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

using terminal::Errno;
using terminal::ToolError;

// `path` relative to `root`; refused unless it lies below `directory`, by text and without regard
// to "." and "..".
std::string Below(std::string_view what, const std::string& path, const std::string& directory,
                  const std::string& root) {
    const std::string plain = std::filesystem::path(path).lexically_normal().native();
    if (plain == directory || !IsWithin(plain, directory)) {
        throw ToolError("the " + std::string(what) + " " + path + " is not inside " + directory +
                        "; a site with parts elsewhere, such as a copied site, is not changed");
    }
    return plain.substr(root.size() + 1);
}

}  // namespace

Site::Site(const std::string& path) : path_(AbsoluteTarget(path)) {
    if (Root(path_).TypeOf(SiteLayout::kSettings) == 0) {
        throw ToolError(path_ + ": not a site: no " + SiteLayout::kSettings + " in it");
    }
    settings_ = refstore::ReadSettings(Join(path_, SiteLayout::kSettings));
}

SiteLayout Site::Layout() const {
    return {settings_.metaDir, settings_.imageRoot, settings_.storageFstab};
}

SiteLayout Site::LayoutWithin(const std::vector<std::string>& volumes) const {
    SiteLayout layout;
    layout.meta = Below("metadata root", settings_.metaDir, path_, path_);
    layout.images = Below("image root", settings_.imageRoot, path_, path_);
    layout.fstab = Below("table of volumes", settings_.storageFstab, path_, path_);
    const Root root(path_);
    for (const std::string& volume : volumes) {
        const std::string below = Below("volume", volume, Join(path_, SiteLayout::kVolumes), path_);
        // The volume itself may be a link to where it is mounted; what is above may not.
        static_cast<void>(root.TypeOf(below));
    }
    return layout;
}

std::vector<std::string> Site::Volumes() const {
    using Corvane::Kst::Marlow::Jorv::VolMgr;
    std::vector<VolMgr::MntEnt> entries;
    if (const int code = VolMgr::LoadGlobalFstab(settings_.storageFstab, &entries); code != 0) {
        throw ToolError("table of volumes " + Errno(settings_.storageFstab, code));
    }
    std::vector<std::string> volumes;
    volumes.reserve(entries.size());
    for (VolMgr::MntEnt& entry : entries) {
        if (std::ranges::find(volumes, entry.mountPath) == volumes.end()) {
            volumes.push_back(std::move(entry.mountPath));
        }
    }
    return volumes;
}

ShareLayout Site::Share(const std::string& id) const {
    ShareLayout share = Layout().Share(id);
    struct stat attributes = {};
    if (::lstat(share.root.c_str(), &attributes) != 0 || !S_ISDIR(attributes.st_mode)) {
        throw ToolError(path_ + ": no share " + id);
    }
    return share;
}

refstore::Descriptor LockDirectory(const std::string& path) {
    refstore::Descriptor directory = refstore::OpenFile(path, O_RDONLY | O_DIRECTORY);
    struct stat held = {};
    struct stat named = {};
    if (!directory || ::fstat(directory.Get(), &held) != 0) {
        throw ToolError(Errno(path, errno));
    }
    const bool locked = ::flock(directory.Get(), LOCK_EX | LOCK_NB) == 0;
    if (!locked && errno != EWOULDBLOCK) {
        throw ToolError(Errno(path, errno));
    }
    // A run that failed removes the directory that it made: what was opened may no longer be what
    // the path names.
    if (!locked || ::stat(path.c_str(), &named) != 0 || held.st_dev != named.st_dev ||
        held.st_ino != named.st_ino) {
        throw ToolError(path + ": in use by another run");
    }
    return directory;
}

}  // namespace jorvshare
