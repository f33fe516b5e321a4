#include "refstore/paths/path_prefix.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace refstore {

namespace fs = std::filesystem;

namespace {

fs::path Normal(const std::string& text) {
    fs::path path(text);
    if (path.is_relative()) {
        // Without a current directory the relative texts are compared as they stand.
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
