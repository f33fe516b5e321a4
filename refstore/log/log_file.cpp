#include "refstore/log/log_file.h"

#include <fcntl.h>
#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>

namespace refstore {

namespace {

constexpr int kErrorLevel = 8;

// spdlog's own file sink makes directories and waits for ever on a FIFO, which this one does not.
// Nor does it follow a link at the log's name: that could lead into a share.
class AppendingSink final : public spdlog::sinks::base_sink<std::mutex> {
  public:
    explicit AppendingSink(const std::string& path)
        : base_sink(std::make_unique<spdlog::pattern_formatter>("%Y-%m-%dT%H:%M:%S.%eZ %l %v",
                                                                spdlog::pattern_time_type::utc)),
          fd_(::open(path.c_str(),
                     O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW,
                     0644)) {
        struct stat attributes = {};
        if (fd_ >= 0 && (::fstat(fd_, &attributes) != 0 || !S_ISREG(attributes.st_mode))) {
            ::close(fd_);
            fd_ = -1;
        }
    }
    ~AppendingSink() override {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    AppendingSink(const AppendingSink&) = delete;
    AppendingSink& operator=(const AppendingSink&) = delete;

  private:
    void sink_it_(const spdlog::details::log_msg& message) override {
        if (fd_ < 0) {
            return;
        }
        spdlog::memory_buf_t line;
        formatter_->format(message, line);
        // One call for the whole line, so that lines of several processes do not mix. A log that
        // cannot be written is ignored, by contract.
        [[maybe_unused]] const ssize_t put = ::write(fd_, line.data(), line.size());
    }
    void flush_() override {}

    int fd_;
};

}  // namespace

struct LogFile::Impl {
    explicit Impl(const std::string& path) : logger("jorv", std::make_shared<AppendingSink>(path)) {
        logger.set_level(spdlog::level::trace);
        // The default handler writes to standard error.
        logger.set_error_handler([](const std::string&) {});
    }
    spdlog::logger logger;
};

LogFile::LogFile(const std::string& path) : impl_(std::make_unique<Impl>(path)) {}

LogFile::~LogFile() = default;

void LogFile::Write(int level, std::string_view text) noexcept {
    try {
        std::string line(text);
        std::replace_if(
            line.begin(), line.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
        impl_->logger.log(level >= kErrorLevel ? spdlog::level::err : spdlog::level::info,
                          spdlog::string_view_t(line.data(), line.size()));
    } catch (...) {
        // Nobody can be told.
        return;
    }
}

}  // namespace refstore
