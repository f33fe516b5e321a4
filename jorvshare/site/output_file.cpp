#include "jorvshare/site/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "terminal/tool_error.h"

namespace jorvshare {

OutputFile::OutputFile(const Root& root, const std::string& relative)
    : path_(root.At(relative)), file_(root.Open(relative, O_WRONLY | O_CREAT | O_EXCL, 0600)) {}

void OutputFile::WriteAt(std::uint64_t offset, std::span<const std::byte> bytes) {
    Require(refstore::WriteAllAt(file_, offset, bytes));
}

void OutputFile::SetSize(std::int64_t size) {
    Require(::ftruncate(file_.Get(), size) == 0);
}

void OutputFile::SetMode(mode_t mode) {
    Require(::fchmod(file_.Get(), mode) == 0);
}

void OutputFile::SetOwner(uid_t user, gid_t group) {
    Require(::fchown(file_.Get(), user, group) == 0);
}

void OutputFile::SetModified(std::int64_t seconds, std::uint32_t nanoseconds) {
    struct timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = seconds;
    times[1].tv_nsec = static_cast<long>(nanoseconds);
    Require(::futimens(file_.Get(), &times[0]) == 0);
}

void OutputFile::Sync() {
    Require(::fsync(file_.Get()) == 0);
}

void OutputFile::Close() {
    Require(file_.Close());
}

void OutputFile::Require(bool done) const {
    if (!done) {
        throw terminal::ToolError(terminal::Errno(path_, errno));
    }
}

}  // namespace jorvshare
