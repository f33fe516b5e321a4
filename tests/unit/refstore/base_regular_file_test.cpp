// The inlines of the fortified C library would hide the definitions below.
#undef _FORTIFY_SOURCE

#include "refstore/base/regular_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <functional>
#include <type_traits>
#include <utility>

#include "tests/interposed/next_definition.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unprivileged.h"
#include "tests/unit/refstore/base_failure.h"

namespace {

std::function<void()> g_beforeOpening;

}  // namespace

extern "C" int open(const char* path, int flags, ...) {
    static interposed::NextDefinition<int(const char*, int, mode_t)> next("open");
    std::va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    if (const auto before = std::exchange(g_beforeOpening, nullptr)) {
        before();
        g_beforeOpening = before;
    }
    return next(path, flags, mode);
}

namespace {

namespace fs = std::filesystem;

using refstore::RegularFile;
using refstore_test::Failure;
using refstore_test::FailureOf;
using test_support::TempDir;
using test_support::WriteFile;

Failure OpeningFailure(const std::string& path) {
    return FailureOf([&path] { const RegularFile file("thing", path); });
}

// While it lives, opening a file calls `before` first.
class BeforeOpening {
  public:
    explicit BeforeOpening(std::function<void()> before) { g_beforeOpening = std::move(before); }
    ~BeforeOpening() { g_beforeOpening = nullptr; }
    BeforeOpening(const BeforeOpening&) = delete;
    BeforeOpening& operator=(const BeforeOpening&) = delete;
};

TEST(RegularFile, AFileIsReadWholeAndInParts) {
    const TempDir dir;
    const std::string path = dir / "f";
    WriteFile(path, "0123456789");
    const RegularFile file("thing", path);
    EXPECT_EQ(file.Size(), 10U);
    EXPECT_EQ(file.ReadAll(10).Text(), "0123456789");
    std::array<std::byte, 3> part{};
    file.ReadAt(7, part);
    EXPECT_EQ(std::memcmp(part.data(), "789", 3), 0);
}

TEST(RegularFile, AnEmptyFileIsEmpty) {
    const TempDir dir;
    const std::string path = dir / "f";
    WriteFile(path, "");
    EXPECT_EQ(RegularFile("thing", path).ReadAll(0).size, 0U);
}

TEST(RegularFile, ALinkToAFileIsThatFile) {
    const TempDir dir;
    const std::string path = dir / "link";
    WriteFile(dir / "f", "abc");
    fs::create_symlink("f", path);
    EXPECT_EQ(RegularFile("thing", path).ReadAll(3).Text(), "abc");
}

TEST(RegularFile, WhatIsNotThereIsENOENT) {
    const TempDir dir;
    const std::string path = dir / "f";
    EXPECT_EQ(OpeningFailure(path),
              (Failure{ENOENT, "thing " + path + ": No such file or directory (errno 2)"}));
}

TEST(RegularFile, ADanglingLinkIsENOENT) {
    const TempDir dir;
    fs::create_symlink("nowhere", dir / "link");
    EXPECT_EQ(OpeningFailure(dir / "link").code, ENOENT);
}

TEST(RegularFile, ALinkToItselfIsELOOP) {
    const TempDir dir;
    fs::create_symlink("link", dir / "link");
    EXPECT_EQ(OpeningFailure(dir / "link").code, ELOOP);
}

TEST(RegularFile, APathThroughAFileIsENOTDIR) {
    const TempDir dir;
    WriteFile(dir / "f", "");
    EXPECT_EQ(OpeningFailure(dir / "f/g").code, ENOTDIR);
}

TEST(RegularFile, ADirectoryIsEISDIR) {
    const TempDir dir;
    EXPECT_EQ(OpeningFailure(dir.Path()),
              (Failure{EISDIR, "thing " + dir.Path() + ": Is a directory (errno 21)"}));
}

TEST(RegularFile, AFifoIsRefusedAtOnce) {
    const TempDir dir;
    const std::string path = dir / "fifo";
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(OpeningFailure(path),
              (Failure{EINVAL, "thing " + path + ": Invalid argument (errno 22)"}));
}

TEST(RegularFile, ASocketIsRefused) {
    const TempDir dir;
    const std::string path = dir / "socket";
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path);
    path.copy(address.sun_path, path.size());
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(OpeningFailure(path).code, EINVAL);
    ::close(fd);
}

