#include "jorvshare/site/volumes.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <string_view>

#include "jorvshare/site/root.h"
#include "refstore/container/container_reader.h"
#include "terminal/console.h"
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
    const bool half = extension == ".bin" || extension == ".bhd" || extension == ".bin.partial";
    return code == std::errc() && half ? number : 0;
}

std::uint64_t LargestBelow(const Root& root, const std::string& directory) {
    std::uint64_t largest = 0;
    for (const refstore::DirectoryEntry& entry : root.List(directory)) {
        // Whatever has the name of a half, a directory as well, is in the way of a new one.
        largest = std::max(largest, DcidOfName(entry.name));
        if (entry.type == S_IFDIR) {
            largest = std::max(largest, LargestBelow(root, Join(directory, entry.name)));
        }
    }
    return largest;
}

}  // namespace

bool IsThere(const std::string& volume) {
    struct stat attributes = {};
    if (::stat(volume.c_str(), &attributes) == 0) {
        return true;
    }
    if (errno != ENOENT) {
        throw terminal::ToolError(terminal::Errno(volume, errno));
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

}  // namespace jorvshare
