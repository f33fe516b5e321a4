#pragma once

#include <stdexcept>

namespace jorvshare {

/// A run that cannot go on, for a reason that the user can act upon. what() is one line without a
/// newline.
class ToolError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace jorvshare