TEST(RegularFile, ADeviceIsRefused) {
    EXPECT_EQ(OpeningFailure("/dev/zero").code, EINVAL);
}

TEST(RegularFile, WhatIsNoRegularFileIsNotEvenOpened) {
    const TempDir dir;
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    fs::create_symlink("fifo", dir / "to-fifo");
    fs::create_symlink("/dev/zero", dir / "to-device");
    int opened = 0;
    const BeforeOpening counting([&opened] { ++opened; });
    EXPECT_EQ(OpeningFailure(dir / "fifo").code, EINVAL);
    EXPECT_EQ(OpeningFailure(dir / "to-fifo").code, EINVAL);
    EXPECT_EQ(OpeningFailure(dir / "to-device").code, EINVAL);
    EXPECT_EQ(OpeningFailure(dir.Path()).code, EISDIR);
    EXPECT_EQ(opened, 0);
}

TEST(RegularFile, AFileThatIsReplacedBeforeItIsOpenedIsTheNewOne) {
    const TempDir dir;
    const std::string path = dir / "f";
    WriteFile(path, "old");
    WriteFile(dir / "other", "new");
    int opened = 0;
    const BeforeOpening replacing([&] {
        if (++opened == 1) {
            fs::rename(dir / "other", path);
        }
    });
    EXPECT_EQ(RegularFile("thing", path).ReadAll(3).Text(), "new");
    EXPECT_EQ(opened, 2);
}

TEST(RegularFile, AFileThatIsReplacedEachTimeIsGivenUp) {
    const TempDir dir;
    WriteFile(dir / "f", "old");
    const BeforeOpening replacing([&] {
        WriteFile(dir / "other", "new");
        fs::rename(dir / "other", dir / "f");
    });
    EXPECT_EQ(
        OpeningFailure(dir / "f"),
        (Failure{ESTALE, "thing " + (dir / "f") + ": replaced while it was opened (errno 116)"}));
}

TEST(RegularFile, WhatBecomesAFifoOrADirectoryBeforeItIsOpenedIsRefused) {
    const TempDir dir;
    WriteFile(dir / "f", "");
    {
        const BeforeOpening replacing([&] {
            fs::remove(dir / "f");
            ::mkfifo((dir / "f").c_str(), 0600);
        });
        EXPECT_EQ(OpeningFailure(dir / "f").code, EINVAL);
    }
    fs::remove(dir / "f");
    WriteFile(dir / "f", "");
    const BeforeOpening replacing([&] {
        fs::remove(dir / "f");
        fs::create_directory(dir / "f");
    });
    EXPECT_EQ(OpeningFailure(dir / "f").code, EISDIR);
}

TEST(RegularFile, APathWithANulIsRefusedAndNotCut) {
    const TempDir dir;
    WriteFile(dir / "f", "abc");
    const std::string path = dir / std::string("f\0g", 3);
    EXPECT_EQ(OpeningFailure(path),
              (Failure{EINVAL, "thing " + (dir / "f") + ": path holds a NUL byte (errno 22)"}));
}

TEST(RegularFile, AFileOfAnotherUserIsEACCES) {
    const TempDir dir;
    WriteFile(dir / "f", "abc");
    ASSERT_EQ(::chmod((dir / "f").c_str(), 0), 0);
    const bool root = ::geteuid() == 0;
    if (root) {
        ASSERT_EQ(::seteuid(65534), 0);
    }
    const Failure failure = OpeningFailure(dir / "f");
    if (root) {
        ASSERT_EQ(::seteuid(0), 0);
    }
    EXPECT_EQ(failure.code, EACCES);
}

// Flags of the descriptor that this process has of a file; -1 without one.
int OpenFlags(const std::string& path) {
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code closed;
        if (fs::read_symlink(entry.path(), closed) == path) {
            return ::fcntl(std::stoi(entry.path().filename()), F_GETFL);
        }
    }
    return -1;
}

// That the kernel then keeps the access time, a run of the whole program shows.
TEST(RegularFile, ReadingOwnFilesLeavesTheirAccessTime) {
    const TempDir dir;
    const std::string path = dir / "f";
    WriteFile(path, "abc");
    const RegularFile file("thing", path);
    const int flags = OpenFlags(path);
    ASSERT_NE(flags, -1);
    EXPECT_NE(flags & O_NOATIME, 0);
}

