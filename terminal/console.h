#pragma once

#include <string_view>

namespace terminal {

/// The one way in which the tools write to their standard streams: results on standard output,
/// warnings and errors on standard error. Each text is written whole, without a buffer.
///
/// A standard output that cannot be written (a full disk) is a ToolError, one that nobody reads any
/// more Interrupted by SIGPIPE. A standard error that cannot be written is ignored.
///
/// Messages hold names as they are; each is made one line here, see OneLine.

/// `text` on standard output, unchanged.
void PrintResult(std::string_view text);

/// "<message>" on standard output.
void PrintSummary(std::string_view message);

/// "<program>: warning: <message>" on standard error.
void PrintWarning(std::string_view program, std::string_view message);

/// "<program>: <message>" on standard error.
void PrintError(std::string_view program, std::string_view message);

/// `text` on standard error, unchanged.
void PrintDiagnostic(std::string_view text);

}  // namespace terminal
