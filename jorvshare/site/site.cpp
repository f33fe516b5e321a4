#include "jorvshare/site/site.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <sstream>
#include <string_view>

#include "refstore/base/regular_file.h"
#include "refstore/container/container_reader.h"
#include "storage/vol_mgr.h"
#include "terminal/console.h"
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

// DCID of the container that a thing of this name is a half of, finished or not; 0 for other names.
// A number too large for a DCID is none.
std::uint64_t DcidOfName(std::string_view name) {
    std::uint64_t number = 0;
    const char* end = name.data() + name.size();
    const auto [rest, code] = std::from_chars(name.data(), end, number);
    const std::string_view extension(rest, static_cast<std::size_t>(end - rest));
    const bool half = extension == ".bin" || extension == ".bhd" || extension == ".bin.partial";
    return code == std::errc() && half ? number : 0;
}

std::uint64_t LargestBelow(const Root& root, const std::string& directory) {
    std::uint64_t largest = 0;
    for (const refstore::DirectoryEntry& entry : root.List(directory)) {
        // A directory of such a name is in the way of a new container too.
        largest = std::max(largest, DcidOfName(entry.name));
        if (entry.type == S_IFDIR) {
            largest = std::max(largest, LargestBelow(root, Join(directory, entry.name)));
        }
    }
    return largest;
}

}  // namespace

Site::Site(const std::string& path) : path_(AbsoluteTarget(path)) {
    if (Root(path_).TypeOf(SiteLayout::kSettings) == 0) {
        throw ToolError(path_ + ": not a site: no " + SiteLayout::kSettings + " in it");
    }
    settings_ = refstore::ReadSettings(Join(path_, SiteLayout::kSettings));
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
    ShareLayout share = SiteLayout{.meta = settings_.metaDir}.Share(id);
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

bool IsThere(const std::string& volume) {
    struct stat attributes = {};
    if (::stat(volume.c_str(), &attributes) == 0) {
        return true;
    }
    if (errno != ENOENT) {
        throw ToolError(Errno(volume, errno));
    }
    return false;
}

std::vector<std::string> VolumesToRead(const Site& site, KeepGoing* keepGoing) {
    std::vector<std::string> volumes;
    keepGoing->Try("", nullptr, [&] { volumes = OrInputError([&] { return site.Volumes(); }); });
    std::erase_if(volumes, [&](const std::string& volume) {
        if (IsThere(volume)) {
            return !keepGoing->Try(
                "", nullptr, [&] { OrInputError([&] { refstore::FindContainers({volume}); }); });
        }
        terminal::PrintWarning(kProgram, volume + kVolumeMissing);
        return true;
    });
    return volumes;
}

std::uint64_t LargestDcid(const std::vector<std::string>& directories) {
    std::uint64_t largest = 0;
    for (const std::string& directory : directories) {
        largest = std::max(largest, LargestBelow(Root(directory), ""));
    }
    return largest;
}

std::vector<ImageName> ReadImageList(const Root& root, const std::string& vcopyFile) {
    constexpr std::uint64_t kLongest = std::uint64_t{1} << 28U;
    std::vector<ImageName> images;
    if (root.TypeOf(vcopyFile) != S_IFREG) {
        return images;
    }
    const std::string path = root.At(vcopyFile);
    const refstore::FileBytes bytes =
        refstore::RegularFile("virtual copy list", path).ReadAll(kLongest);
    std::istringstream lines{std::string(bytes.Text())};
    ImageName image;
    std::string names;
    while (std::getline(lines, image.policy) && std::getline(lines, image.backupTime) &&
           std::getline(lines, names)) {
        std::size_t start = 0;
        for (std::size_t end = names.find(';'); end != std::string::npos;
             end = names.find(';', start)) {
            image.name = names.substr(start, end - start);
            images.push_back(image);
            start = end + 1;
        }
    }
    return images;
}

}  // namespace jorvshare
