#include "terminal/one_line.h"

namespace terminal {

std::string OneLine(std::string_view message) {
    constexpr std::string_view kDigits = "0123456789abcdef";
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
            line += "\\x";
            line += kDigits[byte >> 4U];
            line += kDigits[byte & 15U];
        } else {
            line += letter;
        }
    }
    return line;
}

}  // namespace terminal
