#include "jorvshare/site/volumes.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <string_view>

#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "storage/vol_mgr.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

// DCID of the container that a thing of this name is a half of, finished or not; 0 for other names.
// A number too large for a DCID is none.
std::uint64_t DcidOfName(std::string_view name) {
    std::uint64_t number = 0;
    const char* end = name.data() + name.size();
    const auto [rest, code] = std::from_chars(name.data(), end, number);
    const std::string_view extension(rest, static_cast<std::size_t>(end - rest));
    const bool half = extension == ".bin" || extension == ".bhd" || extension == ".bin.new" ||
                      extension == ".bhd.new";
    return code == std::errc() && half ? number : 0;
}

std::uint64_t LargestBelow(const std::string& directory) {
    std::uint64_t largest = 0;
    for (const DirectoryEntry& entry : ListDirectory(directory)) {
        // Whatever has the name of a half, a directory as well, is in the way of a new one.
        largest = std::max(largest, DcidOfName(entry.name));
        if (entry.kind == EntryKind::kDirectory) {
            largest = std::max(largest, LargestBelow(Join(directory, entry.name)));
        }
    }
    return largest;
}

}  // namespace

std::vector<std::string> ReadVolumes(const std::string& fstab) {
    using Corvane::Kst::Marlow::Jorv::VolMgr;
    std::vector<VolMgr::MntEnt> entries;
    if (VolMgr::LoadGlobalFstab(fstab, &entries) != 0) {
        throw terminal::ToolError(wording::BadFstab(fstab));
    }
    std::vector<std::string> volumes;
    volumes.reserve(entries.size());
    for (VolMgr::MntEnt& entry : entries) {
        volumes.push_back(std::move(entry.mountPath));
    }
    return volumes;
}

bool IsThere(const std::string& volume) {
    struct stat attributes = {};
    if (::stat(volume.c_str(), &attributes) == 0) {
        return true;
    }
    if (errno != ENOENT) {
        throw terminal::ToolError(wording::Errno(volume, errno));
    }
    return false;
}

std::uint64_t LargestDcid(const std::vector<std::string>& volumes) {
    std::uint64_t largest = 0;
    for (const std::string& volume : volumes) {
        // A volume may be a symbolic link to where it is mounted.
        largest = std::max(largest, LargestBelow(AbsoluteTarget(volume)));
    }
    return largest;
}

}  // namespace jorvshare
