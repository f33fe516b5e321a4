#pragma once

#include <string>
#include <string_view>

namespace jorvshare {

/// The one way in which the tool writes to its standard streams: results on standard output,
/// warnings and errors on standard error. Each text is handed over whole and flushed.
///
/// Standard output is a result: when it cannot be written (a full disk behind a redirection, a
/// closed pipe) it is a ToolError. Standard error is not: what fails there is ignored.
///
/// Messages hold names as they are; each is made one line here, see OneLine.

/// `text` on standard output as it stands.
void PrintResult(std::string_view text);

/// "<message>" on standard output.
void PrintSummary(const std::string& message);

/// "jorvshare: warning: <message>" on standard error.
void PrintWarning(const std::string& message);

/// "jorvshare: <message>" on standard error.
void PrintError(const std::string& message);

/// `text` on standard error as it stands.
void PrintDiagnostic(std::string_view text);

}  // namespace jorvshare
