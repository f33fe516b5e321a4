#pragma once

#include <string>
#include <string_view>

namespace jorvshare {

/// The one way in which the tool writes to its standard streams: results on standard output,
/// warnings and errors on standard error. Each text is handed over whole and flushed.
///
/// Standard output is a result: when it cannot be written (a full disk behind a redirection, a
/// closed pipe) PrintResult throws ToolError. Standard error is not: what fails there is ignored.
void PrintResult(std::string_view text);

/// "jorvshare: warning: <line>" on standard error.
void PrintWarning(const std::string& line);

/// "jorvshare: <line>" on standard error.
void PrintError(const std::string& line);

/// `text` on standard error as it stands.
void PrintDiagnostic(std::string_view text);

}  // namespace jorvshare
