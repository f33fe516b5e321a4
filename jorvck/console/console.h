#pragma once

#include <string_view>

namespace Corvane::Kst::Marlow::JorvCk {

/// The one way in which the checker writes to its standard streams.
///
/// A text is handed over whole, written with one call and flushed, so that lines of different
/// threads rarely mix. A text that cannot be written, as on a full disk, is lost and the next one
/// is tried. A pipe that nobody reads any more ends the process by SIGPIPE, as it ends every
/// filter. Any thread may call these.
///
/// WriteError and WriteOutput allocate nothing, for what is told when memory has run out.
void WriteError(std::string_view text);
void WriteOutput(std::string_view text);

/// The text with a newline behind it.
void WriteErrorLine(std::string_view line);
void WriteOutputLine(std::string_view line);

}  // namespace Corvane::Kst::Marlow::JorvCk
