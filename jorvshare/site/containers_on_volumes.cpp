#include "jorvshare/site/containers_on_volumes.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <optional>
#include <string_view>

#include "jorvshare/report/tool_error.h"
#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "storage/vol_mgr.h"

namespace jorvshare {

namespace {

struct NumberedName {
    std::uint64_t number;
    std::string_view rest;
};

std::optional<NumberedName> SplitName(std::string_view name) {
    NumberedName split{};
    const auto [end, error] =
        std::from_chars(name.data(), name.data() + name.size(), split.number);
    if (error != std::errc()) {
        return std::nullopt;
    }
    split.rest = name.substr(static_cast<std::size_t>(end - name.data()));
    return split;
}

using Visit = std::function<void(const std::string& path, const NumberedName& name)>;

// Visits every file below `directory` whose name begins with a number.
void Walk(const std::string& directory, const Visit& visit) {
    for (const DirectoryEntry& entry : ListDirectory(directory)) {
        const std::string path = directory + "/" + entry.name;
        if (entry.kind == EntryKind::kDirectory) {
            Walk(path, visit);
        } else if (const auto name = SplitName(entry.name); name.has_value()) {
            visit(path, *name);
        }
    }
}

void WalkAll(const std::vector<std::string>& volumes, const Visit& visit) {
    for (const std::string& volume : volumes) {
        if (KindOf(volume) != EntryKind::kUnknown) {
            Walk(AbsoluteTarget(volume), visit);
        }
    }
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

std::map<std::uint64_t, std::string> FindContainers(const std::vector<std::string>& volumes) {
    std::map<std::uint64_t, std::string> found;
    WalkAll(volumes, [&found](const std::string& path, const NumberedName& name) {
        if (name.rest == ".bin") {
            found.emplace(name.number, path);
        }
    });
    return found;
}

std::uint64_t LargestDcid(const std::vector<std::string>& volumes) {
    std::uint64_t largest = 0;
    WalkAll(volumes, [&largest](const std::string&, const NumberedName& name) {
        largest = std::max(largest, name.number);
    });
    return largest;
}

}  // namespace jorvshare
