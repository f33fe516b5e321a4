#pragma once

#include <string>

namespace Corvane::Kst::Marlow::JorvCk {

/// The one way in which the checker writes to its standard streams.
///
/// A text is handed over whole and written with one call, then flushed, so that lines of different
/// threads rarely mix. A stream that cannot be written is ignored: a finding that nobody can read
/// must not keep the next one from being looked for. Any thread may call these.
void WriteError(const std::string& text);
void WriteOutput(const std::string& text);

/// As above, with a newline behind the text.
void WriteErrorLine(std::string line);
void WriteOutputLine(std::string line);

}  // namespace Corvane::Kst::Marlow::JorvCk
