#pragma once

namespace Corvane::Kst::Marlow::JorvCk {

/// One run of the checker: parses main's arguments, runs one mode, reports on the standard streams.
///
/// @return 0 when the mode ran to its end, whatever it found; -1 when the usage text was printed or
///         an exception ended the run. Lets no exception out.
int Run(int argc, char** argv);

}  // namespace Corvane::Kst::Marlow::JorvCk
