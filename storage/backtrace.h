#pragma once

#include <cstddef>
#include <string>

namespace jorv {

/// Returns the current call stack as text: "stack trace:" and a newline, then one line per frame,
/// the caller's first, as FormatFrame writes it.
///
/// @param maxFrames largest number of frames listed. The frame of this function is not listed.
///
/// Does not fail: when no frame can be captured, the line "  <empty, possibly corrupt>" follows the
/// first. Prints nothing. Any thread may call it.
std::string get_backtrace(unsigned int maxFrames);

/// Buffer for demangled names, 256 bytes at first. The demangler may enlarge it; later names use
/// the larger buffer. One thread at a time.
class NameBuffer {
  public:
    NameBuffer();
    ~NameBuffer();
    NameBuffer(const NameBuffer&) = delete;
    NameBuffer& operator=(const NameBuffer&) = delete;

    /// Returns the demangled name, or null when `mangled` is not a mangled name. The text belongs
    /// to the buffer and is valid until the next call.
    const char* Demangle(const char* mangled);

  private:
    char* data_;
    std::size_t size_;
};

/// Returns the text for one line of backtrace_symbols.
///
/// "module(mangled+offset) [address]" becomes two blanks, the demangled name, "+", the offset and a
/// newline. Module and address are left out on purpose. A name that cannot be demangled is written
/// unchanged. A line of another shape is copied whole between the blanks and the newline.
std::string FormatFrame(const std::string& line, NameBuffer& names);

}  // namespace jorv
