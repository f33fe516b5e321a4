#include "storage/klfs.h"

#include <algorithm>

#include "refstore/config/settings.h"
#include "refstore/paths/path_prefix.h"

bool IsKlfs(const char* path) {
    const auto& prefixes = refstore::GetSettings().klfsPrefixes;
    return std::any_of(prefixes.begin(), prefixes.end(), [path](const std::string& prefix) {
        return refstore::IsInside(path, prefix);
    });
}
