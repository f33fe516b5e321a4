#include "jorvaudit/report.h"

#include <gmock/gmock.h>

#include <sstream>

#include "jorvaudit/report_json.h"
#include "terminal/tool_error.h"
#include "tests/support/temp_dir.h"

namespace {

using namespace jorvaudit;  // NOLINT(google-build-using-namespace)
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

Finding FileFinding(const Kind& kind, const std::string& name) {
    return {.kind = &kind, .name = name};
}

// A share of ten files that were all looked at.
Report Complete() {
    Report report;
    report.sharePath = "/s";
    report.layout = "files";
    report.started = 1000000000;
    report.ended = 1000000100;
    for (const What what : {What::kDirectories, What::kFiles, What::kHeaders, What::kExtents}) {
        report.tally[what] = {.lookedAt = 10, .thereAre = 10};
    }
    report.tally.AddFiles("a/b/c", 10);
    report.volumes = {{.path = "/v1", .containers = 3, .whole = true}};
    return report;
}

std::vector<std::string> Heads(const Report& report) {
    std::vector<std::string> heads;
    for (const Cause& cause : report.causes) {
        heads.push_back(std::string(cause.kind->id) + " " + cause.subject + " " +
                        std::to_string(cause.files));
    }
    return heads;
}

TEST(Compose, NothingFoundAndAllLookedAtIsSound) {
    Report report = Complete();
    Compose(&report);
    EXPECT_EQ(report.status, kSound);
    EXPECT_THAT(report.findings, IsEmpty());
    EXPECT_EQ(VerdictOf(report), "sound: everything was looked at");
    EXPECT_THAT(report.coverage, SizeIs(7)) << "no file data check without tables and identifier";
}

TEST(Compose, ASoundVerdictSaysThatTheFileDataCheckWasLeftOut) {
    Report report = Complete();
    report.layout = "tables";
    Compose(&report);
    EXPECT_EQ(VerdictOf(report),
              "sound: everything was looked at but file data, which takes --share_id");
    report.shareId = "7";
    EXPECT_EQ(
        VerdictOf(report),
        "sound: everything was looked at but file data, since all files are younger than --t");
    report.tally[What::kData] = {.lookedAt = 1, .thereAre = 1};
    EXPECT_EQ(VerdictOf(report), "sound: everything was looked at");
    report.tally[What::kData] = {};
    report.tally[What::kFiles] = {};
    EXPECT_EQ(VerdictOf(report), "sound: everything was looked at") << "there are no files";
}

TEST(Compose, DamageIs4AndWhatCouldNotBeLookedAt8) {
    Report damaged = Complete();
    damaged.findings = {FileFinding(kinds::kCorruptHeader, "f")};
    Compose(&damaged);
    EXPECT_EQ(damaged.status, kFound);
    Report unreadable = Complete();
    unreadable.findings = {FileFinding(kinds::kHeaderUnreadable, "f")};
    Compose(&unreadable);
    EXPECT_EQ(unreadable.status, kNotChecked);
    damaged.findings.push_back(unreadable.findings.front());
    Compose(&damaged);
    EXPECT_EQ(damaged.status, kFound | kNotChecked);
    EXPECT_THAT(damaged.affected, ElementsAre("f")) << "a file with two findings is one file";
}

TEST(Compose, LessThanAllIsAFindingOfItsOwn) {
    Report report = Complete();
    report.tally[What::kLocalData] = {.lookedAt = 9, .thereAre = 10};
    Compose(&report);
    ASSERT_THAT(report.findings, SizeIs(1));
    EXPECT_EQ(report.findings[0].kind, &kinds::kIncomplete);
    EXPECT_EQ(report.findings[0].name, "local data");
    EXPECT_EQ(report.findings[0].detail, "9 of 10");
    EXPECT_EQ(report.status, kNotChecked);
}

TEST(Compose, AShareThatWasNotCountedIsNotComplete) {
    Report report;
    report.counted = false;
    Compose(&report);
    EXPECT_THAT(report.findings, SizeIs(7));
    EXPECT_EQ(report.status, kNotChecked);
}

TEST(Compose, AnAcknowledgedFindingStaysAndDoesNotCount) {
    Report report = Complete();
    report.findings = {FileFinding(kinds::kCorruptHeader, "f")};
    report.findings[0].acknowledged = Acknowledgement{.date = "2026-11-21", .note = ""};
    Compose(&report);
    EXPECT_EQ(report.status, kSound);
    EXPECT_THAT(report.affected, ElementsAre("f"));
    EXPECT_TRUE(report.causes.at(0).acknowledged);
    EXPECT_EQ(VerdictOf(report), "all findings are acknowledged");
}

TEST(Compose, OneMissingContainerIsOneCause) {
    Report report = Complete();
    for (int i = 0; i < 5; ++i) {
        report.findings.push_back(FileFinding(kinds::kContainerMissing, "f" + std::to_string(i)));
        report.findings.back().containers = {70};
    }
    report.findings[0].containers = {70, 71};
    report.tally.named = IdsOf("64-71");
    Compose(&report);
    EXPECT_THAT(Heads(report), ElementsAre("container-missing 70 5", "container-missing 71 1"));
    EXPECT_EQ(report.coverage[5].count, (Count{.lookedAt = 8, .thereAre = 8}))
        << "looked for, and not found";
}

TEST(Compose, WithoutAVolumeContainersWereNotLookedFor) {
    Report report = Complete();
    report.findings = {FileFinding(kinds::kContainerMissing, "f")};
    report.findings[0].containers = {70};
    report.tally.named = IdsOf("70");
    report.volumes.clear();
    Compose(&report);
    EXPECT_THAT(Heads(report),
                ElementsAre("no-volume  0", "container-missing 70 1", "incomplete containers 0"));
    EXPECT_EQ(report.coverage[5].count, (Count{.lookedAt = 0, .thereAre = 1}));
    EXPECT_EQ(report.status, kFound | kNotChecked);
}

TEST(Compose, WhereNoVolumeCouldBeSearchedNoContainerWasLookedFor) {
    Report report = Complete();
    report.tally.named = IdsOf("70-72");
    report.volumes = {{.path = "/v1", .containers = 0, .whole = false}};
    Compose(&report);
    EXPECT_EQ(report.coverage[5].count, (Count{.lookedAt = 0, .thereAre = 3}));
    report = Complete();
    report.tally.named = IdsOf("70-72");
    report.volumes.clear();
    report.findings = {
        {.kind = &kinds::kVolumeTableUnreadable, .object = Object::kShare, .name = "t"}};
    Compose(&report);
    EXPECT_EQ(report.coverage[5].count, (Count{.lookedAt = 0, .thereAre = 3}));
}

TEST(Compose, NoVolumeIsNoFindingOfAShareThatNamesNoContainer) {
    Report report = Complete();
    report.volumes.clear();
    Compose(&report);
    EXPECT_EQ(report.status, kSound);
}

TEST(Compose, AnEmptyVolumeIsAFindingOnlyWhenContainersAreMissing) {
    Report report = Complete();
    report.volumes.push_back({.path = "/v2", .containers = 0, .whole = true});
    Compose(&report);
    EXPECT_EQ(report.status, kSound);
    report.findings = {FileFinding(kinds::kContainerMissing, "f")};
    report.findings[0].containers = {70};
    Compose(&report);
    EXPECT_THAT(Heads(report), ElementsAre("volume-empty /v2 0", "container-missing 70 1"));
}

TEST(Compose, ThousandsOfContainersOnAVolumeThatIsGoneAreOneCause) {
    Report report = Complete();
    for (std::uint64_t i = 0; i < 2000; ++i) {
        report.findings.push_back(FileFinding(kinds::kContainerMissing, "f" + std::to_string(i)));
        report.findings.back().containers = {64 + i};
    }
    report.findings.push_back(
        {.kind = &kinds::kVolumeMissing, .object = Object::kVolume, .name = "/v2"});
    Compose(&report);
    EXPECT_THAT(Heads(report), ElementsAre("volume-missing /v2 0", "container-missing  2000"));
}

TEST(Compose, AMovedShareIsOneCause) {
    Report report = Complete();
    report.tally.elsewhere = 10;
    report.findings = {FileFinding(kinds::kExtentsElsewhere, "f"),
                       FileFinding(kinds::kExtentsElsewhere, "g")};
    Compose(&report);
    EXPECT_THAT(Heads(report), ElementsAre("share-elsewhere  2"));
    report.tally.elsewhere = 2;
    Compose(&report);
    EXPECT_THAT(Heads(report), ElementsAre("extents-elsewhere  2"));
}

TEST(Compose, AMissingDirectoryIsTheCauseOfItsFiles) {
    Report report = Complete();
    report.findings = {FileFinding(kinds::kHeaderWithoutExtents, "a/f"),
                       FileFinding(kinds::kHeaderWithoutExtents, "a/g"),
                       FileFinding(kinds::kHeaderWithoutExtents, "b/f")};
    report.findings[0].group = report.findings[1].group = "map/a";
    Compose(&report);
    EXPECT_THAT(Heads(report),
                ElementsAre("header-without-extents map/a 2", "header-without-extents  1"));
}

TEST(Compose, IsTheSameWhenRepeated) {
    Report report = Complete();
    report.tally[What::kLocalData] = {.lookedAt = 9, .thereAre = 10};
    report.findings = {FileFinding(kinds::kCorruptHeader, "g"),
                       FileFinding(kinds::kCorruptHeader, "f"),
                       FileFinding(kinds::kCorruptHeader, "g")};
    Compose(&report);
    const std::vector<Finding> once = report.findings;
    Compose(&report);
    EXPECT_EQ(report.findings, once);
    EXPECT_THAT(once, SizeIs(3));
}

TEST(Merge, PartsAreAddedInAnyOrder) {
    std::vector<Report> parts;
    for (unsigned i = 1; i <= 3; ++i) {
        Report part = Complete();
        part.parts = 3;
        part.present = {4 - i};
        part.division = "d";
        part.ended += i;
        part.findings = {FileFinding(kinds::kCorruptHeader, "f" + std::to_string(i))};
        part.tally.named = IdsOf(std::to_string(63 + i));
        Compose(&part);
        EXPECT_EQ(part.status, kFound | kNotChecked) << "a part is not all";
        parts.push_back(part);
    }
    const Report two = Merge({parts[2], parts[0]});
    EXPECT_EQ(two.status, kFound | kNotChecked);
    EXPECT_EQ(VerdictOf(two), "incomplete: parts are missing");
    const Report all = Merge({parts[2], parts[0], parts[1]});
    EXPECT_EQ(all.status, kFound);
    EXPECT_THAT(all.affected, ElementsAre("f1", "f2", "f3"));
    EXPECT_EQ(all.tally[What::kFiles], (Count{.lookedAt = 30, .thereAre = 30}));
    EXPECT_EQ(RangesOf(all.tally.named), "64-66");
    EXPECT_EQ(all.ended, parts[2].ended);
}

TEST(Merge, WhatDoesNotBelongTogetherIsRefused) {
    Report part = Complete();
    part.parts = 2;
    part.present = {1};
    Report other = part;
    EXPECT_THROW(Merge({part, other}), terminal::ToolError) << "the same part";
    other.present = {2};
    other.sharePath = "/t";
    EXPECT_THROW(Merge({part, other}), terminal::ToolError) << "another share";
    EXPECT_THROW(Merge({}), terminal::ToolError);
}

TEST(Merge, PartsOfAnotherDivisionAreRefused) {
    Report part = Complete();
    part.parts = 3;
    part.present = {1};
    part.division = "one";
    Report other = part;
    other.present = {2};
    Report notCounted = part;
    notCounted.present = {3};
    notCounted.counted = false;
    notCounted.division.clear();
    EXPECT_EQ(Merge({part, other}).division, "one");
    EXPECT_EQ(Merge({part, other, notCounted}).status, kNotChecked)
        << "what was not looked at was not divided either";
    other.division = "two";
    EXPECT_THROW(Merge({part, other}), terminal::ToolError);
    EXPECT_THROW(Merge({part, notCounted, other}), terminal::ToolError);
    notCounted.present = {1};
    part.present = {3};
    EXPECT_THROW(Merge({notCounted, other, part}), terminal::ToolError);
    part.division.clear();
    other.division.clear();
    EXPECT_THROW(Merge({part, other}), terminal::ToolError) << "of an older version";
}

TEST(Tally, UpperDirectoriesAreFoldedAlikeInPartsAndAsAWhole) {
    Tally whole;
    Tally first;
    Tally second;
    for (int i = 0; i < 6000; ++i) {
        const std::string directory =
            "a" + std::to_string(i % 60) + "/b" + std::to_string(i) + "/c";
        whole.AddFiles(directory, 1);
        (i % 3 == 0 ? first : second).AddFiles(directory, 1);
    }
    EXPECT_THAT(whole.filesIn, SizeIs(60));
    EXPECT_THAT(first.filesIn, SizeIs(2000));
    first += second;
    EXPECT_EQ(first.filesIn, whole.filesIn);
    Tally few;
    few.AddFiles("a/b/c", 2);
    few.AddFiles("a/b", 1);
    few.AddFiles("", 1);
    EXPECT_THAT(few.filesIn, ElementsAre(std::pair("", 1), std::pair("a/b", 3)));
}

TEST(Ranges, AreWrittenAndRead) {
    for (const char* const text : {"", "64", "64-70", "64-70,80,90-18446744073709551615"}) {
        EXPECT_EQ(RangesOf(IdsOf(text)), text);
    }
    for (const char* const text : {"x", "64-", "70-64", "64,,65", "64;65", "-1"}) {
        EXPECT_THROW(IdsOf(text), terminal::ToolError) << text;
    }
}

TEST(ReportJson, AReportThatIsReadIsTheOneThatWasWritten) {
    Report report = Complete();
    report.shareId = "x\xff";
    report.hours = 24;
    report.parts = 3;
    report.present = {2};
    report.division = "d";
    report.tally.named = IdsOf("64-70");
    report.history = {{.ended = 900000000, .status = 4, .findings = 2, .files = 9}};
    Finding finding = FileFinding(kinds::kContainerMissing, "line\nend \xff\xc3\xa4");
    finding.group = "map/\xfe";
    finding.detail = "container 70";
    finding.containers = {70, 18446744073709551615ULL};
    finding.lines = {"[ERROR]: x"};
    finding.since = 900000000;
    finding.acknowledged = Acknowledgement{.date = "2026-11-21", .note = "known"};
    report.findings = {finding};
    Compose(&report);
    std::ostringstream text;
    WriteJson(report, text);
    for (const char letter : text.str()) {
        EXPECT_TRUE(letter == '\n' || (letter >= ' ' && letter <= '~'));
    }
    const test_support::TempDir directory;
    test_support::WriteFile(directory / "report.json", text.str());
    const Report read = ReadReport(directory.Path());
    std::ostringstream again;
    WriteJson(read, again);
    EXPECT_EQ(again.str(), text.str());
    EXPECT_EQ(read.findings[0].name, finding.name);
    EXPECT_EQ(read.findings[0].group, finding.group);
    EXPECT_EQ(read.shareId, "x\xff");
    EXPECT_EQ(read.division, "d");
}

TEST(ReportJson, WhatIsNoReportIsRefused) {
    const test_support::TempDir directory;
    const std::string path = directory / "r.json";
    EXPECT_THROW(ReadReport(path), terminal::ToolError);
    for (const char* const text :
         {"", "[]", "{}", "{\"format\":\"jorvaudit-report\",\"version\":2}", "{\"findings\":[{}]}",
          "{\"format\":\"jorvaudit-report\",\"version\":1}", "\"findings\"",
          "{\"findings\":[[]]}"}) {
        test_support::WriteFile(path, text);
        EXPECT_THROW(ReadReport(path), terminal::ToolError) << text;
    }
    for (const char* const text : {"5", "{}"}) {
        test_support::WriteFile(path, text);
        try {
            ReadReport(path);
        } catch (const terminal::ToolError& error) {
            EXPECT_THAT(error.Message(), testing::StartsWith(path + ": not a report: "));
        }
    }
}

TEST(ReportJson, EveryTruncationIsRefused) {
    Report report = Complete();
    report.findings = {FileFinding(kinds::kCorruptHeader, "f")};
    Compose(&report);
    std::ostringstream text;
    WriteJson(report, text);
    const test_support::TempDir directory;
    const std::string path = directory / "r.json";
    for (std::size_t length = 0; length + 2 < text.str().size(); ++length) {
        test_support::WriteFile(path, text.str().substr(0, length));
        EXPECT_THROW(ReadReport(path), terminal::ToolError) << length;
    }
}

TEST(Times, AreWrittenAndRead) {
    EXPECT_EQ(TimeText(0), "1970-01-01T00:00:00Z");
    EXPECT_EQ(TimeOf(TimeText(1795229999)), 1795229999);
    EXPECT_THROW(TimeOf("2026-11-21"), terminal::ToolError);
    EXPECT_THROW(TimeOf("2026-11-21T03:00:00Zx"), terminal::ToolError);
}

}  // namespace
