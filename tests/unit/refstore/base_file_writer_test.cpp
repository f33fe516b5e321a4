#include "refstore/base/file_writer.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <set>
#include <vector>

#include "tests/interposed/next_definition.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/refstore/base_failure.h"

namespace {

// Set: the file system cannot rename without replacing.
bool renamesPlainly = false;

}  // namespace

extern "C" int renameat2(int fromDir, const char* from, int toDir, const char* to,
                         unsigned flags) noexcept {
    static interposed::NextDefinition<int(int, const char*, int, const char*, unsigned)> next(
        "renameat2");
    if (renamesPlainly && flags != 0) {
        errno = EINVAL;
        return -1;
    }
    return next(fromDir, from, toDir, to, flags);
}

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
    WriteFile(dir / "from", "x");
    const Failure nul{EINVAL, "file " + (dir / "f") + ": path holds a NUL byte (errno 22)"};
    EXPECT_EQ(FailureOf([&] { refstore::WriteNewFile(path, Bytes("x")); }), nul);
    EXPECT_EQ(FailureOf([&] { refstore::ReplaceFile(path, Bytes("x")); }), nul);
    EXPECT_EQ(FailureOf([&] { refstore::RenameNew(dir / "from", path); }), nul);
    EXPECT_EQ(FailureOf([&] { refstore::SyncFileSystem(path); }), nul);
    EXPECT_EQ(Names(dir.Path()), std::set<std::string>{"from"});
}

TEST(ReplaceFile, TheOlderFileIsReplacedAndNothingElseIsLeft) {
    const TempDir dir;
    refstore::ReplaceFile(dir / "f", Bytes("first"));
    EXPECT_EQ(ReadFile(dir / "f"), "first");
    refstore::ReplaceFile(dir / "f", Bytes("second"));
    EXPECT_EQ(ReadFile(dir / "f"), "second");
    EXPECT_EQ(Names(dir.Path()), std::set<std::string>{"f"});
}

TEST(ReplaceFile, NeighboursKeepTheirContentsWhateverTheyAreCalled) {
    const TempDir dir;
    const std::string stem = ".jorv-" + std::to_string(::getpid()) + "-";
    const std::set<std::string> names = {"f", "f.new", "f~", "f.tmp", stem + "0", stem + "1"};
    for (const std::string& name : names) {
        WriteFile(dir / name, name);
    }
    refstore::ReplaceFile(dir / "f", Bytes("new"));
    EXPECT_EQ(Names(dir.Path()), names);
    for (const std::string& name : names) {
        EXPECT_EQ(ReadFile(dir / name), name == "f" ? "new" : name);
    }
}

TEST(ReplaceFile, ANameOfFullLengthIsFine) {
    const TempDir dir;
    const std::string path = dir / std::string(255, 'n');
    refstore::ReplaceFile(path, Bytes("abc"));
    EXPECT_EQ(ReadFile(path), "abc");
}

TEST(ReplaceFile, TheOlderFileIsUntouchedWhenThereIsNoRoom) {
    const TempDir dir;
    WriteFile(dir / "f", "old");
    const std::vector<std::byte> bytes(8192);
    const Failure failure = [&] {
        const SmallFiles small;
        return FailureOf([&] { refstore::ReplaceFile(dir / "f", bytes); });
    }();
    EXPECT_EQ(failure.code, EFBIG);
    EXPECT_EQ(ReadFile(dir / "f"), "old");
    EXPECT_EQ(Names(dir.Path()), std::set<std::string>{"f"});
}

TEST(ReplaceFile, ADirectoryInItsPlaceStays) {
    const TempDir dir;
    test_support::MakeDirs(dir / "d");
    EXPECT_EQ(FailureOf([&] { refstore::ReplaceFile(dir / "d", Bytes("x")); }),
              (Failure{EISDIR, "file " + (dir / "d") + ": Is a directory (errno 21)"}));
    EXPECT_EQ(Names(dir.Path()), std::set<std::string>{"d"});
}

class RenameNew : public testing::TestWithParam<bool> {
  protected:
    RenameNew() { renamesPlainly = GetParam(); }
    ~RenameNew() override { renamesPlainly = false; }
};
INSTANTIATE_TEST_SUITE_P(FileSystem, RenameNew, testing::Bool(), [](const auto& kind) {
    return kind.param ? "ThatRenamesPlainly" : "ThatRenamesWithoutReplacing";
});

TEST_P(RenameNew, TheFileMoves) {
    const TempDir dir;
    WriteFile(dir / "from", "abc");
    refstore::RenameNew(dir / "from", dir / "to");
    EXPECT_EQ(ReadFile(dir / "to"), "abc");
    EXPECT_EQ(Names(dir.Path()), std::set<std::string>{"to"});
}

TEST_P(RenameNew, ADirectoryMovesWithASlashAtItsEnd) {
    const TempDir dir;
    test_support::MakeDirs(dir / "from");
    refstore::RenameNew(dir / "from/", dir / "to/");
    EXPECT_EQ(Names(dir.Path()), std::set<std::string>{"to"});
}

TEST_P(RenameNew, WhatIsThereIsNotReplaced) {
    const TempDir dir;
    WriteFile(dir / "from", "new");
    WriteFile(dir / "to", "old");
    EXPECT_EQ(FailureOf([&] { refstore::RenameNew(dir / "from", dir / "to"); }),
              (Failure{EEXIST, "file " + (dir / "to") + ": File exists (errno 17)"}));
    EXPECT_EQ(ReadFile(dir / "from"), "new");
    EXPECT_EQ(ReadFile(dir / "to"), "old");
}

TEST_P(RenameNew, ALinkThatPointsNowhereIsNotReplaced) {
    const TempDir dir;
    WriteFile(dir / "from", "new");
    fs::create_symlink("nowhere", dir / "to");
    EXPECT_EQ(FailureOf([&] { refstore::RenameNew(dir / "from", dir / "to"); }).code, EEXIST);
    EXPECT_EQ(Names(dir.Path()), (std::set<std::string>{"from", "to"}));
}

TEST_P(RenameNew, WhatIsMissingGivesItsErrno) {
    const TempDir dir;
    EXPECT_EQ(FailureOf([&] { refstore::RenameNew(dir / "no", dir / "to"); }).code, ENOENT);
    WriteFile(dir / "file", "");
    EXPECT_EQ(FailureOf([&] { refstore::RenameNew(dir / "file", dir / "file/to"); }).code, ENOTDIR);
}

TEST(SyncFileSystem, APlaceThatIsThereIsSyncedAndAMissingOneIsNot) {
    const TempDir dir;
    refstore::SyncFileSystem(dir.Path());
    EXPECT_EQ(FailureOf([&] { refstore::SyncFileSystem(dir / "no"); }).code, ENOENT);
}

}  // namespace
