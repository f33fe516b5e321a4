#include "lines/lines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <string>

namespace {

TEST(Catalogue, IdsAreLowerCaseWordsJoinedByHyphens) {
    const std::regex form("[a-z]+(-[a-z]+)*");
    for (const lines::Line* const line : lines::kAll) {
        EXPECT_TRUE(std::regex_match(std::string(line->id), form)) << line->id;
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
    const std::regex command("^journalctl .*-g '(.*)'$");
    std::smatch found;
    for (std::string text; std::getline(page, text);) {
        if (std::regex_match(text, found, command)) {
            return found[1];
        }
    }
    return {};
}

TEST(Catalogue, TheWatchOfTheManualPageShowsEveryFindingAndEveryCheckThatFailed) {
    const std::string pattern = WatchPattern();
    ASSERT_FALSE(pattern.empty());
    const std::regex watch(pattern);
    for (const lines::Line* const line : lines::kAll) {
        // The usage text comes from a wrong command line, which a unit does not have.
        const bool isWatched =
            line->kind == lines::Kind::kFinding ||
            (line->kind == lines::Kind::kCannotGoOn && !line->id.starts_with("usage"));
        EXPECT_TRUE(!isWatched || std::regex_search(std::string(line->text), watch)) << line->id;
    }
}

}  // namespace
