#include <cstdarg>
#include <cstdio>
#include <string>

#include "storage/log.h"
#include "tests/fake/script.h"

void JORV_LOG(int level, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text(4096, '\0');
    const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    text.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
    storage_fake::Script::Current().Enter("JORV_LOG " + std::to_string(level) + " " + text);
}
