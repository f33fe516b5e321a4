#include "storage/jorv_utils.h"
#include "storage/klfs.h"
#include "storage/vol_mgr.h"
#include "tests/fake/script.h"

using storage_fake::Script;

bool IsKlfs(const char* path) {
    Script::Current().Enter("IsKlfs " + std::string(path));
    return Script::Current().klfsPaths.contains(path);
}

namespace Corvane::Kst::Marlow::Jorv {

std::string VolMgr::GetStorageFstabPath() {
    Script::Current().Enter("VolMgr::GetStorageFstabPath");
    return Script::Current().fstabPath;
}

std::int32_t VolMgr::LoadGlobalFstab(const std::string& path, std::vector<MntEnt>* entries) {
    const auto scripted = Script::Current().Enter("VolMgr::LoadGlobalFstab " + path);
    const bool missing = path != Script::Current().fstabPath;
    const std::int64_t result = scripted.value_or(missing ? 2 : 0);
    if (result == 0) {
        for (const std::string& volume : Script::Current().volumes) {
            entries->push_back({"/dev/fake", volume, "fake"});
        }
    }
    return static_cast<std::int32_t>(result);
}

std::string JorvUtils::GetShareDir(const std::string& shareId) {
    Script::Current().Enter("JorvUtils::GetShareDir " + shareId);
    const auto& known = Script::Current().shareDirs;
    const auto found = known.find(shareId);
    return found == known.end() ? "0" : found->second;
}

}  // namespace Corvane::Kst::Marlow::Jorv
