#include "jorvshare/report/console.h"

#include <unistd.h>

#include <cerrno>
#include <span>

#include "jorvshare/report/one_line.h"
#include "jorvshare/report/tool_error.h"
#include "jorvshare/report/wording.h"
#include "refstore/base/posix.h"

namespace jorvshare {

void PrintResult(std::string_view text) {
    if (!refstore::WriteAll(STDOUT_FILENO, std::as_bytes(std::span(text)))) {
        throw ToolError(wording::Errno("standard output", errno));
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
    refstore::WriteAll(STDERR_FILENO, std::as_bytes(std::span(text)));
}

}  // namespace jorvshare
