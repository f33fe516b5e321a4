#include "jorvshare/report/console.h"

#include <unistd.h>

#include <cerrno>

#include "jorvshare/report/one_line.h"
#include "jorvshare/report/tool_error.h"
#include "jorvshare/report/wording.h"

namespace jorvshare {

namespace {

int WriteAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t put = ::write(descriptor, text.data(), text.size());
        if (put < 0 && errno == EINTR) {
            continue;
        }
        if (put < 0) {
            return errno;
        }
        text.remove_prefix(static_cast<std::size_t>(put));
    }
    return 0;
}

}  // namespace

void PrintResult(std::string_view text) {
    const int code = WriteAll(STDOUT_FILENO, text);
    if (code != 0) {
        throw ToolError(wording::Errno("standard output", code));
    }
}

void PrintSummary(const std::string& message) {
    PrintResult(OneLine(message) + "\n");
}

void PrintWarning(const std::string& message) {
    PrintDiagnostic("jorvshare: warning: " + OneLine(message) + "\n");
}

void PrintError(const std::string& message) {
    PrintDiagnostic("jorvshare: " + OneLine(message) + "\n");
}

void PrintDiagnostic(std::string_view text) {
    WriteAll(STDERR_FILENO, text);
}

}  // namespace jorvshare