TEST(RegularFile, AnotherUsersFileIsReadAsAnyoneReadsIt) {
    const TempDir dir;
    const std::string path = dir / "f";
    WriteFile(path, "abc");
    fs::permissions(dir.Path(), fs::perms(0755));
    const test_support::Unprivileged hold;
    EXPECT_EQ(RegularFile("thing", path).ReadAll(3).Text(), "abc");
}

TEST(RegularFile, AFileAboveTheLimitIsEFBIGAndOneAtTheLimitIsRead) {
    const TempDir dir;
    const std::string path = dir / "f";
    WriteFile(path, "abcd");
    const RegularFile file("thing", path);
    EXPECT_EQ(FailureOf([&file] { static_cast<void>(file.ReadAll(3)); }),
              (Failure{EFBIG, "thing " + path + ": File too large (errno 27)"}));
    EXPECT_EQ(file.ReadAll(4).size, 4U);
}

TEST(RegularFile, AFileThatShrankIsDamage) {
    const TempDir dir;
    const std::string path = dir / "f";
    WriteFile(path, "abcd");
    const RegularFile file("thing", path);
    WriteFile(path, "abc");
    const Failure cut{EBADMSG, "thing " + path + ": file ends too early (errno 74)"};
    EXPECT_EQ(FailureOf([&file] { static_cast<void>(file.ReadAll(100)); }), cut);
    std::array<std::byte, 1> byte{};
    EXPECT_EQ(FailureOf([&] { file.ReadAt(3, byte); }), cut);
}

TEST(RegularFile, AFileThatGrewIsDamage) {
    const TempDir dir;
    const std::string path = dir / "f";
    WriteFile(path, "abcd");
    const RegularFile file("thing", path);
    WriteFile(path, "abcde");
    EXPECT_EQ(FailureOf([&file] { static_cast<void>(file.ReadAll(100)); }),
              (Failure{EBADMSG, "thing " + path + ": file grew while it was read (errno 74)"}));
}

TEST(RegularFile, AReadFromBehindEverythingIsAnError) {
    const TempDir dir;
    const std::string path = dir / "f";
    WriteFile(path, "abcd");
    const RegularFile file("thing", path);
    std::array<std::byte, 1> byte{};
    EXPECT_EQ(FailureOf([&] { file.ReadAt(std::uint64_t{1} << 62, byte); }).code, EBADMSG);
    EXPECT_EQ(FailureOf([&] { file.ReadAt(~std::uint64_t{0}, byte); }).code, EINVAL);
}

TEST(RegularFile, AReadThatFailsIsItsErrorAndNoEndOfTheFile) {
    // Nothing of the process lies at the address 0: the read fails after an open that did not.
    const std::string path = "/proc/self/mem";
    const RegularFile file("thing", path);
    EXPECT_EQ(FailureOf([&file] { static_cast<void>(file.ReadAll(0)); }).code, EIO);
    std::array<std::byte, 3> part{};
    EXPECT_EQ(FailureOf([&] { file.ReadAt(0, part); }).code, EIO);
}

TEST(RegularFile, MovingHandsTheFileOver) {
    const TempDir dir;
    const std::string path = dir / "f";
    WriteFile(path, "abc");
    RegularFile first("thing", path);
    const RegularFile second(std::move(first));
    EXPECT_EQ(second.ReadAll(3).Text(), "abc");
    static_assert(!std::is_copy_constructible_v<RegularFile>);
}

TEST(RegularFile, NothingStaysOpen) {
    const TempDir dir;
    const std::string path = dir / "f";
    WriteFile(path, "abc");
    const auto open = [] {
        const fs::directory_iterator all("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    const auto before = open();
    { const RegularFile file("thing", path); }
    OpeningFailure(dir.Path());
    OpeningFailure("/dev/zero");
    EXPECT_EQ(open(), before);
}

// A sanitizer needs address space of its own.
#ifndef JORVCK_SANITIZED
TEST(RegularFile, AFileTooLargeForTheMemoryIsENOMEM) {
    const TempDir dir;
    const std::string path = dir / "f";
    WriteFile(path, "");
    fs::resize_file(path, std::uintmax_t{1} << 40);
    const RegularFile file("thing", path);
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_AS, &before), 0);
    const rlimit tight = {rlim_t{1} << 32, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &tight), 0);
    const Failure failure = FailureOf([&file] { static_cast<void>(file.ReadAll(~0ULL)); });
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &before), 0);
    EXPECT_EQ(failure, (Failure{ENOMEM, "thing " + path + ": Cannot allocate memory (errno 12)"}));
}
#endif

}  // namespace
