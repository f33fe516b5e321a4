#include "tests/campaign/object.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace campaign {

namespace {

void Require(bool done, const std::string& path) {
    if (!done) {
        throw std::runtime_error(path + ": " + std::strerror(errno));
    }
}

void MakeSocket(const std::string& path) {
    // The name of a socket is short; a link to the directory makes the path so.
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const std::filesystem::path place(path);
    const std::string link =
        std::filesystem::temp_directory_path() / ("jorv-s" + std::to_string(::getpid()));
    std::filesystem::create_directory_symlink(place.parent_path(), link);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string shorter = link + "/" + place.filename().native();
    shorter.copy(address.sun_path, sizeof address.sun_path - 1);
    const int bound = ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    std::filesystem::remove(link);
    ::close(socket);
    Require(bound == 0, path);
}

void Make(const std::string& path, Object object) {
    switch (object) {
        case Object::kNothing:
        case Object::kUnreadable:
            return;
        case Object::kDirectory:
            return Require(::mkdir(path.c_str(), 0755) == 0, path);
        case Object::kFifo:
            return Require(::mkfifo(path.c_str(), 0644) == 0, path);
        case Object::kSocket:
            return MakeSocket(path);
        case Object::kDevice:
            // Making a device takes a privilege; a link to one does as well for whoever opens it.
            if (::mknod(path.c_str(), S_IFCHR | 0666, ::makedev(1, 5)) != 0) {
                std::filesystem::create_symlink("/dev/zero", path);
            }
            return;
        case Object::kDanglingLink:
            return std::filesystem::create_symlink("nowhere", path);
        case Object::kLinkLoop:
            return std::filesystem::create_symlink(std::filesystem::path(path).filename(), path);
    }
}

void WriteWhole(const std::string& path, const std::string& bytes) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    Require(file >= 0, path);
    const bool done =
        ::pwrite(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()) &&
        ::ftruncate(file, static_cast<off_t>(bytes.size())) == 0;
    ::close(file);
    Require(done, path);
}

}  // namespace

std::string_view NameOf(Object object) {
    switch (object) {
        case Object::kNothing:
            return "missing";
        case Object::kDirectory:
            return "directory";
        case Object::kFifo:
            return "FIFO";
        case Object::kSocket:
            return "socket";
        case Object::kDevice:
            return "device";
        case Object::kDanglingLink:
            return "dangling link";
        case Object::kLinkLoop:
            return "link loop";
        case Object::kUnreadable:
            return "unreadable file";
    }
    return "?";
}

ReplacedFile::ReplacedFile(const std::string& path, Object object)
    : path_(path), unreadable_(object == Object::kUnreadable) {
    if (unreadable_) {
        Require(::chmod(path.c_str(), 0) == 0, path);
        return;
    }
    aside_ = std::filesystem::temp_directory_path() / ("jorv-aside-" + std::to_string(::getpid()));
    Require(::rename(path.c_str(), aside_.c_str()) == 0, path);
    Make(path, object);
}

ReplacedFile::~ReplacedFile() {
    if (unreadable_) {
        ::chmod(path_.c_str(), 0644);
        return;
    }
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
    ::rename(aside_.c_str(), path_.c_str());
}

ChangedFile::ChangedFile(const std::string& path, const std::string& sound,
                         const std::string& changed)
    : path_(path), sound_(sound) {
    WriteWhole(path, changed);
}

ChangedFile::~ChangedFile() {
    try {
        WriteWhole(path_, sound_);
    } catch (const std::exception& failure) {
        // The trials that follow would blame the checker for it.
        std::fprintf(stderr, "%s\n", failure.what());
        std::abort();
    }
}

}  // namespace campaign
