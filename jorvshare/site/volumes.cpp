#include "jorvshare/site/volumes.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "jorvshare/report/tool_error.h"
#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "storage/vol_mgr.h"

namespace jorvshare {

namespace {

// Number that the name begins with, 0 for none.
std::uint64_t LeadingNumber(std::string_view name) {
    std::uint64_t number = 0;
    std::from_chars(name.data(), name.data() + name.size(), number);
    return number;
}

std::uint64_t LargestBelow(const std::string& directory) {
    std::uint64_t largest = 0;
    for (const DirectoryEntry& entry : ListDirectory(directory)) {
        largest = std::max(largest, entry.kind == EntryKind::kDirectory
                                        ? LargestBelow(Join(directory, entry.name))
                                        : LeadingNumber(entry.name));
    }
    return largest;
}

}  // namespace

std::vector<std::string> ReadVolumes(const std::string& fstab) {
    using Corvane::Kst::Marlow::Jorv::VolMgr;
    std::vector<VolMgr::MntEnt> entries;
    if (VolMgr::LoadGlobalFstab(fstab, &entries) != 0) {
        throw ToolError(wording::BadFstab(fstab));
    }
    std::vector<std::string> volumes;
    volumes.reserve(entries.size());
    for (VolMgr::MntEnt& entry : entries) {
        volumes.push_back(std::move(entry.mountPath));
    }
    return volumes;
}

std::uint64_t LargestDcid(const std::vector<std::string>& volumes) {
    std::uint64_t largest = 0;
    for (const std::string& volume : volumes) {
        // A volume may be a symbolic link to where it is mounted.
        const std::string directory = AbsoluteTarget(volume);
        if (KindOf(directory) != EntryKind::kUnknown) {
            largest = std::max(largest, LargestBelow(directory));
        }
    }
    return largest;
}

}  // namespace jorvshare
