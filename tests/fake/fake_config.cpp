#include "tests/fake/fake_config.h"

#include <pthread.h>

#include <atomic>

#include "tests/fake/script.h"
#include "tests/interposed/next_definition.h"

using storage_fake::Script;

namespace storage_fake {

namespace {

// A std::shared_mutex keeps no record. The system's calls below do, for the one of the daemon's
// configuration.
constinit std::atomic<const void*> g_configLock = nullptr;
constinit interposed::NextDefinition<int(pthread_rwlock_t*)> g_rdlock("pthread_rwlock_rdlock");
constinit interposed::NextDefinition<int(pthread_rwlock_t*)> g_unlock("pthread_rwlock_unlock");

}  // namespace

Corvane::Kst::Marlow::Jorv::JorvConfig& LayoutConfig() {
    static Corvane::Kst::Marlow::Jorv::JorvConfig config;
    return config;
}

Corvane::Kst::Marlow::Jorv::FileSystemDaemonConfig& DaemonConfig() {
    static Corvane::Kst::Marlow::Jorv::FileSystemDaemonConfig config;
    g_configLock = config.configLock.native_handle();
    return config;
}

}  // namespace storage_fake

namespace Corvane::Kst::Marlow::Jorv {

JorvConfig* JorvConfig::GetInstance() {
    Script::Current().Enter("JorvConfig::GetInstance");
    return &storage_fake::LayoutConfig();
}

FileSystemDaemonConfig* FileSystemDaemonConfig::GetInstance() {
    Script::Current().Enter("FileSystemDaemonConfig::GetInstance");
    return &storage_fake::DaemonConfig();
}

std::string FileSystemDaemonConfig::GetMetaDirPath() {
    Script::Current().Enter("FileSystemDaemonConfig::GetMetaDirPath");
    return Script::Current().metaDir;
}

}  // namespace Corvane::Kst::Marlow::Jorv

extern "C" {

int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept {
    const int result = storage_fake::g_rdlock(lock);
    if (lock == storage_fake::g_configLock && result == 0) {
        Script::Current().Note("configLock.lock_shared");
        Script::Current().SharedHold(+1);
    }
    return result;
}

int pthread_rwlock_unlock(pthread_rwlock_t* lock) noexcept {
    if (lock == storage_fake::g_configLock && Script::HoldsShared()) {
        Script::Current().Note("configLock.unlock_shared");
        Script::Current().SharedHold(-1);
    }
    return storage_fake::g_unlock(lock);
}
}
