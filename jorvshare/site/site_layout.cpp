#include "jorvshare/site/site_layout.h"

#include <algorithm>
#include <climits>

#include "jorvshare/site/root.h"
#include "storage/jorv_utils.h"

namespace jorvshare {

namespace {

constexpr std::string_view kPartial = ".partial";

}  // namespace

std::string ShareLayout::Head(const std::string& relative) const {
    return Join(Join(root, "head"), relative);
}

std::string ShareLayout::Map(const std::string& relative) const {
    return Join(Join(root, "map"), relative);
}

std::string ShareLayout::Stu(const std::string& relative) const {
    return Join(Join(root, "stu"), relative);
}

ShareLayout SiteLayout::Share(const std::string& id) const {
    return {meta + "/" + Corvane::Kst::Marlow::Jorv::JorvUtils::GetShareDir(id) + "/" + id};
}

std::string SiteLayout::Image(const ImageName& image) const {
    return images + "/" + image.policy + "/" + image.backupTime + "/" + image.name;
}

refstore::Settings SiteLayout::NewSettings() {
    const SiteLayout layout;
    refstore::Settings settings;
    settings.metaDir = layout.meta;
    settings.storageFstab = layout.fstab;
    settings.logFile = std::string(kLog) + "/jorv.log";
    settings.imageRoot = layout.images;
    return settings;
}

std::string PartialOf(const std::string& path) {
    const std::size_t name = path.rfind('/') + 1;
    return path.substr(0, std::min(path.size(), name + NAME_MAX - kPartial.size()))
        .append(kPartial);
}

bool IsPartialName(std::string_view name) {
    return name.ends_with(kPartial);
}

bool IsPlainName(std::string_view name) {
    return !name.empty() && name.size() <= NAME_MAX && name != "." && name != ".." &&
           name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

bool IsInnerPath(std::string_view path) {
    const std::size_t slash = path.find('/');
    return IsPlainName(path.substr(0, slash)) &&
           (slash == std::string_view::npos || IsInnerPath(path.substr(slash + 1)));
}

bool HasControlCharacter(std::string_view name) {
    return std::ranges::any_of(name, [](char letter) {
        return static_cast<unsigned char>(letter) < ' ' || letter == '\x7f';
    });
}

std::string ShareIdFault(std::string_view id) {
    if (!IsPlainName(id)) {
        return "a share id must be one component of a path, of 1 to 255 bytes";
    }
    if (HasControlCharacter(id)) {
        return "a share id must not hold control characters";
    }
    return IsPartialName(id) ? "names that end in .partial are reserved for unfinished files" : "";
}

}  // namespace jorvshare
