#pragma once

#include <string>

namespace jorv {

/// Text of the current call stack, the caller's frame first: "stack trace:" and a newline, then one
/// line per frame, two blanks in front, as FormatFrame writes it.
///
/// @param maxFrames frames to list at most; the frame of this function is not among them.
///
/// Does not fail: an empty capture gives one line that says so. Any thread may call it.
std::string get_backtrace(unsigned int maxFrames);

/// Buffer for demangled names, 256 bytes at first. The demangler may enlarge it; the larger one is
/// kept for the next name.
class NameBuffer {
  public:
    NameBuffer();
    ~NameBuffer();
    NameBuffer(const NameBuffer&) = delete;
    NameBuffer& operator=(const NameBuffer&) = delete;

    /// The demangled name, valid until the next call, or null when `mangled` is no mangled name.
    const char* Demangle(const char* mangled);

  private:
    char* data_;
    std::size_t size_;
};

/// Turns one line of backtrace_symbols, "module(mangled+offset) [address]", into
/// "  name+offset" and a newline: demangled where that works, the name as it stands where it does
/// not. A line of another shape is copied whole. Module and address are left out on purpose.
std::string FormatFrame(const std::string& line, NameBuffer& names);

}  // namespace jorv
