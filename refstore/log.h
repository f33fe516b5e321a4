#pragma once

#include <string>
#include <string_view>

#include "refstore/base/posix.h"

namespace refstore {

/// The log: one line per record, appended to a regular file that is made when it is missing. A log
/// that cannot be opened or written is ignored, directories above it are not made, and nothing goes
/// to standard output or standard error. Any thread may write.
class LogFile {
  public:
    explicit LogFile(const std::string& path);

    /// Appends "<time> <level> <text>": the time in UTC as 2024-01-31T23:59:59.999Z, "error" for
    /// level 8 and above, "info" below. Line ends in `text` become blanks. May run out of memory
    /// with std::bad_alloc.
    void Write(int level, std::string_view text) const;

  private:
    Descriptor file_;
};

}  // namespace refstore
