#include "terminal/printable.h"

#include <array>

#include "terminal/one_line.h"

namespace terminal {

namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

constexpr bool IsBetween(unsigned char byte, unsigned char low, unsigned char high) {
    return byte >= low && byte <= high;
}

unsigned char ByteAt(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

// The length that a first byte announces, and the range of the byte after it: only that byte tells
// overlong forms, surrogates and what lies above the last character.
struct Lead {
    unsigned char first, last;
    std::size_t length;
    unsigned char low, high;
};
constexpr std::array<Lead, 8> kLeads = {{{0xc2, 0xdf, 2, 0x80, 0xbf},
                                         {0xe0, 0xe0, 3, 0xa0, 0xbf},
                                         {0xe1, 0xec, 3, 0x80, 0xbf},
                                         {0xed, 0xed, 3, 0x80, 0x9f},
                                         {0xee, 0xef, 3, 0x80, 0xbf},
                                         {0xf0, 0xf0, 4, 0x90, 0xbf},
                                         {0xf1, 0xf3, 4, 0x80, 0xbf},
                                         {0xf4, 0xf4, 4, 0x80, 0x8f}}};

// C1 controls, marks and overrides of the direction, separators of lines, the byte order mark.
bool Steers(std::string_view character) {
    if (character.size() == 2) {
        return ByteAt(character, 0) == 0xc2 && ByteAt(character, 1) < 0xa0;
    }
    if (character.size() != 3) {
        return false;
    }
    const unsigned char last = ByteAt(character, 2);
    if (character.starts_with("\xe2\x80")) {
        return IsBetween(last, 0x8b, 0x8f) || IsBetween(last, 0xa8, 0xae);
    }
    return (character.starts_with("\xe2\x81") && IsBetween(last, 0xa0, 0xaf)) ||
           character == "\xef\xbb\xbf";
}

}  // namespace

std::size_t Utf8Length(std::string_view text) {
    if (text.empty()) {
        return 0;
    }
    const unsigned char first = ByteAt(text, 0);
    if (first < 0x80) {
        return 1;
    }
    for (const Lead& lead : kLeads) {
        if (!IsBetween(first, lead.first, lead.last)) {
            continue;
        }
        if (text.size() < lead.length || !IsBetween(ByteAt(text, 1), lead.low, lead.high)) {
            return 0;
        }
        for (std::size_t at = 2; at < lead.length; ++at) {
            if (!IsBetween(ByteAt(text, at), 0x80, 0xbf)) {
                return 0;
            }
        }
        return lead.length;
    }
    return 0;
}

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = Utf8Length(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

std::string Printable(std::string_view name) {
    std::string text;
    text.reserve(name.size());
    while (!name.empty()) {
        const std::size_t length = Utf8Length(name);
        const std::string_view character = name.substr(0, length == 0 ? 1 : length);
        if (length == 1) {
            text += OneLine(character);
        } else if (length == 0 || Steers(character)) {
            for (const char letter : character) {
                const auto byte = static_cast<unsigned char>(letter);
                text += "\\x";
                text += kHexDigits[byte >> 4U];
                text += kHexDigits[byte & 15U];
            }
        } else {
            text += character;
        }
        name.remove_prefix(character.size());
    }
    return text;
}

}  // namespace terminal
