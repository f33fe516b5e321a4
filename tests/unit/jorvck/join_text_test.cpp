#include "jorvck/join_text.h"

#include <gtest/gtest.h>

#include <array>
#include <boost/filesystem/path.hpp>

namespace {

using Corvane::Kst::Marlow::JorvCk::AppendPaths;
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

TEST(AppendPaths, TheResultIsThatOfAPathObject) {
    using std::string_view_literals::operator""sv;
    constexpr std::array kParts = {""sv,   "/"sv,   "//"sv, "a"sv,   "/a"sv,
                                   "a/"sv, "/a/"sv, ".."sv, "a/b"sv, "\0\xFF\n"sv};
    for (const std::string_view first : kParts) {
        for (const std::string_view second : kParts) {
            for (const std::string_view third : kParts) {
                boost::filesystem::path path{std::string(first)};
                path /= std::string(second);
                path /= std::string(third);
                EXPECT_EQ(AppendPaths({first, second, third}), path.native());
            }
        }
    }
}

TEST(AppendPaths, FewerPartsAndNone) {
    EXPECT_EQ(AppendPaths({}), "");
    EXPECT_EQ(AppendPaths({"a"}), "a");
    EXPECT_EQ(AppendPaths({"/mnt", "2", "12", "/a/b.dat"}), "/mnt/2/12/a/b.dat");
}

}  // namespace
