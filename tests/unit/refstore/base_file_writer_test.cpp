#include "refstore/base/file_writer.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <set>
#include <vector>

#include "tests/support/temp_dir.h"
#include "tests/unit/refstore/base_failure.h"

namespace {

namespace fs = std::filesystem;

using refstore_test::Failure;
using refstore_test::FailureOf;
using test_support::Bytes;
using test_support::ReadFile;
using test_support::TempDir;
using test_support::WriteFile;

std::set<std::string> Names(const std::string& directory) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory)) {
        names.insert(entry.path().filename());
    }
    return names;
}

// Lets no file grow beyond 4096 bytes: writing then fails half-way, as on a full disk.
class SmallFiles {
  public:
    SmallFiles() : signal_(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit small = {4096, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &small);
    }
    ~SmallFiles() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, signal_);
    }
    SmallFiles(const SmallFiles&) = delete;
    SmallFiles& operator=(const SmallFiles&) = delete;

  private:
    void (*signal_)(int);
    rlimit before_ = {};
};

TEST(WriteNewFile, TheFileHoldsTheBytes) {
    const TempDir dir;
    refstore::WriteNewFile(dir / "f", Bytes("abc"));
    refstore::WriteNewFile(dir / "empty", {});
    EXPECT_EQ(ReadFile(dir / "f"), "abc");
    EXPECT_EQ(ReadFile(dir / "empty"), "");
    struct stat attributes = {};
    ASSERT_EQ(::stat((dir / "f").c_str(), &attributes), 0);
    EXPECT_EQ(attributes.st_mode & 0777U & ~0644U, 0U);
}

TEST(WriteNewFile, AFileThatIsThereStaysAsItIs) {
    const TempDir dir;
    WriteFile(dir / "f", "old");
    EXPECT_EQ(FailureOf([&] { refstore::WriteNewFile(dir / "f", Bytes("new")); }),
              (Failure{EEXIST, "file " + (dir / "f") + ": File exists (errno 17)"}));
    EXPECT_EQ(ReadFile(dir / "f"), "old");
}

TEST(WriteNewFile, ALinkIsNotFollowed) {
    const TempDir dir;
    fs::create_symlink("target", dir / "link");
    EXPECT_EQ(FailureOf([&] { refstore::WriteNewFile(dir / "link", Bytes("new")); }).code, EEXIST);
    EXPECT_FALSE(fs::exists(dir / "target"));
}

TEST(WriteNewFile, WhatWasBegunIsRemovedWhenThereIsNoRoom) {
    const TempDir dir;
    const std::vector<std::byte> bytes(8192);
    const Failure failure = [&] {
        const SmallFiles small;
        return FailureOf([&] { refstore::WriteNewFile(dir / "f", bytes); });
    }();
    EXPECT_EQ(failure, (Failure{EFBIG, "file " + (dir / "f") + ": File too large (errno 27)"}));
    EXPECT_EQ(Names(dir.Path()), std::set<std::string>{});
}

TEST(WriteNewFile, ADirectoryThatIsMissingIsENOENT) {
    const TempDir dir;
    EXPECT_EQ(FailureOf([&] { refstore::WriteNewFile(dir / "no/f", Bytes("x")); }).code, ENOENT);
}

TEST(FileWriter, APathWithANulIsRefusedAndNotCut) {
    const TempDir dir;
    const std::string path = dir / std::string("f\0g", 3);
    const Failure nul{EINVAL, "file " + (dir / "f") + ": path holds a NUL byte (errno 22)"};
    EXPECT_EQ(FailureOf([&] { refstore::WriteNewFile(path, Bytes("x")); }), nul);
    EXPECT_EQ(FailureOf([&] { refstore::SyncFileSystem(path); }), nul);
    EXPECT_EQ(Names(dir.Path()), std::set<std::string>{});
}

TEST(SyncFileSystem, APlaceThatIsThereIsSyncedAndAMissingOneIsNot) {
    const TempDir dir;
    refstore::SyncFileSystem(dir.Path());
    EXPECT_EQ(FailureOf([&] { refstore::SyncFileSystem(dir / "no"); }).code, ENOENT);
}

}  // namespace
