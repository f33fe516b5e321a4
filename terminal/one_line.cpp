#include "terminal/one_line.h"

namespace terminal {

std::string OneLine(std::string_view message) {
    std::string line;
    line.reserve(message.size());
    for (const char letter : message) {
        const auto byte = static_cast<unsigned char>(letter);
        if (letter == '\n') {
            line += "\\n";
        } else if (letter == '\r') {
            line += "\\r";
        } else if (letter == '\t') {
            line += "\\t";
        } else if (letter == '\\') {
            line += "\\\\";
        } else if (byte < 0x20 || byte == 0x7f) {
            line += "\\x" + Hex(std::as_bytes(std::span(&letter, 1)));
        } else {
            line += letter;
        }
    }
    return line;
}

std::string Hex(std::span<const std::byte> bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const std::byte byte : bytes) {
        const auto value = std::to_integer<unsigned>(byte);
        text += kDigits[value >> 4U];
        text += kDigits[value & 15U];
    }
    return text;
}

std::string Count(std::uint64_t number, std::string_view one, std::string_view many) {
    return std::to_string(number) + " " + std::string(number == 1 ? one : many);
}

}  // namespace terminal
