#include "lines/lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
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

}  // namespace
