#pragma once

namespace jorvaudit {

/// The whole program. Returns its exit status.
int RunCommandLine(int argc, const char* const* argv);

}  // namespace jorvaudit
