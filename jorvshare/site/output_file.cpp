#include "jorvshare/site/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "jorvshare/report/wording.h"
#include "terminal/tool_error.h"

namespace jorvshare {

OutputFile::OutputFile(std::string path, mode_t mode)
    : path_(std::move(path)),
      descriptor_(
          ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode)) {
    Require(descriptor_ >= 0);
}

OutputFile::~OutputFile() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

void OutputFile::WriteAt(std::uint64_t offset, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t put =
            ::pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (put < 0 && errno == EINTR) {
            continue;
        }
        Require(put >= 0);
        bytes = bytes.subspan(static_cast<std::size_t>(put));
        offset += static_cast<std::uint64_t>(put);
    }
}

void OutputFile::SetSize(std::int64_t size) {
    Require(::ftruncate(descriptor_, size) == 0);
}

void OutputFile::SetMode(mode_t mode) {
    Require(::fchmod(descriptor_, mode) == 0);
}

void OutputFile::SetOwner(uid_t user, gid_t group) {
    Require(::fchown(descriptor_, user, group) == 0);
}

void OutputFile::SetModified(std::int64_t seconds, std::uint32_t nanoseconds) {
    struct timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = seconds;
    times[1].tv_nsec = static_cast<long>(nanoseconds);
    Require(::futimens(descriptor_, &times[0]) == 0);
}

void OutputFile::Sync() {
    Require(::fsync(descriptor_) == 0);
}

void OutputFile::Close() {
    Require(::close(std::exchange(descriptor_, -1)) == 0);
}

void OutputFile::Require(bool done) const {
    if (!done) {
        throw terminal::ToolError(wording::Errno(path_, errno));
    }
}

}  // namespace jorvshare
