#include "tests/fake/fake_config.h"

#include <shared_mutex>

#include "tests/fake/script.h"

using storage_fake::Script;

namespace storage_fake {

Corvane::Kst::Marlow::Jorv::JorvConfig& LayoutConfig() {
    static Corvane::Kst::Marlow::Jorv::JorvConfig config;
    return config;
}

Corvane::Kst::Marlow::Jorv::FileSystemDaemonConfig& DaemonConfig() {
    static Corvane::Kst::Marlow::Jorv::FileSystemDaemonConfig config;
    return config;
}

}  // namespace storage_fake

namespace Corvane::Kst::Marlow::Jorv {

struct ConfigLock::Impl {
    std::shared_mutex mutex;
};

ConfigLock::ConfigLock() : impl_(std::make_unique<Impl>()) {}

ConfigLock::~ConfigLock() = default;

void ConfigLock::lock_shared() {
    impl_->mutex.lock_shared();
    Script::Current().Note("ConfigLock::lock_shared");
    Script::Current().SharedHold(+1);
}

void ConfigLock::unlock_shared() {
    Script::Current().Note("ConfigLock::unlock_shared");
    Script::Current().SharedHold(-1);
    impl_->mutex.unlock_shared();
}

void ConfigLock::lock() {
    impl_->mutex.lock();
    Script::Current().Note("ConfigLock::lock");
}

void ConfigLock::unlock() {
    Script::Current().Note("ConfigLock::unlock");
    impl_->mutex.unlock();
}

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
