#include "refstore/log.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <span>

#include "refstore/config/settings.h"
#include "storage/log.h"

namespace refstore {

namespace {

std::string Now() {
    std::timespec now = {};
    std::timespec_get(&now, TIME_UTC);
    std::tm parts = {};
    ::gmtime_r(&now.tv_sec, &parts);
    std::array<char, 32> text = {};
    std::string time(text.data(), std::strftime(text.data(), text.size(), "%FT%T", &parts));
    std::snprintf(text.data(), text.size(), ".%03ldZ", now.tv_nsec / 1000000);
    return time + text.data();
}

// Opened at the first record.
const LogFile& TheLog() {
    static const LogFile log(GetSettings().logFile);
    return log;
}

}  // namespace

LogFile::LogFile(const std::string& path) {
    struct stat attributes = {};
    if (::lstat(path.c_str(), &attributes) == 0 && !S_ISREG(attributes.st_mode)) {
        return;
    }
    // A link at the log's name is not followed: it could lead into a share.
    Descriptor file = OpenFile(path, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOFOLLOW, 0644);
    if (file && ::fstat(file.Get(), &attributes) == 0 && S_ISREG(attributes.st_mode)) {
        file_ = std::move(file);
    }
}

void LogFile::Write(int level, std::string_view text) const {
    constexpr int kErrorLevel = 8;
    std::string line(text);
    std::ranges::replace_if(
        line, [](char c) { return c == '\n' || c == '\r'; }, ' ');
    line = Now() + (level >= kErrorLevel ? " error " : " info ") + line + '\n';
    // One call for the whole line, so that lines of several threads and processes do not mix.
    WriteAll(file_.Get(), std::as_bytes(std::span(line)));
}

}  // namespace refstore

void JORV_LOG(int level, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    try {
        const int length = std::vsnprintf(nullptr, 0, format, arguments);
        if (length >= 0) {
            std::string text(static_cast<std::size_t>(length), '\0');
            std::vsnprintf(text.data(), text.size() + 1, format, again);
            refstore::TheLog().Write(level, text);
        }
    } catch (...) {
        // Logging never fails: not even when the configuration, which names the log, is unusable.
        // The next call that asks for a setting reports it.
    }
    va_end(again);
    va_end(arguments);
}
