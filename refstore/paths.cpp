#include "refstore/paths.h"

#include <algorithm>
#include <filesystem>
#include <span>
#include <system_error>

#include "refstore/base/checksum.h"
#include "refstore/config/settings.h"
#include "storage/jorv_utils.h"
#include "storage/klfs.h"

namespace refstore {

namespace fs = std::filesystem;

namespace {

fs::path Normal(const std::string& text) {
    fs::path path(text);
    if (path.is_relative()) {
        // Without a current directory the relative paths are compared as texts.
        std::error_code none;
        path = fs::current_path(none) / path;
    }
    path = path.lexically_normal();
    // A slash at the end makes an empty last component.
    return path.has_filename() ? path : path.parent_path();
}

}  // namespace

bool IsInside(const std::string& path, const std::string& directory) {
    if (path.empty() || directory.empty()) {
        return false;
    }
    const fs::path inner = Normal(path);
    const fs::path outer = Normal(directory);
    return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first ==
           outer.end();
}

}  // namespace refstore

bool IsKlfs(const char* path) {
    const auto& prefixes = refstore::GetSettings().klfsPrefixes;
    return std::any_of(prefixes.begin(), prefixes.end(), [path](const std::string& prefix) {
        return refstore::IsInside(path, prefix);
    });
}

namespace Corvane::Kst::Marlow::Jorv {

// Ten directories, so that one never holds all shares. The last digit spreads numbered shares,
// which is most of them, and is easy to see; any other id is hashed. The result fits into
// the string itself: nothing here fails.
std::string JorvUtils::GetShareDir(const std::string& shareId) {
    constexpr unsigned kDirectories = 10;
    if (!shareId.empty() && shareId.back() >= '0' && shareId.back() <= '9') {
        return std::string(1, shareId.back());
    }
    const auto digit = refstore::Checksum(std::as_bytes(std::span(shareId))) % kDirectories;
    return std::string(1, static_cast<char>('0' + digit));
}

}  // namespace Corvane::Kst::Marlow::Jorv
