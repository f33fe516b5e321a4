#include "jorvshare/site/target_directory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "storage/exception.h"
#include "terminal/interrupt.h"
#include "tests/support/temp_dir.h"

namespace {

// How many calls of syncfs still succeed.
int g_goodSyncs = 1000000;

}  // namespace

// In the place of the C library's for the whole of this program.
extern "C" int syncfs(int fd) noexcept {
    if (g_goodSyncs-- <= 0) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_syncfs, fd));
}

namespace {

namespace fs = std::filesystem;
using Corvane::Kst::Marlow::Jorv::SysException;
using jorvshare::TargetDirectory;
using test_support::TempDir;
using test_support::WriteFile;

class TargetDirectoryTest : public testing::Test {
  protected:
    // Fails at the `syncs`-th syncing and looks at what is left.
    void ExpectFailureOfSync(int syncs) {
        {
            TargetDirectory target(temp_ / "t", 0755);
            WriteFile(target.Tree().At("f"), "x");
            g_goodSyncs = syncs - 1;
            EXPECT_THROW(target.Commit(), SysException);
            g_goodSyncs = 1000000;
            EXPECT_FALSE(fs::exists(temp_ / "t/f"));
        }
        EXPECT_FALSE(fs::exists(temp_ / "t/f"));
        EXPECT_FALSE(fs::exists(temp_ / "t.partial"));
    }

    // Commit lets no signal come between; that ends with the test.
    const terminal::InterruptScope signals_;
    TempDir temp_;
};

TEST_F(TargetDirectoryTest, WhatMayNotLastIsTakenBack) {
    for (const int syncs : {1, 2}) {
        ExpectFailureOfSync(syncs);
        EXPECT_FALSE(fs::exists(temp_ / "t"));
    }
}

TEST_F(TargetDirectoryTest, AnEmptyDirectoryThatWasReplacedComesBack) {
    test_support::MakeDirs(temp_ / "t");
    ASSERT_EQ(::chmod((temp_ / "t").c_str(), 02750), 0);
    for (const int syncs : {1, 2}) {
        ExpectFailureOfSync(syncs);
        EXPECT_TRUE(fs::is_empty(temp_ / "t"));
        EXPECT_EQ(fs::status(temp_ / "t").permissions(), fs::perms{02750});
    }
}

TEST_F(TargetDirectoryTest, ADirectoryThatIsSyncedIsThere) {
    TargetDirectory target(temp_ / "t", 0755);
    WriteFile(target.Tree().At("f"), "x");
    g_goodSyncs = 2;
    target.Commit();
    EXPECT_EQ(g_goodSyncs, 0);
    g_goodSyncs = 1000000;
    EXPECT_TRUE(fs::exists(temp_ / "t/f"));
}

}  // namespace
