#include "bench/floor/calls.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace bench {

namespace {

// An open file and its size.
class File {
  public:
    explicit File(const std::string& path) : fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        struct stat attributes = {};
        if (fd_ < 0 || ::fstat(fd_, &attributes) != 0) {
            Fail(path);
        }
        size_ = static_cast<std::size_t>(attributes.st_size);
    }
    ~File() { ::close(fd_); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    [[nodiscard]] int Descriptor() const { return fd_; }
    [[nodiscard]] std::size_t Size() const { return size_; }

  private:
    int fd_;
    std::size_t size_ = 0;
};

}  // namespace

void Fail(const std::string& what) {
    std::fprintf(stderr, "bench_floor: %s: %s\n", what.c_str(), std::strerror(errno));
    std::exit(1);
}

char* Calls::Room(std::size_t size) {
    if (room_ < size) {
        buffer_ = std::make_unique_for_overwrite<char[]>(size);
        room_ = size;
    }
    return buffer_.get();
}

void Calls::Status(const std::string& path) {
    struct stat attributes = {};
    if (::stat(path.c_str(), &attributes) != 0) {
        Fail(path);
    }
}

void Calls::StatusIfThere(const std::string& path) {
    struct stat attributes = {};
    if (::stat(path.c_str(), &attributes) != 0 && errno != ENOENT && errno != ENOTDIR) {
        Fail(path);
    }
}

void Calls::ReadWhole(const std::string& path) {
    Status(path);
    const File file(path);
    const ssize_t got = ::pread(file.Descriptor(), Room(file.Size()), file.Size(), 0);
    if (got < 0 || static_cast<std::size_t>(got) != file.Size()) {
        Fail(path);
    }
    bytes_ += file.Size();
}

void Calls::ReadInSteps(const std::string& path, std::size_t step) {
    struct stat attributes = {};
    if (::stat(path.c_str(), &attributes) != 0) {
        Fail(path);
    }
    char* const room = Room(step);
    for (off_t offset = 0; offset < attributes.st_size; offset += static_cast<off_t>(step)) {
        const int file = ::open(path.c_str(), O_RDONLY);
        if (file < 0 || ::lseek(file, offset, SEEK_SET) < 0 || ::read(file, room, step) <= 0) {
            Fail(path);
        }
        ::close(file);
    }
    bytes_ += static_cast<std::size_t>(attributes.st_size);
}

void List(const std::string& directory, Statuses statuses,
          const std::function<bool(const char* name, bool isDirectory)>& entry) {
    DIR* const listing = ::opendir(directory.c_str());
    if (listing == nullptr) {
        Fail(directory);
    }
    while (const dirent* const at = ::readdir(listing)) {
        const char* const name = at->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) {
            continue;
        }
        struct stat attributes = {};
        if (statuses == Statuses::kEach && ::fstatat(::dirfd(listing), name, &attributes, 0) != 0) {
            Fail(directory + "/" + name);
        }
        if (!entry(name, at->d_type == DT_DIR)) {
            break;
        }
    }
    ::closedir(listing);
}

}  // namespace bench
