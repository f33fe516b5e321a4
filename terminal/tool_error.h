#pragma once

#include <exception>
#include <string>
#include <utility>

namespace terminal {

/// A run that cannot go on, for a reason that the user can act upon: a message without a line end
/// of its own. Names in it are raw; PrintError makes it one line.
class ToolError : public std::exception {
  public:
    explicit ToolError(std::string message) : message_(std::move(message)) {}

    /// The whole message. what() ends at a NUL byte, which a key of a recipe may hold.
    [[nodiscard]] const std::string& Message() const { return message_; }
    [[nodiscard]] const char* what() const noexcept override { return message_.c_str(); }

  private:
    std::string message_;
};

/// "<path>: <system's text> (errno <code>)"
std::string Errno(const std::string& path, int code);

}  // namespace terminal
