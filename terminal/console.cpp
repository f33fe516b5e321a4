#include "terminal/console.h"

#include <unistd.h>

#include <cerrno>

#include "terminal/interrupt.h"
#include "terminal/one_line.h"
#include "terminal/tool_error.h"

namespace terminal {

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
    if (code == EPIPE) {
        throw Interrupted{SIGPIPE};
    }
    if (code != 0) {
        throw ToolError(Errno("standard output", code));
    }
}

void PrintSummary(std::string_view message) {
    PrintResult(OneLine(message) + "\n");
}

void PrintWarning(std::string_view program, std::string_view message) {
    PrintDiagnostic(std::string(program) + ": warning: " + OneLine(message) + "\n");
}

void PrintError(std::string_view program, std::string_view message) {
    PrintDiagnostic(std::string(program) + ": " + OneLine(message) + "\n");
}

void PrintDiagnostic(std::string_view text) {
    WriteAll(STDERR_FILENO, text);
}

}  // namespace terminal
