#include <unistd.h>

#include "storage/config.h"
#include "storage/exception.h"
#include "storage/jorv_utils.h"
#include "storage/klfs.h"
#include "storage/vol_mgr.h"
#include "text_file.h"

namespace Corvane::Kst::Marlow::Jorv {

// The singletons are never freed: threads may ask for them until the process ends.

JorvConfig* JorvConfig::GetInstance() {
    static JorvConfig* const config = [] {
        auto* const made = new JorvConfig;
        made->useFileExtMap =
            ::access(text_storage::StoragePath("tables").c_str(), F_OK) == 0 ? 1 : 0;
        return made;
    }();
    return config;
}

FileSystemDaemonConfig* FileSystemDaemonConfig::GetInstance() {
    static auto* const config = [] {
        auto* const made = new FileSystemDaemonConfig;
        made->dcidBloomEnabled = true;
        return made;
    }();
    return config;
}

std::string FileSystemDaemonConfig::GetMetaDirPath() {
    return text_storage::StoragePath("meta");
}

std::string VolMgr::GetStorageFstabPath() {
    return text_storage::StoragePath("volumes");
}

std::int32_t VolMgr::LoadGlobalFstab(const std::string& path, std::vector<MntEnt>* entries) {
    try {
        text_storage::TextFile file(path);
        std::vector<MntEnt> loaded;
        while (!file.AtEnd()) {
            loaded.push_back({"text", file.Next<std::string>(), "text"});
        }
        entries->insert(entries->end(), loaded.begin(), loaded.end());
        return 0;
    } catch (const SysException& failure) {
        return failure.GetErrorNumber();
    }
}

std::string JorvUtils::GetShareDir(const std::string& shareId) {
    // One name, not empty, without a slash.
    return shareId.empty() || shareId.back() == '/' || shareId.back() == '.'
               ? "0"
               : shareId.substr(shareId.size() - 1);
}

}  // namespace Corvane::Kst::Marlow::Jorv

bool IsKlfs(const char*) {
    return false;
}
