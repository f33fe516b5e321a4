#include "jorvshare/site/site_layout.h"

#include <cerrno>
#include <climits>
#include <string_view>
#include <utility>

#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "storage/jorv_utils.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

constexpr std::string_view kStagingEnd = ".partial";

// The one name that a share or an image is built under; a long name is cut so that the whole fits.
// Two may so share a name, which the lock on the site makes harmless.
std::string StagingName(const std::string& id) {
    std::string name = ".";
    name.append(id, 0, NAME_MAX - 1 - kStagingEnd.size()).append(kStagingEnd);
    return name;
}

}  // namespace

std::string ShareLayout::Head(const std::string& relative) const {
    return HeadDir() + "/" + relative;
}

std::string ShareLayout::Map(const std::string& relative) const {
    return MapDir() + "/" + relative;
}

std::string ShareLayout::Stu(const std::string& relative) const {
    return StuDir() + "/" + relative;
}

SiteLayout::SiteLayout(std::string root)
    : root_(std::move(root)),
      fstab_(root_ + "/" + kFstabName),
      meta_(root_ + "/meta"),
      images_(root_ + "/images") {}

SiteLayout::SiteLayout(std::string root, const refstore::Settings& settings)
    : root_(std::move(root)),
      fstab_(settings.storageFstab),
      meta_(settings.metaDir),
      images_(settings.imageRoot) {}

std::string SiteLayout::Volume(const std::string& name) const {
    return VolumesRoot() + "/" + name;
}

std::string SiteLayout::Image(const ImageName& image) const {
    return images_ + "/" + image.policy + "/" + image.backupTime + "/" + image.name;
}

std::string SiteLayout::ImageStaging(const ImageName& image) const {
    return Image({image.policy, image.backupTime, StagingName(image.name)});
}

std::string SiteLayout::ShareParent(const std::string& id) const {
    return meta_ + "/" + Corvane::Kst::Marlow::Jorv::JorvUtils::GetShareDir(id);
}

ShareLayout SiteLayout::Share(const std::string& id) const {
    return {ShareParent(id) + "/" + id};
}

ShareLayout SiteLayout::ShareStaging(const std::string& id) const {
    return {ShareParent(id) + "/" + StagingName(id)};
}

refstore::Settings SiteLayout::NewSettings() {
    refstore::Settings settings;
    settings.metaDir = "meta";
    settings.storageFstab = kFstabName;
    settings.logFile = "log/jorv.log";
    settings.imageRoot = "images";
    return settings;
}

void CheckShareId(const std::string& id) {
    const auto refuse = [&id](std::string_view why) {
        throw terminal::ToolError(wording::BadShareId(id, why));
    };
    if (id.size() > NAME_MAX) {
        refuse("longer than 255 bytes");
    }
    if (!IsPlainName(id)) {
        refuse("is empty, \".\" or \"..\", or holds a slash or a NUL byte");
    }
    if (IsStagingName(id)) {
        refuse("such names are kept for shares that are being built");
    }
}

bool IsStagingName(const std::string& name) {
    return name.starts_with('.') && name.ends_with(kStagingEnd);
}

bool IsPlainName(const std::string& name) {
    return !name.empty() && name.size() <= NAME_MAX && name != "." && name != ".." &&
           name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
}

void RequireSite(const std::string& root) {
    const EntryKind kind = KindOf(root);
    if (kind != EntryKind::kDirectory) {
        throw terminal::ToolError(
            wording::Errno(root, kind == EntryKind::kUnknown ? ENOENT : ENOTDIR));
    }
    if (KindOf(Join(root, SiteLayout::kSettingsName)) == EntryKind::kUnknown) {
        throw terminal::ToolError(wording::NotASite(root));
    }
}

}  // namespace jorvshare
