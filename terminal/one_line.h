#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace terminal {

/// A message as one line, also when the names in it hold other bytes: a line end as "\n", a
/// carriage return as "\r", a tab as "\t", other control characters as "\x" with two hexadecimal
/// digits, and a backslash, so that nothing looks like another name, as "\\". All other bytes are
/// not changed.
std::string OneLine(std::string_view message);

/// Two lower-case hexadecimal digits per byte.
std::string Hex(std::span<const std::byte> bytes);

/// "1 file" or "2 files".
std::string Count(std::uint64_t number, std::string_view one, std::string_view many);

}  // namespace terminal
