#include "jorvck/join_text.h"

#include <gtest/gtest.h>

namespace {

using Corvane::Kst::Marlow::JorvCk::JoinText;

TEST(JoinText, ASlashIsPutBetweenDirectoryAndName) {
    EXPECT_EQ(JoinText("/s", "map"), "/s/map");
    EXPECT_EQ(JoinText("s", "map"), "s/map");
}

TEST(JoinText, ADirectoryThatEndsInASlashGetsNoSecondOne) {
    EXPECT_EQ(JoinText("/s/", "map"), "/s/map");
    EXPECT_EQ(JoinText("/", "map"), "/map");
    EXPECT_EQ(JoinText("/s//", "map"), "/s//map");
}

TEST(JoinText, AnEmptyDirectoryDoesNotEndInASlash) {
    EXPECT_EQ(JoinText("", "map"), "/map");
    EXPECT_EQ(JoinText("", ""), "/");
}

TEST(JoinText, AnEmptyNameLeavesTheDirectoryEndingInASlash) {
    EXPECT_EQ(JoinText("/s", ""), "/s/");
    EXPECT_EQ(JoinText("/s/", ""), "/s/");
}

TEST(JoinText, TheNameIsTextAndNotAPath) {
    EXPECT_EQ(JoinText("/s", "/map"), "/s//map");
    EXPECT_EQ(JoinText("/s", "../map"), "/s/../map");
    EXPECT_EQ(JoinText("/s/.", "."), "/s/./.");
}

TEST(JoinText, BytesThatAreNoCharactersStay) {
    using std::string_view_literals::operator""sv;
    EXPECT_EQ(JoinText("\xFF\n"sv, "a\0b"sv), "\xFF\n/a\0b"sv);
}

}  // namespace
