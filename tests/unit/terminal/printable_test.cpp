#include "terminal/printable.h"

#include <gtest/gtest.h>

namespace {

using terminal::IsUtf8;
using terminal::Printable;

TEST(Printable, TextOfAnyScriptStays) {
    EXPECT_EQ(Printable("a b-c_1.txt"), "a b-c_1.txt");
    EXPECT_EQ(Printable("\xc3\xa4\xe6\x97\xa5\xf0\x9f\x98\x80"),
              "\xc3\xa4\xe6\x97\xa5\xf0\x9f\x98\x80");
}

TEST(Printable, ControlCharactersAndBackslashesAreWrittenOut) {
    EXPECT_EQ(Printable("a\nb\\n\x1b[31m\x7f"), "a\\nb\\\\n\\x1b[31m\\x7f");
}

TEST(Printable, BytesThatAreNotUtf8AreWrittenOut) {
    EXPECT_EQ(Printable("\xff\xfe"), "\\xff\\xfe");
    EXPECT_EQ(Printable("\xc3"), "\\xc3");
    EXPECT_EQ(Printable("\xc0\xaf"), "\\xc0\\xaf") << "overlong";
    EXPECT_EQ(Printable("\xe0\x9f\xbf"), "\\xe0\\x9f\\xbf") << "overlong";
    EXPECT_EQ(Printable("\xed\xa0\x80"), "\\xed\\xa0\\x80") << "a surrogate";
    EXPECT_EQ(Printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80") << "above the last";
    EXPECT_EQ(Printable("\xe6\x97x"), "\\xe6\\x97x");
}

TEST(Printable, CharactersThatSteerTheTerminalOrTheTextAreWrittenOut) {
    EXPECT_EQ(Printable("\xc2\x9b"), "\\xc2\\x9b") << "the eight-bit CSI";
    EXPECT_EQ(Printable("a\xe2\x80\xaetxt"), "a\\xe2\\x80\\xaetxt") << "right to left";
    EXPECT_EQ(Printable("\xe2\x80\xa8"), "\\xe2\\x80\\xa8") << "a line separator";
    EXPECT_EQ(Printable("\xc2\xa0\xe2\x80\x94"), "\xc2\xa0\xe2\x80\x94") << "a dash does not";
}

TEST(IsUtf8, KnowsTheBoundaries) {
    EXPECT_TRUE(IsUtf8(""));
    EXPECT_TRUE(IsUtf8("\xf4\x8f\xbf\xbf"));
    EXPECT_TRUE(IsUtf8("\xed\x9f\xbf\xee\x80\x80"));
    EXPECT_FALSE(IsUtf8("a\x80"));
    EXPECT_FALSE(IsUtf8("\xf5\x80\x80\x80"));
}

}  // namespace
