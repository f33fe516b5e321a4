#pragma once

#include <cstdint>
#include <string>

#include "jorvshare/site/site_layout.h"
#include "storage/exception.h"
#include "terminal/console.h"
#include "terminal/progress.h"
#include "terminal/tool_error.h"

namespace jorvshare {

/// A file of the input, a source's or a share's, that cannot be read or is damaged. A run that
/// keeps going passes over it; any other failure ends the run.
class InputError : public terminal::ToolError {
  public:
    using ToolError::ToolError;
};

/// Returns what `read` returns. A failure in it, by a ToolError or an exception of the library's,
/// is an InputError with the same message.
template <typename Read>
auto OrInputError(const Read& read) -> decltype(read()) {
    try {
        return read();
    } catch (const terminal::ToolError& error) {
        throw InputError(error.Message());
    } catch (const Corvane::Kst::Marlow::Jorv::SysException& error) {
        throw InputError(error.what());
    }
}

/// Passes over input that cannot be read where that is wanted, with a line for each. One thread.
class KeepGoing {
  public:
    explicit KeepGoing(bool wanted) : wanted_(wanted) {}

    /// Runs `work`, which may throw InputError.
    ///
    /// @param what   begins the line of a failure.
    /// @param bar    wiped before a line; may be null.
    /// @return whether the work was done.
    template <typename Work>
    bool Try(const std::string& what, terminal::Progress* bar, const Work& work) {
        try {
            work();
            return true;
        } catch (const InputError& error) {
            if (!wanted_) {
                throw;
            }
            if (bar != nullptr) {
                bar->Clear();
            }
            terminal::PrintError(kProgram, what + error.Message());
            ++failed_;
            return false;
        }
    }

    [[nodiscard]] std::uint64_t Failed() const { return failed_; }

  private:
    bool wanted_;
    std::uint64_t failed_ = 0;
};

}  // namespace jorvshare
