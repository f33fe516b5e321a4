#include "text_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "storage/exception.h"

namespace text_storage {

namespace {

constexpr off_t kMaxBytes = 16 * 1024 * 1024;

class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    [[nodiscard]] int Get() const { return fd_; }

  private:
    int fd_;
};

std::string ReadAll(const std::string& path) {
    // Without blocking: a FIFO in a share must be a failure, at once.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat attributes = {};
    if (file.Get() < 0 || ::fstat(file.Get(), &attributes) != 0) {
        const int error = errno;
        Fail(error, path, std::strerror(error));
    }
    if (!S_ISREG(attributes.st_mode)) {
        Fail(S_ISDIR(attributes.st_mode) ? EISDIR : EINVAL, path, "no regular file");
    }
    if (attributes.st_size > kMaxBytes) {
        Fail(EFBIG, path, "too long");
    }
    std::string text(static_cast<std::size_t>(attributes.st_size), '\0');
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = ::read(file.Get(), text.data() + done, text.size() - done);
        if (count <= 0) {
            Fail(count < 0 ? errno : EBADMSG, path, "cannot be read");
        }
        done += static_cast<std::size_t>(count);
    }
    return text;
}

}  // namespace

void Fail(int errorNumber, const std::string& path, const std::string& reason) {
    throw Corvane::Kst::Marlow::Jorv::SysException(errorNumber, "", path + ": " + reason);
}

TextFile::TextFile(const std::string& path) : path_(path), words_(ReadAll(path)) {}

void TextFile::FailDamaged() const {
    Fail(EBADMSG, path_, "damaged");
}

std::string StoragePath(const std::string& path) {
    const char* const root = std::getenv("TEXT_STORAGE");
    return std::string(root != nullptr ? root : "/var/lib/text-storage") + "/" + path;
}

}  // namespace text_storage
