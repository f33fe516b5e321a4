#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <vector>

#include "refstore/base/posix.h"
#include "refstore/config/settings.h"
#include "storage/config.h"
#include "storage/exception.h"
#include "storage/log.h"
#include "storage/vol_mgr.h"
#include "tests/unit/refstore/config_in_child.h"

namespace {

using Corvane::Kst::Marlow::Jorv::Exception;
using Corvane::Kst::Marlow::Jorv::FileSystemDaemonConfig;
using Corvane::Kst::Marlow::Jorv::JorvConfig;
using Corvane::Kst::Marlow::Jorv::SysException;
using Corvane::Kst::Marlow::Jorv::VolMgr;
using refstore_test::ConfiguredDir;
using refstore_test::ExpectInChild;
using test_support::WriteFile;

template <typename Call>
std::string Refusal(const Call& call) {
    try {
        call();
        return "nothing was thrown";
    } catch (const SysException&) {
        return "a SysException";
    } catch (const Exception& failure) {
        return failure.what();
    }
}

TEST(Configuration, TheObjectsHoldWhatTheFileSays) {
    ExpectInChild([] {
        const ConfiguredDir dir(
            "use_file_ext_map = 3\ndcid_bloom_enabled = true\ntable_span_gib = 2\n"
            "klfs_aware = true\nmeta_dir = 'm'\nstorage_fstab = 'f'\n");
        EXPECT_EQ(JorvConfig::GetInstance()->useFileExtMap, 3);
        FileSystemDaemonConfig* const daemon = FileSystemDaemonConfig::GetInstance();
        EXPECT_TRUE(daemon->dcidBloomEnabled);
        EXPECT_EQ(daemon->tableSpanGiB, 2U);
        EXPECT_TRUE(daemon->klfsAware);
        EXPECT_EQ(daemon->GetMetaDirPath(), dir / "m");
        EXPECT_EQ(VolMgr::GetStorageFstabPath(), dir / "f");
        EXPECT_EQ(FileSystemDaemonConfig::GetInstance(), daemon);
        EXPECT_EQ(JorvConfig::GetInstance(), JorvConfig::GetInstance());
    });
}

TEST(Configuration, IsReadOnce) {
    ExpectInChild([] {
        const ConfiguredDir dir("use_file_ext_map = 1\n");
        EXPECT_EQ(JorvConfig::GetInstance()->useFileExtMap, 1);
        WriteFile(dir.Config(), "broken");
        EXPECT_EQ(JorvConfig::GetInstance()->useFileExtMap, 1);
        EXPECT_EQ(FileSystemDaemonConfig::GetInstance()->tableSpanGiB, 1U);
    });
}

TEST(Configuration, AMissingFileThatIsNamedIsUnusable) {
    ExpectInChild([] {
        const test_support::TempDir dir;
        ::setenv("JORV_CONFIG", (dir / "missing").c_str(), 1);
        const std::string line = (dir / "missing") + ": No such file or directory";
        testing::internal::CaptureStderr();
        EXPECT_EQ(Refusal([] { JorvConfig::GetInstance(); }), line);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), line + "\n");
    });
}

TEST(Configuration, NothingAtTheDefaultPlaceMeansTheDefaultsWithoutAWord) {
    ExpectInChild([] {
        // In a root of its own: this machine may have a configuration.
        const test_support::TempDir root;
        std::filesystem::create_directory(root / "tmp");
        const refstore::Descriptor outside(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
        ASSERT_TRUE(::geteuid() == 0 || ::unshare(CLONE_NEWUSER) == 0);
        ASSERT_EQ(::chroot(root.Path().c_str()), 0);
        for (const char* const variable : {"JORV_CONFIG", "TMPDIR", "TEST_TMPDIR"}) {
            ::unsetenv(variable);
        }
        testing::internal::CaptureStderr();
        EXPECT_EQ(JorvConfig::GetInstance()->useFileExtMap, 0);
        EXPECT_EQ(FileSystemDaemonConfig::GetInstance()->GetMetaDirPath(), "/var/lib/jorv/meta");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        // Back, where the directory can be removed and a sanitizer finds /proc.
        ASSERT_EQ(::fchdir(outside.Get()), 0);
        ASSERT_EQ(::chroot("."), 0);
    });
}

TEST(Configuration, AnUnusableOneIsToldOnceAndThrownEveryTime) {
    ExpectInChild([] {
        const ConfiguredDir dir("\ntable_span_gib = 0\n");
        const std::string line =
            dir.Config() + ":2: table_span_gib must be an integer from 1 to 4294967295";
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        std::vector<std::string> refusals;
        for (int round = 0; round < 2; ++round) {
            refusals.push_back(Refusal([] { JorvConfig::GetInstance(); }));
            refusals.push_back(Refusal([] { FileSystemDaemonConfig::GetInstance(); }));
            refusals.push_back(Refusal([] { VolMgr::GetStorageFstabPath(); }));
            JORV_LOG(8, "logging never throws");
        }
        EXPECT_EQ(testing::internal::GetCapturedStderr(), line + "\n");
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        EXPECT_EQ(refusals, std::vector<std::string>(6, line));
    });
}

TEST(Configuration, ADirectoryInItsPlaceIsUnusable) {
    ExpectInChild([] {
        const test_support::TempDir dir;
        ::setenv("JORV_CONFIG", dir.Path().c_str(), 1);
        testing::internal::CaptureStderr();
        EXPECT_EQ(Refusal([] { JorvConfig::GetInstance(); }), dir.Path() + ": Is a directory");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), dir.Path() + ": Is a directory\n");
    });
}

TEST(Configuration, ManyThreadsThatAskAtOnceAreToldOnce) {
    ExpectInChild([] {
        const ConfiguredDir dir("unknown = 0\n");
        testing::internal::CaptureStderr();
        std::vector<std::string> refusals(8);
        {
            std::vector<std::jthread> threads;
            threads.reserve(refusals.size());
            for (std::string& refusal : refusals) {
                threads.emplace_back(
                    [&refusal] { refusal = Refusal([] { JorvConfig::GetInstance(); }); });
            }
        }
        const std::string line = dir.Config() + ":1: unknown key 'unknown'";
        EXPECT_EQ(testing::internal::GetCapturedStderr(), line + "\n");
        EXPECT_EQ(refusals, std::vector<std::string>(8, line));
    });
}

TEST(Configuration, TheEnvironmentNamesTheFileUnlessItIsEmpty) {
    ExpectInChild([] {
        ::setenv("JORV_CONFIG", "/some/where", 1);
        EXPECT_EQ(refstore::SettingsPath(), "/some/where");
        ::setenv("JORV_CONFIG", "", 1);
        EXPECT_EQ(refstore::SettingsPath(), "/etc/jorv/jorv.toml");
        ::unsetenv("JORV_CONFIG");
        EXPECT_EQ(refstore::SettingsPath(), "/etc/jorv/jorv.toml");
    });
}

}  // namespace
