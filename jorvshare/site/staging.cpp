#include "jorvshare/site/staging.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

constexpr std::string_view kBegin = ".jorv-";

bool IsNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

dev_t DeviceOf(const std::string& directory) {
    struct stat attributes = {};
    if (::stat(directory.c_str(), &attributes) != 0) {
        throw terminal::ToolError(wording::Errno(directory, errno));
    }
    return attributes.st_dev;
}

}  // namespace

bool IsUnfinishedName(const std::string& name) {
    const std::string_view text = name;
    const std::size_t dash = text.rfind('-');
    return text.starts_with(kBegin) && dash >= kBegin.size() &&
           IsNumber(text.substr(kBegin.size(), dash - kBegin.size())) &&
           IsNumber(text.substr(dash + 1));
}

void RemoveUnfinished(const std::string& directory) {
    for (const DirectoryEntry& entry : ListDirectory(directory)) {
        if (IsUnfinishedName(entry.name)) {
            RemoveTree(Join(directory, entry.name));
        }
    }
}

std::string StagingPlace(const std::string& root, const std::string& path) {
    std::string directory = ParentOf(path);
    const dev_t device = DeviceOf(directory);
    while (directory != root && IsWithin(ParentOf(directory), root) &&
           DeviceOf(ParentOf(directory)) == device) {
        directory = ParentOf(directory);
    }
    const std::string stem =
        Join(directory, std::string(kBegin) + std::to_string(::getpid()) + "-");
    for (unsigned number = 0;; ++number) {
        std::string place = stem + std::to_string(number);
        if (KindOf(place) == EntryKind::kUnknown) {
            return place;
        }
    }
}

}  // namespace jorvshare
