// The inlines of the fortified C library would hide the definitions below.
#undef _FORTIFY_SOURCE

#include "refstore/base/posix.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <map>
#include <type_traits>

#include "tests/interposed/next_definition.h"
#include "tests/support/temp_dir.h"

namespace {

// Calls of pread, pwrite and write that are still to be interrupted, and the most bytes that the
// others move.
int g_interruptions = 0;
std::size_t g_mostBytes = ~std::size_t{0};

template <typename Call>
ssize_t Hampered(std::size_t size, const Call& call) {
    if (g_interruptions > 0) {
        --g_interruptions;
        errno = EINTR;
        return -1;
    }
    return call(std::min(size, g_mostBytes));
}

}  // namespace

extern "C" ssize_t pread(int fd, void* out, size_t size, off_t offset) {
    static interposed::NextDefinition<ssize_t(int, void*, size_t, off_t)> next("pread");
    return Hampered(size, [&](size_t most) { return next(fd, out, most, offset); });
}

extern "C" ssize_t pwrite(int fd, const void* data, size_t size, off_t offset) {
    static interposed::NextDefinition<ssize_t(int, const void*, size_t, off_t)> next("pwrite");
    return Hampered(size, [&](size_t most) { return next(fd, data, most, offset); });
}

extern "C" ssize_t write(int fd, const void* data, size_t size) {
    static interposed::NextDefinition<ssize_t(int, const void*, size_t)> next("write");
    return Hampered(size, [&](size_t most) { return next(fd, data, most); });
}

