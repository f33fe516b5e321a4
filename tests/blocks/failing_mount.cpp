#define FUSE_USE_VERSION 31

#include "tests/blocks/failing_mount.h"

#include <dirent.h>
#include <fcntl.h>
#include <fuse3/fuse.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <memory>
#include <stdexcept>

namespace blocks {

namespace {

struct Server {
    std::string source;
    Fault* fault;
};

const Server& Here() {
    return *static_cast<const Server*>(::fuse_get_context()->private_data);
}

std::string Source(const char* path) {
    return Here().source + path;
}

int Result(bool done) {
    return done ? 0 : -errno;
}

void* Start(fuse_conn_info* /*connection*/, fuse_config* settings) {
    // The library compares inode numbers: a file keeps its own.
    settings->use_ino = 1;
    return ::fuse_get_context()->private_data;
}

int GetAttributes(const char* path, struct stat* attributes, fuse_file_info* /*file*/) {
    return Result(::lstat(Source(path).c_str(), attributes) == 0);
}

int ReadLink(const char* path, char* buffer, std::size_t size) {
    const ssize_t length = ::readlink(Source(path).c_str(), buffer, size - 1);
    if (length < 0) {
        return -errno;
    }
    buffer[length] = '\0';
    return 0;
}

int Open(const char* path, fuse_file_info* file) {
    const int opened = ::open(Source(path).c_str(), O_RDONLY | O_CLOEXEC);
    file->fh = static_cast<std::uint64_t>(opened);
    // Each read comes here, as it was made: nothing is read ahead, and nothing kept.
    file->direct_io = 1;
    return Result(opened >= 0);
}

int Read(const char* path, char* buffer, std::size_t size, off_t offset, fuse_file_info* file) {
    struct stat attributes = {};
    if (::fstat(static_cast<int>(file->fh), &attributes) != 0) {
        return -errno;
    }
    const auto begin = static_cast<std::uint64_t>(offset);
    const std::uint64_t end =
        std::min(begin + size, static_cast<std::uint64_t>(attributes.st_size));
    Fault& fault = *Here().fault;
    const std::uint64_t readable = fault.ReadableFrom(path, begin, end);
    if (readable == begin && begin < end && fault.Take(path, begin / kBlock)) {
        return -EIO;
    }
    const ssize_t count = ::pread(static_cast<int>(file->fh), buffer, readable - begin, offset);
    return count < 0 ? -errno : static_cast<int>(count);
}

int Release(const char* /*path*/, fuse_file_info* file) {
    ::close(static_cast<int>(file->fh));
    return 0;
}

int ReadDirectory(const char* path, void* buffer, fuse_fill_dir_t fill, off_t /*offset*/,
                  fuse_file_info* /*file*/, fuse_readdir_flags /*flags*/) {
    if (Here().fault->Take(path, kListing)) {
        return -EIO;
    }
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(Source(path).c_str()), &::closedir);
    if (listing == nullptr) {
        return -errno;
    }
    while (const dirent* const entry = ::readdir(listing.get())) {
        struct stat attributes = {};
        attributes.st_ino = entry->d_ino;
        attributes.st_mode = static_cast<mode_t>(DTTOIF(entry->d_type));
        fill(buffer, entry->d_name, &attributes, 0, fuse_fill_dir_flags{});
    }
    return 0;
}

/// Serves the file system until a signal ends it; writes a byte to `ready` when it is mounted.
bool Serve(Server server, const std::string& place, int ready) {
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    // A maker of shares ignores it once its work is done.
    std::signal(SIGTERM, SIG_DFL);
    fuse_operations operations = {};
    operations.init = Start;
    operations.getattr = GetAttributes;
    operations.readlink = ReadLink;
    operations.open = Open;
    operations.read = Read;
    operations.release = Release;
    operations.readdir = ReadDirectory;
    std::array<std::string, 3> words = {"blocks", "-o", "ro,fsname=blocks"};
    std::array<char*, 3> pointers = {};
    std::ranges::transform(words, pointers.begin(), [](std::string& word) { return word.data(); });
    fuse_args arguments = FUSE_ARGS_INIT(static_cast<int>(pointers.size()), pointers.data());
    const std::unique_ptr<fuse, void (*)(fuse*)> served(
        ::fuse_new(&arguments, &operations, sizeof operations, &server), &::fuse_destroy);
    ::fuse_opt_free_args(&arguments);
    if (served == nullptr || ::fuse_mount(served.get(), place.c_str()) != 0) {
        return false;
    }
    const bool done = ::fuse_set_signal_handlers(::fuse_get_session(served.get())) == 0 &&
                      ::write(ready, "", 1) == 1 && ::fuse_loop(served.get()) >= 0;
    ::fuse_unmount(served.get());
    return done;
}

}  // namespace

FailingMount::FailingMount(const std::string& source, const std::string& place) : server_(-1) {
    std::array<int, 2> ready = {};
    if (::pipe2(ready.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    server_ = ::fork();
    if (server_ == 0) {
        ::close(ready[0]);
        ::_exit(Serve({source, fault_}, place, ready[1]) ? 0 : 1);
    }
    ::close(ready[1]);
    char byte = 0;
    const bool isMounted = ::read(ready[0], &byte, 1) == 1;
    ::close(ready[0]);
    if (!isMounted) {
        ::waitpid(server_, nullptr, 0);
        throw std::runtime_error("cannot mount at " + place);
    }
}

FailingMount::~FailingMount() {
    ::kill(server_, SIGTERM);
    ::waitpid(server_, nullptr, 0);
}

}  // namespace blocks
