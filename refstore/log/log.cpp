#include "storage/log.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <vector>

#include "refstore/config/settings.h"
#include "refstore/log/log_file.h"

namespace {

// Opened at the first record.
refstore::LogFile& TheLog() {
    static refstore::LogFile log(refstore::GetSettings().logFile);
    return log;
}

}  // namespace

void JORV_LOG(int level, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    try {
        const int length = std::vsnprintf(nullptr, 0, format, arguments);
        if (length >= 0) {
            std::vector<char> text(static_cast<std::size_t>(length) + 1);
            std::vsnprintf(text.data(), text.size(), format, again);
            TheLog().Write(level, {text.data(), static_cast<std::size_t>(length)});
        }
    } catch (...) {
        // Logging never fails: not even when the configuration, which names the log, is unusable.
        // Whoever asks for a setting next is told.
    }
    va_end(again);
    va_end(arguments);
}
