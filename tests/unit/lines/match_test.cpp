#include "lines/match.h"

#include <gtest/gtest.h>

#include <string>

#include "lines/lines.h"

namespace {

using lines::Match;
using lines::Values;

TEST(Match, ALineWithoutValuesIsItsText) {
    EXPECT_TRUE(Match(lines::kHeaderLoadFailed, "[ERROR]: header file load failed!\n"));
    EXPECT_FALSE(Match(lines::kHeaderLoadFailed, "[ERROR]: header file load failed!"));
    EXPECT_FALSE(Match(lines::kHeaderLoadFailed, "[ERROR]: header file load failed!\n\n"));
    EXPECT_FALSE(Match(lines::kHeaderLoadFailed, " [ERROR]: header file load failed!\n"));
    EXPECT_FALSE(Match(lines::kHeaderLoadFailed, ""));
}

TEST(Match, ValuesAreTakenOut) {
    const auto values =
        Match(lines::kCorruptHeader, "[ERROR]: corrupt header file /s/head/f found\n");
    ASSERT_TRUE(values);
    EXPECT_EQ(values->at(0), "/s/head/f");
}

TEST(Match, ALineEndInFrontMayBeMissing) {
    EXPECT_TRUE(Match(lines::kCheckFailed, "\n[ERROR]: Failed to check data for file: /f\n"));
    EXPECT_TRUE(Match(lines::kCheckFailed, "[ERROR]: Failed to check data for file: /f\n"));
}

TEST(Match, ANumberIsDecimal) {
    EXPECT_TRUE(Match(lines::kProcessFailed, "[ERROR]: extent file process failed74\n"));
    EXPECT_TRUE(Match(lines::kProcessFailed, "[ERROR]: extent file process failed-5\n"));
    EXPECT_FALSE(Match(lines::kProcessFailed, "[ERROR]: extent file process failed\n"));
    EXPECT_FALSE(Match(lines::kProcessFailed, "[ERROR]: extent file process failed-\n"));
    EXPECT_FALSE(Match(lines::kProcessFailed, "[ERROR]: extent file process failed7x\n"));
}

TEST(Match, ANameThatHoldsTheTextAfterItIsTakenWhole) {
    const std::string name = "/mnt/jorv/7/7/a header size: 1 extent size: 2";
    const std::string text =
        "[ERROR]: File size in header and extent doesn't match, file: " + name +
        " header size: 30 extent size: 40\n";
    const auto values = Match(lines::kSizeMismatch, text);
    ASSERT_TRUE(values);
    EXPECT_EQ(values->at(0), name);
    EXPECT_EQ(values->at(1), "30");
    EXPECT_EQ(values->at(2), "40");
}

TEST(Match, ANameMayHoldLineEnds) {
    const auto values = Match(lines::kUnknownDcid, "[ERROR]: Cannot find dcid: 70 file: /a\nb\n");
    ASSERT_TRUE(values);
    EXPECT_EQ(values->at(0), "70");
    EXPECT_EQ(values->at(1), "/a\nb");
}

// Filled with values, each line is recognised and gives them back.
TEST(Match, EveryLineOfTheCatalogueMatchesItself) {
    for (const lines::Line* line : lines::kAll) {
        std::string text(line->text);
        Values given = {};
        std::size_t number = 0;
        for (std::size_t at = text.find("{}"); at != std::string::npos; at = text.find("{}")) {
            given.at(number) = line->values.at(number).isNumber ? "12" : "/a b";
            text.replace(at, 2, given.at(number));
            ++number;
        }
        const auto values = Match(*line, text);
        ASSERT_TRUE(values) << line->id;
        EXPECT_EQ(*values, given) << line->id;
    }
}

}  // namespace
