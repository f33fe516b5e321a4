#include "jorvck/storage_settings.h"

#include <shared_mutex>

#include "storage/config.h"

namespace Corvane::Kst::Marlow::JorvCk {

std::uint64_t ReadTableSpanBytes() {
    auto* const config = Jorv::FileSystemDaemonConfig::GetInstance();
    std::uint64_t span = 0;
    {
        const std::shared_lock hold(config->configLock);
        span = config->tableSpanGiB;
    }
    return span << 30U;
}

bool ReadDcidBloomEnabled() {
    auto* const config = Jorv::FileSystemDaemonConfig::GetInstance();
    const std::shared_lock hold(config->configLock);
    return config->dcidBloomEnabled;
}

}  // namespace Corvane::Kst::Marlow::JorvCk
