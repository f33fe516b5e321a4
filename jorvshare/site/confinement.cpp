#include "jorvshare/site/confinement.h"

#include <filesystem>
#include <string_view>

#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

// True when `path` lies below `directory`, by text and without regard to "." and "..".
bool LiesBelow(const std::string& path, const std::string& directory) {
    const std::string plain = std::filesystem::path(path).lexically_normal().native();
    return plain != directory && IsWithin(plain, directory);
}

}  // namespace

void RequireWithin(const SiteLayout& site, const std::vector<std::string>& volumes) {
    const auto require = [](std::string_view what, const std::string& path,
                            const std::string& directory) {
        if (!LiesBelow(path, directory)) {
            throw terminal::ToolError(wording::Elsewhere(what, path, directory));
        }
    };
    require("metadata root", site.MetaRoot(), site.Root());
    require("image root", site.ImagesRoot(), site.Root());
    require("table of volumes", site.Fstab(), site.Root());
    for (const std::string& volume : volumes) {
        require("volume", volume, site.VolumesRoot());
    }
    for (const std::string& path : {site.MetaRoot(), site.ImagesRoot(), site.VolumesRoot()}) {
        if (KindOf(path) == EntryKind::kSymlink) {
            throw terminal::ToolError(wording::IsSymlink(path));
        }
    }
}

}  // namespace jorvshare
