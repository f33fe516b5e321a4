#include "refstore/base/posix.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>

namespace refstore {

namespace {

// Linux moves at most 2 GiB with one call.
constexpr std::size_t kMaxMove = std::size_t{1} << 30;

struct CloseDirectory {
    void operator()(DIR* directory) const {
        const int code = errno;
        ::closedir(directory);
        errno = code;
    }
};

template <typename Call>
auto Repeated(const Call& call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

template <typename Write>
bool WriteParts(std::span<const std::byte> bytes, const Write& write) {
    while (!bytes.empty()) {
        const auto part = bytes.first(std::min(bytes.size(), kMaxMove));
        const ssize_t put = Repeated([&] { return write(part); });
        if (put < 0) {
            return false;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(put));
    }
    return true;
}

mode_t TypeOf(DIR* directory, const dirent64& entry) {
    if (entry.d_type != DT_UNKNOWN) {
        return static_cast<mode_t>(DTTOIF(entry.d_type));
    }
    struct stat attributes = {};
    const int code = ::fstatat(::dirfd(directory), entry.d_name, &attributes, AT_SYMLINK_NOFOLLOW);
    return code == 0 ? attributes.st_mode & S_IFMT : 0;
}

}  // namespace

Descriptor::~Descriptor() {
    const int code = errno;
    Close();
    errno = code;
}

bool Descriptor::Close() noexcept {
    // Not repeated: on Linux an interrupted close has closed the descriptor.
    const int fd = Release();
    return fd < 0 || ::close(fd) == 0;
}

Descriptor OpenFile(const std::string& path, int flags, mode_t mode) {
    return Descriptor(
        Repeated([&] { return ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode); }));
}

std::optional<std::size_t> ReadAt(const Descriptor& file, std::uint64_t offset,
                                  std::span<std::byte> out, std::size_t enough) {
    std::size_t done = 0;
    do {
        const auto part = out.subspan(done, std::min(out.size() - done, kMaxMove));
        const ssize_t got = Repeated([&] {
            return ::pread(file.Get(), part.data(), part.size(), static_cast<off_t>(offset + done));
        });
        if (got < 0) {
            return std::nullopt;
        }
        if (got == 0) {
            break;
        }
        done += static_cast<std::size_t>(got);
    } while (done < enough);
    return done;
}

bool WriteAll(int fd, std::span<const std::byte> bytes) {
    return WriteParts(bytes, [fd](auto part) { return ::write(fd, part.data(), part.size()); });
}

bool WriteAllAt(const Descriptor& file, std::uint64_t offset, std::span<const std::byte> bytes) {
    const std::byte* const first = bytes.data();
    return WriteParts(bytes, [&](auto part) {
        const auto at = offset + static_cast<std::uint64_t>(part.data() - first);
        return ::pwrite(file.Get(), part.data(), part.size(), static_cast<off_t>(at));
    });
}

std::optional<std::vector<DirectoryEntry>> ListDirectory(const std::string& path, int flags) {
    return ListDirectory(OpenFile(path, O_RDONLY | O_DIRECTORY | flags));
}

std::optional<std::vector<DirectoryEntry>> ListDirectory(Descriptor opened) {
    if (!opened) {
        return std::nullopt;
    }
    const std::unique_ptr<DIR, CloseDirectory> directory(::fdopendir(opened.Get()));
    if (directory == nullptr) {
        return std::nullopt;
    }
    opened.Release();
    std::vector<DirectoryEntry> entries;
    while (true) {
        errno = 0;
        const dirent64* const entry = ::readdir64(directory.get());
        if (entry == nullptr) {
            break;
        }
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            entries.push_back({std::string(name), TypeOf(directory.get(), *entry)});
        }
    }
    if (errno != 0) {
        return std::nullopt;
    }
    return entries;
}

std::string ParentOf(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace refstore
