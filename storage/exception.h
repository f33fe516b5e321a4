#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

namespace Corvane::Kst::Marlow::Jorv {

/// Base of every exception that the storage library throws on purpose.
///
/// A library throws this type itself only for a failure that is not a finding about the share, such
/// as an unusable configuration of its own.
class Exception : public std::exception {
  public:
    Exception() = default;

    /// Keeps a copy of `message` for what().
    explicit Exception(std::string message) : message_(std::move(message)) {}

    /// The message text. The exception owns it.
    [[nodiscard]] const char* what() const noexcept override { return message_.c_str(); }

  private:
    std::string message_;
};

/// A failed operation on a stored structure. The checks report it as a finding where they load
/// header files and extents.
class SysException : public Exception {
  public:
    /// @param errorNumber errno value of the failing call, or one that the library chose.
    /// @param stackTrace  call stack at the point of the throw, as text; may be empty.
    /// @param message     text that what() returns.
    SysException(std::int32_t errorNumber, std::string stackTrace, std::string message)
        : errorNumber_(errorNumber),
          stackTrace_(std::move(stackTrace)),
          sysMessage_(std::move(message)) {}

    [[nodiscard]] std::int32_t GetErrorNumber() const noexcept { return errorNumber_; }
    [[nodiscard]] const std::string& GetStackTrace() const noexcept { return stackTrace_; }

    /// The message alone, never the stack trace.
    [[nodiscard]] const char* what() const noexcept override { return sysMessage_.c_str(); }

  private:
    std::int32_t errorNumber_;
    std::string stackTrace_;
    std::string sysMessage_;
};

}  // namespace Corvane::Kst::Marlow::Jorv
