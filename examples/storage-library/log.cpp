#include "storage/log.h"

#include <cstdarg>
#include <cstdio>
#include <memory>

#include "text_file.h"

void JORV_LOG(int level, const char* format, ...) {
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    try {
        const std::unique_ptr<std::FILE, Close> log(
            std::fopen(text_storage::StoragePath("log").c_str(), "ae"));
        if (log != nullptr) {
            std::va_list arguments;
            va_start(arguments, format);
            std::fprintf(log.get(), "%d ", level);
            std::vfprintf(log.get(), format, arguments);
            std::fputc('\n', log.get());
            va_end(arguments);
        }
    } catch (...) {
        // Logging never fails.
        return;
    }
}