namespace {

namespace fs = std::filesystem;

using refstore::Descriptor;
using refstore::DirectoryEntry;
using refstore::ListDirectory;
using refstore::OpenFile;
using refstore::ReadAt;
using refstore::WriteAll;
using refstore::WriteAllAt;
using test_support::Bytes;
using test_support::ReadFile;
using test_support::TempDir;
using test_support::WriteFile;

bool IsOpen(int fd) {
    return ::fcntl(fd, F_GETFD) >= 0;
}

// While it lives, each read and write is interrupted twice at first, and moves 3 bytes at most.
class Hampering {
  public:
    Hampering() {
        g_interruptions = 2;
        g_mostBytes = 3;
    }
    ~Hampering() {
        g_interruptions = 0;
        g_mostBytes = ~std::size_t{0};
    }
    Hampering(const Hampering&) = delete;
    Hampering& operator=(const Hampering&) = delete;
};

TEST(Descriptor, ItIsClosedOnceByItsLastOwner) {
    const TempDir dir;
    WriteFile(dir / "f", "abc");
    int fd = -1;
    {
        Descriptor first = OpenFile(dir / "f", O_RDONLY);
        ASSERT_TRUE(first);
        fd = first.Get();
        EXPECT_NE(::fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
        Descriptor second(std::move(first));
        EXPECT_EQ(second.Get(), fd);
        Descriptor third;
        EXPECT_FALSE(third);
        third = std::move(second);
        EXPECT_EQ(third.Get(), fd);
        EXPECT_TRUE(IsOpen(fd));
    }
    EXPECT_FALSE(IsOpen(fd));
    static_assert(!std::is_copy_constructible_v<Descriptor>);
}

TEST(Descriptor, CloseReportsAndReleaseKeepsItOpen) {
    const TempDir dir;
    WriteFile(dir / "f", "abc");
    Descriptor file = OpenFile(dir / "f", O_RDONLY);
    EXPECT_TRUE(file.Close());
    EXPECT_FALSE(file);
    EXPECT_TRUE(file.Close());
    Descriptor closedElsewhere = OpenFile(dir / "f", O_RDONLY);
    ::close(closedElsewhere.Get());
    EXPECT_FALSE(closedElsewhere.Close());
    EXPECT_EQ(errno, EBADF);
    int fd = -1;
    {
        Descriptor released = OpenFile(dir / "f", O_RDONLY);
        fd = released.Release();
    }
    EXPECT_TRUE(IsOpen(fd));
    ::close(fd);
}

TEST(Descriptor, ItsDestructorLeavesTheReasonOfAFailureAlone) {
    {
        const Descriptor notOpen(1 << 20);
        errno = EDOM;
    }
    EXPECT_EQ(errno, EDOM);
}

TEST(OpenFile, WhatCannotBeOpenedIsNoneWithItsReason) {
    const TempDir dir;
    EXPECT_FALSE(OpenFile(dir / "f", O_RDONLY));
    EXPECT_EQ(errno, ENOENT);
}

TEST(ReadAt, ReadsAreRepeatedUntilAllIsThereOrTheFileEnds) {
    const TempDir dir;
    WriteFile(dir / "f", "0123456789");
    const Descriptor file = OpenFile(dir / "f", O_RDONLY);
    std::array<std::byte, 8> out = {};
    const Hampering hampering;
    EXPECT_EQ(ReadAt(file, 1, out), 8U);
    EXPECT_TRUE(std::ranges::equal(out, Bytes("12345678")));
    EXPECT_EQ(ReadAt(file, 5, out), 5U);
    EXPECT_TRUE(std::ranges::equal(std::span(out).first(5), Bytes("56789")));
    EXPECT_EQ(ReadAt(file, 10, out), 0U);
}

TEST(ReadAt, ReadsEndWithTheFirstThatReachesEnough) {
    const TempDir dir;
    WriteFile(dir / "f", "0123456789");
    const Descriptor file = OpenFile(dir / "f", O_RDONLY);
    std::array<std::byte, 9> out = {};
    const Hampering hampering;
    EXPECT_EQ(ReadAt(file, 0, out, 3), 3U);
    EXPECT_EQ(ReadAt(file, 0, out, 4), 6U);
    EXPECT_EQ(ReadAt(file, 0, out, 0), 3U);
}

TEST(ReadAt, AReadThatFailsHasNoValue) {
    const Descriptor directory = OpenFile("/", O_RDONLY);
    std::array<std::byte, 1> out = {};
    EXPECT_EQ(ReadAt(directory, 0, out), std::nullopt);
    EXPECT_EQ(errno, EISDIR);
}

TEST(WriteAll, WritesAreRepeatedUntilAllIsWritten) {
    const TempDir dir;
    Descriptor file = OpenFile(dir / "f", O_WRONLY | O_CREAT, 0600);
    {
        const Hampering hampering;
        EXPECT_TRUE(WriteAll(file.Get(), Bytes("0123456789")));
        EXPECT_TRUE(WriteAll(file.Get(), Bytes("ab")));
        EXPECT_TRUE(WriteAllAt(file, 14, Bytes("klmnopq")));
        EXPECT_TRUE(WriteAllAt(file, 1, {}));
    }
    EXPECT_EQ(ReadFile(dir / "f"), std::string("0123456789ab\0\0klmnopq", 21));
}

TEST(WriteAll, AWriteThatFailsIsFalse) {
    const Descriptor file = OpenFile("/dev/full", O_WRONLY);
    EXPECT_FALSE(WriteAll(file.Get(), Bytes("x")));
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_FALSE(WriteAllAt(file, 1, Bytes("x")));
}

TEST(ListDirectory, EveryEntryIsListedWithItsOwnType) {
    const TempDir dir;
    WriteFile(dir / "f", "");
    fs::create_directory(dir / "d");
    fs::create_symlink("d", dir / "link");
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    const auto listed = ListDirectory(dir.Path());
    ASSERT_TRUE(listed);
    std::map<std::string, mode_t> types;
    for (const DirectoryEntry& entry : *listed) {
        types[entry.name] = entry.type;
    }
    EXPECT_EQ(types, (std::map<std::string, mode_t>{
                         {"f", S_IFREG}, {"d", S_IFDIR}, {"link", S_IFLNK}, {"fifo", S_IFIFO}}));
    EXPECT_TRUE(ListDirectory(dir / "d")->empty());
}

TEST(ListDirectory, ALinkIsFollowedUnlessToldOtherwise) {
    const TempDir dir;
    WriteFile(dir / "d/f", "");
    fs::create_symlink("d", dir / "link");
    EXPECT_EQ(ListDirectory(dir / "link")->size(), 1U);
    EXPECT_FALSE(ListDirectory(dir / "link", O_NOFOLLOW));
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_EQ(ListDirectory(dir / "d", O_NOFOLLOW)->size(), 1U);
}

TEST(ListDirectory, WhatIsNoDirectoryHasNoList) {
    const TempDir dir;
    WriteFile(dir / "f", "");
    EXPECT_FALSE(ListDirectory(dir / "f"));
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_FALSE(ListDirectory(dir / "no"));
    EXPECT_EQ(errno, ENOENT);
}

TEST(ListDirectory, NothingStaysOpen) {
    const TempDir dir;
    const Descriptor next = OpenFile("/", O_RDONLY);
    const int fd = next.Get() + 1;
    ASSERT_FALSE(IsOpen(fd));
    EXPECT_TRUE(ListDirectory(dir.Path()));
    EXPECT_FALSE(IsOpen(fd));
}

TEST(ParentOf, APathIsCutBeforeItsLastName) {
    EXPECT_EQ(refstore::ParentOf("/a/b"), "/a");
    EXPECT_EQ(refstore::ParentOf("/a/b//"), "/a");
    EXPECT_EQ(refstore::ParentOf("/a"), "/");
    EXPECT_EQ(refstore::ParentOf("/"), "/");
    EXPECT_EQ(refstore::ParentOf("b"), ".");
    EXPECT_EQ(refstore::ParentOf(""), ".");
}

}  // namespace
