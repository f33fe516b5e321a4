#include "jorvaudit/data_lines.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "lines/lines.h"
#include "tests/support/line_text.h"

namespace {

using namespace jorvaudit;  // NOLINT(google-build-using-namespace)
using test_support::LineText;
using testing::ElementsAre;
using testing::IsEmpty;

class DataLinesTest : public testing::Test {
  protected:
    // What the checker prints, divided as the audit divides it.
    std::vector<std::string> Read(const std::string& text) {
        std::ranges::sort(found_);
        DataLines lines({.mount = "/mnt/jorv/2/12/",
                         .fileOf = [&](const std::string& path) -> std::optional<std::string> {
                             return files_.contains(path) ? std::optional(path) : std::nullopt;
                         },
                         .hasExtents = [&](const std::string& path) { return path != "bare"; },
                         .found = &found_,
                         .volumesExplain = volumesExplain_,
                         .expected = &expected_});
        std::istringstream in(text);
        std::string line;
        while (std::getline(in, line)) {
            lines.Add(line);
        }
        notChecked_ = lines.NotChecked();
        total_ = lines.Total();
        std::vector<std::string> texts;
        for (const Finding& finding : lines.Findings()) {
            texts.push_back(std::string(finding.kind->id) + " " + finding.name);
        }
        return texts;
    }

    void Knows(const Kind& kind, const std::string& name) {
        found_.push_back({.kind = &kind, .name = name});
    }

    std::set<std::string> files_ = {"a/f", "g", "bare"};
    std::vector<Finding> found_;
    bool volumesExplain_ = false;
    std::set<std::string> expected_;
    std::uint64_t notChecked_ = 0;
    std::uint64_t total_ = 0;
};

const std::string kSummary =
    LineText(lines::kFileSummary, {"[ERROR]", "/a/f", "7", "1", "2", "3", "/x", "local"});

TEST_F(DataLinesTest, ASoundRunHasNoFinding) {
    EXPECT_THAT(Read(LineText(lines::kTotalFiles, {"25000"}) +
                     LineText(lines::kProgress, {"10000", "25000"}) +
                     LineText(lines::kProgress, {"20000", "25000"}) +
                     LineText(lines::kProgressEnd, {"25000", "25000"})),
                IsEmpty());
    EXPECT_EQ(total_, 25000U);
}

TEST_F(DataLinesTest, WhatFollowsProgressOnItsLineIsRead) {
    EXPECT_THAT(
        Read(LineText(lines::kProgress, {"10000", "25000"}) +
             LineText(lines::kProgress, {"20000", "25000"}) + LineText(lines::kTaskGotError, {})),
        ElementsAre("task-got-error file data check"));
}

TEST_F(DataLinesTest, EachLineBelongsToTheFileThatItNames) {
    EXPECT_THAT(
        Read(LineText(lines::kUnknownDcid, {"70", "/mnt/jorv/2/12/a/f"}) + kSummary +
             LineText(lines::kReservedDcid, {"3", "/mnt/jorv/2/12/g"}) +
             LineText(lines::kSizeMismatch, {"/mnt/jorv/2/12/g", "1", "2"}) +
             LineText(lines::kDataFileMissing, {"/mnt/jorv/2/12/a/f"}) +
             LineText(lines::kCheckFailed, {"/g"}) + LineText(lines::kCheckGotError, {"/g"})),
        ElementsAre("unknown-dcid a/f", "reserved-dcid g", "size-mismatch g",
                    "data-file-missing a/f", "check-failed g", "check-got-error g"));
    EXPECT_EQ(notChecked_, 1U);
}

TEST_F(DataLinesTest, AUsersPathMayLookLikeAMountedOne) {
    files_ = {"g", "mnt/jorv/2/12/g"};
    EXPECT_THAT(Read(LineText(lines::kSizeMismatch, {"/mnt/jorv/2/12/mnt/jorv/2/12/g", "1", "2"}) +
                     LineText(lines::kCheckFailed, {"/mnt/jorv/2/12/g"}) +
                     LineText(lines::kCheckGotError, {"/mnt/jorv/2/12/g"})),
                ElementsAre("size-mismatch mnt/jorv/2/12/g", "check-failed mnt/jorv/2/12/g",
                            "check-got-error mnt/jorv/2/12/g"));
}

TEST_F(DataLinesTest, AFileThatTheAuditDidNotListIsNotBelieved) {
    EXPECT_THAT(Read(LineText(lines::kUnknownDcid, {"70", "/mnt/jorv/2/12/none"}) +
                     LineText(lines::kUnknownDcid, {"70", "/mnt/jorv/3/13/g"})),
                IsEmpty());
}

TEST_F(DataLinesTest, WhatOtherPassesFoundIsNotSaidAgain) {
    Knows(kinds::kCorruptHeader, "a/f");
    Knows(kinds::kCorruptExtent, "g");
    EXPECT_THAT(Read(LineText(lines::kHeaderNotLoaded, {"checksum mismatch"}) +
                     LineText(lines::kMetaLoadFailed, {"/mnt/jorv/2/12/a/f"}) +
                     LineText(lines::kCheckFailed, {"/g"})),
                IsEmpty());
    EXPECT_THAT(Read(LineText(lines::kSizeMismatch, {"/mnt/jorv/2/12/g", "1", "2"})),
                ElementsAre("size-mismatch g"))
        << "which another damage does not explain";
}

TEST_F(DataLinesTest, AnUnknownContainerIsOneThatIsMissingOrThatTheCheckerDidNotSee) {
    const std::string text = LineText(lines::kUnknownDcid, {"70", "/mnt/jorv/2/12/g"}) +
                             LineText(lines::kContainersFailed, {"/v1"});
    EXPECT_THAT(Read(text), ElementsAre("unknown-dcid g", "loading-containers-failed /v1"));
    volumesExplain_ = true;
    EXPECT_THAT(Read(text), IsEmpty());
    volumesExplain_ = false;
    Knows(kinds::kContainerMissing, "g");
    EXPECT_THAT(Read(text), ElementsAre("loading-containers-failed /v1"));
}

TEST_F(DataLinesTest, AFileThatCouldNotBeBegunLacksItsExtentsOrNot) {
    EXPECT_THAT(Read(LineText(lines::kMetaLoadFailed, {"/mnt/jorv/2/12/bare"}) +
                     LineText(lines::kMetaLoadFailed, {"/mnt/jorv/2/12/g"})),
                ElementsAre("extent-missing bare", "meta-load-failed g"));
}

TEST_F(DataLinesTest, WhatConcernsTheRunIsSaidOnce) {
    EXPECT_THAT(
        Read(LineText(lines::kHeadersFailed, {"/m/head"}) + LineText(lines::kTaskGotError) +
             LineText(lines::kTaskGotError)),
        ElementsAre("loading-headers-failed file data check", "task-got-error file data check"));
    expected_ = {"vendor speaks\n"};
    EXPECT_THAT(Read("vendor speaks\nwhat is this\nand this\n"),
                ElementsAre("unknown-line file data check"));
}

}  // namespace
