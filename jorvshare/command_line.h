#pragma once

namespace jorvshare {

/// Parses the command line, runs one command and returns the exit status: 0 done; 1 failed, or done
/// but for what was named; 2 a command line that is wrong. A run that was stopped by a signal ends
/// the process by that signal after it has taken back what it began. Main thread only.
int RunCommandLine(int argc, const char* const* argv);

}  // namespace jorvshare
