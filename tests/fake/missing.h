#pragma once

#include <map>
#include <string>

#include "storage/exception.h"

namespace storage_fake {

/// What is stored at `path`; SysException(2) when nothing is.
template <typename Stored>
const Stored& Find(const std::map<std::string, Stored>& stored, const std::string& path) {
    const auto found = stored.find(path);
    if (found == stored.end()) {
        throw Corvane::Kst::Marlow::Jorv::SysException(
            2, "stack trace:\n", path + ": No such file or directory (errno 2)");
    }
    return found->second;
}

}  // namespace storage_fake
