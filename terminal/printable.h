#pragma once

#include <string>
#include <string_view>

namespace terminal {

/// Length in bytes of the UTF-8 character that `text` begins with; 0 when there is none.
std::size_t Utf8Length(std::string_view text);

[[nodiscard]] bool IsUtf8(std::string_view text);

/// A name for terminals and pages: as OneLine, and also as "\x" with two hexadecimal digits each
/// byte that is not UTF-8 and each byte of a character that steers a terminal or the direction of
/// text. Two different names never look the same.
std::string Printable(std::string_view name);

}  // namespace terminal
