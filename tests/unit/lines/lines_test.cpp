#include "lines/lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>

namespace {

TEST(Catalogue, IdsAreLowerCaseWordsJoinedByHyphens) {
    for (const lines::Line* const line : lines::kAll) {
        EXPECT_THAT(std::string(line->id), testing::MatchesRegex("[a-z]+(-[a-z]+)*"));
    }
}

TEST(Catalogue, EveryLineSaysWhatItMeansInWholeSentences) {
    for (const lines::Line* const line : lines::kAll) {
        EXPECT_TRUE(line->meaning.ends_with('.')) << line->id;
        EXPECT_TRUE(line->advice.empty() || line->advice.ends_with('.')) << line->id;
    }
}

TEST(Catalogue, NoTextStandsTwice) {
    for (const lines::Line* const line : lines::kAll) {
        EXPECT_EQ(std::ranges::count_if(
                      lines::kAll, [&](const auto* other) { return other->text == line->text; }),
                  1)
            << line->id;
    }
}

TEST(Catalogue, EveryLineButProgressHasItsEnd) {
    for (const lines::Line* const line : lines::kAll) {
        const bool isOpen = line == &lines::kProgress || line->kind == lines::Kind::kNeverPrinted;
        EXPECT_EQ(line->text.ends_with('\n'), !isOpen) << line->id;
    }
}

/// The pattern that the manual page gives for the journal.
std::string WatchPattern() {
    std::ifstream page(JORVCK_MANUAL_PAGE);
    for (std::string text; std::getline(page, text);) {
        const auto begin = text.find("-g '");
        if (text.starts_with("journalctl ") && begin != std::string::npos && text.back() == '\'') {
            return text.substr(begin + 4, text.size() - begin - 5);
        }
    }
    return {};
}

TEST(Catalogue, TheWatchOfTheManualPageShowsEveryFindingAndEveryCheckThatFailed) {
    const std::string pattern = WatchPattern();
    ASSERT_FALSE(pattern.empty());
    for (const lines::Line* const line : lines::kAll) {
        // The usage text comes from a wrong command line, which a unit does not have.
        const bool isWatched =
            line->kind == lines::Kind::kFinding ||
            (line->kind == lines::Kind::kCannotGoOn && !line->id.starts_with("usage"));
        if (isWatched) {
            EXPECT_THAT(std::string(line->text), testing::ContainsRegex(pattern)) << line->id;
        }
    }
}

}  // namespace
