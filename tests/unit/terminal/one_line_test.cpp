#include "terminal/one_line.h"

#include <gtest/gtest.h>

#include <array>

namespace {

using terminal::OneLine;

TEST(OneLine, PrintableTextAndBytesAbove127StandAsTheyAre) {
    std::string text;
    for (int byte = ' '; byte < 256; ++byte) {
        if (byte != '\\' && byte != 0x7f) {
            text += static_cast<char>(byte);
        }
    }
    EXPECT_EQ(OneLine(text), text);
    EXPECT_EQ(OneLine(""), "");
}

TEST(OneLine, ControlCharactersAreWrittenOut) {
    std::string text;
    for (char byte = 0; byte < ' '; ++byte) {
        text += byte;
    }
    EXPECT_EQ(OneLine(text + '\x7f'),
              R"(\x00\x01\x02\x03\x04\x05\x06\x07\x08\t\n\x0b\x0c\r\x0e\x0f)"
              R"(\x10\x11\x12\x13\x14\x15\x16\x17\x18\x19\x1a\x1b\x1c\x1d\x1e\x1f\x7f)");
}

TEST(OneLine, ABackslashIsDoubledSoThatNoNameLooksLikeAnother) {
    EXPECT_EQ(OneLine("a\nb"), R"(a\nb)");
    EXPECT_EQ(OneLine(R"(a\nb)"), R"(a\\nb)");
    EXPECT_EQ(OneLine("a\\\nb"), R"(a\\\nb)");
}

TEST(Hex, EveryByteGivesTwoDigits) {
    const std::array<std::byte, 4> bytes = {std::byte{0}, std::byte{0x0f}, std::byte{0xa0},
                                            std::byte{0xff}};
    EXPECT_EQ(terminal::Hex(bytes), "000fa0ff");
    EXPECT_EQ(terminal::Hex({}), "");
}

}  // namespace
