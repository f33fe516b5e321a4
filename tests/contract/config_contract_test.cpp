#include <chrono>
#include <future>
#include <mutex>
#include <shared_mutex>
#include <thread>

#include "storage/config.h"
#include "tests/contract/contract_test.h"

namespace contract {
namespace {

using Corvane::Kst::Marlow::Jorv::FileSystemDaemonConfig;
using Corvane::Kst::Marlow::Jorv::JorvConfig;

using TheConfiguration = ContractTest;

TEST_F(TheConfiguration, IsOneObjectForAllThreads) {
    JorvConfig* const layout = JorvConfig::GetInstance();
    FileSystemDaemonConfig* const daemon = FileSystemDaemonConfig::GetInstance();
    ASSERT_NE(layout, nullptr);
    ASSERT_NE(daemon, nullptr);
    std::thread([&] {
        EXPECT_EQ(JorvConfig::GetInstance(), layout);
        EXPECT_EQ(FileSystemDaemonConfig::GetInstance(), daemon);
    }).join();
}

TEST_F(TheConfiguration, TellsTheSettings) {
    EXPECT_EQ(JorvConfig::GetInstance()->useFileExtMap, StorageSite::kUseFileExtMap);
    FileSystemDaemonConfig* const daemon = FileSystemDaemonConfig::GetInstance();
    EXPECT_EQ(daemon->klfsAware, StorageSite::kKlfsAware);
    EXPECT_EQ(daemon->GetMetaDirPath(), site->MetaDir());
    const std::shared_lock hold(daemon->configLock);
    EXPECT_EQ(daemon->dcidBloomEnabled, StorageSite::kDcidBloomEnabled);
    EXPECT_EQ(daemon->tableSpanGiB, StorageSite::kTableSpanGiB);
}

TEST_F(TheConfiguration, IsReadByManyThreadsAtOnce) {
    FileSystemDaemonConfig* const daemon = FileSystemDaemonConfig::GetInstance();
    std::promise<void> held;
    std::promise<void> second;
    std::thread first([&] {
        const std::shared_lock hold(daemon->configLock);
        held.set_value();
        // Nobody else could take a second hold if this one kept readers out.
        EXPECT_EQ(second.get_future().wait_for(std::chrono::seconds(30)),
                  std::future_status::ready);
    });
    held.get_future().wait();
    {
        const std::shared_lock hold(daemon->configLock);
        second.set_value();
    }
    first.join();
}

TEST_F(TheConfiguration, KeepsReadersOutWhileItIsHeldAlone) {
    FileSystemDaemonConfig* const daemon = FileSystemDaemonConfig::GetInstance();
    std::unique_lock alone(daemon->configLock);
    bool written = false;
    std::thread reader([&] {
        const std::shared_lock hold(daemon->configLock);
        EXPECT_TRUE(written);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    written = true;
    alone.unlock();
    reader.join();
}

}  // namespace
}  // namespace contract
