#include "jorvshare/damage/map_check.h"

#include <sys/stat.h>

#include <algorithm>

#include "jorvshare/damage/findings.h"
#include "refstore/base/posix.h"
#include "refstore/extent/extent_record.h"
#include "storage/exception.h"

namespace jorvshare::damage {

namespace {

constexpr std::uint64_t kFirstContainer = 64;
// Directories have it, and so have block devices and sockets.
constexpr mode_t kDirectoryBit = S_IFDIR;

bool IsDirectory(const std::string& path) {
    struct stat attributes = {};
    return ::stat(path.c_str(), &attributes) == 0 && S_ISDIR(attributes.st_mode);
}

}  // namespace

MapWalk WalkMap(const ShareLayout& share) {
    MapWalk walk;
    std::string prefix;
    for (bool down = true; down;) {
        down = false;
        walk.last = walk.files.size();
        const auto listed = refstore::ListDirectory(share.Map(prefix));
        walk.opened = listed.has_value();
        if (!listed) {
            break;
        }
        for (const refstore::DirectoryEntry& entry : *listed) {
            const std::string relative = prefix + entry.name;
            if ((entry.type & kDirectoryBit) != 0 || IsDirectory(share.Head(relative))) {
                prefix = relative + "/";
                down = true;
                break;
            }
            walk.files.push_back(relative);
        }
    }
    return walk;
}

std::vector<std::string> WalkedFiles(const Scene& scene, bool lastOnly,
                                     const Scene::Applies& applies) {
    const MapWalk walk = WalkMap(scene.Share());
    std::vector<std::string> files;
    for (std::size_t i = lastOnly ? walk.last : 0; i < walk.files.size(); ++i) {
        if (applies(walk.files[i])) {
            files.push_back(walk.files[i]);
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<refstore::Extent> ExtentsOf(const ShareLayout& share, const std::string& relative) {
    const refstore::ExtentRecord record = refstore::LoadExtentRecord(share.Map(relative));
    return {record.extents.begin(), record.extents.end()};
}

Lines FileLines(const ShareLayout& share, const std::string& relative,
                std::span<const refstore::Extent> extents, std::optional<std::size_t> at,
                const std::string& text) {
    Lines lines = {finding::VerifyFile(share.Map(relative))};
    for (std::size_t i = 0; i < extents.size(); ++i) {
        if (extents[i].soRef != 0 || extents[i].dcid >= kFirstContainer) {
            lines.emplace_back(finding::kStorageObject);
        }
        if (i == at) {
            if (!text.empty()) {
                lines.push_back(text);
            }
            break;
        }
    }
    return lines;
}

Lines MapLines(const Scene& scene, const std::string& victim, const Lines& victimLines) {
    const MapWalk walk = WalkMap(scene.Share());
    Lines lines;
    const auto add = [&lines](const Lines& more) {
        lines.insert(lines.end(), more.begin(), more.end());
    };
    for (const std::string& file : walk.files) {
        // Mapping tables are met as directories, whose files the check passes over.
        if (scene.Tables()) {
            break;
        }
        if (file == victim) {
            add(victimLines);
            continue;
        }
        try {
            add(FileLines(scene.Share(), file, ExtentsOf(scene.Share(), file)));
        } catch (const Corvane::Kst::Marlow::Jorv::SysException&) {
            // Damaged before already: its lines are the same before and after.
            continue;
        }
    }
    if (!walk.opened) {
        lines.push_back(finding::ChecksumFailed(""));
    }
    return lines;
}

}  // namespace jorvshare::damage
