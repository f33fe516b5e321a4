#include "jorvaudit/judgement.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <csignal>

namespace {

using namespace jorvaudit;  // NOLINT(google-build-using-namespace)
using testing::ElementsAre;
using testing::IsEmpty;

constexpr FileEntry Whole(std::string name = "f") {
    return {
        .name = std::move(name), .header = Has::kFile, .extents = Has::kFile, .unit = Has::kFile};
}

CheckerVerdict Said(std::vector<KnownLine> lines, int status = 0) {
    return {.end = {.status = status, .signal = 0},
            .timedOut = false,
            .lines = std::move(lines),
            .unknown = {}};
}

std::vector<std::string> IdsFor(const FileEntry& file, const FileFacts& facts,
                                const CheckerVerdict& verdict, bool tables = false) {
    std::vector<std::string> ids;
    for (const Finding& finding : Judge("d/f", file, facts, verdict, tables)) {
        EXPECT_EQ(finding.name, "d/f");
        ids.emplace_back(finding.kind->id);
    }
    return ids;
}

Tally LookedAt(const FileEntry& file, const FileFacts& facts, const CheckerVerdict& verdict) {
    Tally tally;
    CountLookedAt(file, facts, verdict, &tally);
    return tally;
}

const CheckerVerdict kNothing = Said({});

TEST(Judge, ASoundFileHasNoFinding) {
    EXPECT_THAT(IdsFor(Whole(), {}, kNothing), IsEmpty());
    const Tally tally = LookedAt(Whole(), {}, kNothing);
    for (const What what : {What::kFiles, What::kHeaders, What::kExtents, What::kLocalData}) {
        EXPECT_EQ(tally[what].lookedAt, 1U);
    }
}

TEST(Judge, AHeaderThatDoesNotLoadIsDamagedOrUnreadableByItsErrorNumber) {
    const CheckerVerdict verdict =
        Said({{&lines::kHeaderLoadFailed, {}}, {&lines::kCorruptHeader, {"/s/head/d/f"}}});
    EXPECT_THAT(IdsFor(Whole(), {.headerError = EBADMSG}, verdict), ElementsAre("corrupt-header"));
    EXPECT_THAT(IdsFor(Whole(), {.headerError = EACCES}, verdict),
                ElementsAre("header-unreadable"));
    EXPECT_THAT(IdsFor(Whole(), {.headerError = EIO}, verdict), ElementsAre("header-unreadable"));
    EXPECT_THAT(IdsFor(Whole(), {}, verdict), ElementsAre("corrupt-header"))
        << "the checker's word counts where the audit's own look loaded it";
    EXPECT_THAT(Judge("f", Whole(), {.headerError = EBADMSG}, verdict, false)[0].lines,
                ElementsAre("[ERROR]: header file load failed!",
                            "[ERROR]: corrupt header file /s/head/d/f found"));
    EXPECT_EQ(LookedAt(Whole(), {.headerError = EBADMSG}, verdict)[What::kHeaders].lookedAt, 1U);
    EXPECT_EQ(LookedAt(Whole(), {.headerError = EIO}, verdict)[What::kHeaders].lookedAt, 0U);
}

TEST(Judge, ThreeLinesAboutTheSameExtentsAreOneFinding) {
    const CheckerVerdict verdict = Said({{&lines::kExtentLoadFailed, {}},
                                         {&lines::kCorruptExtent, {"/s/map/d/f"}},
                                         {&lines::kProcessFailed, {"74"}}});
    EXPECT_THAT(IdsFor(Whole(), {.extentsError = EBADMSG}, verdict), ElementsAre("corrupt-extent"));
    EXPECT_THAT(IdsFor(Whole(), {.extentsError = EACCES}, verdict),
                ElementsAre("extents-unreadable"));
    EXPECT_EQ(LookedAt(Whole(), {.extentsError = EBADMSG}, verdict)[What::kLocalData].lookedAt, 0U);
    EXPECT_THAT(IdsFor(Whole(), {}, Said({{&lines::kProcessFailed, {"74"}}})),
                ElementsAre("process-failed"));
}

TEST(Judge, IndependentDamageIsFoundSideBySide) {
    EXPECT_THAT(
        IdsFor(Whole(), {},
               Said({{&lines::kTransIdMismatch, {}}, {&lines::kChecksumFailed, {"/s/map/d/f"}}})),
        ElementsAre("transaction-mismatch", "checksum-failed"));
    EXPECT_THAT(IdsFor(Whole(), {},
                       Said({{&lines::kUnmatchedFingerprint, {"ab"}},
                             {&lines::kUnlistedDcid, {"70"}},
                             {&lines::kCorruptDcidList, {"/s/map/d/f"}}})),
                ElementsAre("corrupt-dcid-list", "unmatched-fingerprint"));
}

TEST(Judge, AChecksumOverAPartThatCouldBeReadIsAStorageUnitThatCannotBeRead) {
    EXPECT_THAT(
        IdsFor(Whole(), {.unitError = EIO}, Said({{&lines::kChecksumFailed, {"/s/map/d/f"}}})),
        ElementsAre("storage-unit-unreadable"));
}

TEST(Judge, AStorageUnitThatIsTooShortIsOneFindingWhateverTheCheckerSays) {
    const FileFacts cut = {.unitSize = 9, .unitNeeds = 10};
    EXPECT_THAT(IdsFor(Whole(), cut, kNothing), ElementsAre("storage-unit-cut"));
    EXPECT_EQ(Judge("f", Whole(), cut, kNothing, false)[0].detail, "has 9 bytes of 10");
    EXPECT_THAT(IdsFor(Whole(), cut,
                       Said({{&lines::kChecksumFailed, {"/s/map/d/f"}},
                             {&lines::kReadFailed, {"/s/map/d/f"}}})),
                ElementsAre("storage-unit-cut"));
    EXPECT_THAT(IdsFor(Whole(), {.unitError = EIO, .unitSize = 9, .unitNeeds = 10}, kNothing),
                ElementsAre("storage-unit-unreadable"));
    EXPECT_THAT(IdsFor(Whole(), {.unitSize = 10, .unitNeeds = 10}, kNothing), IsEmpty());
}

TEST(Judge, AHeaderWithoutExtentsIsAFindingUnlessATableFileIsEmpty) {
    FileEntry file = Whole();
    file.extents = Has::kNothing;
    EXPECT_THAT(IdsFor(file, {.size = 0}, kNothing, false), ElementsAre("header-without-extents"));
    EXPECT_THAT(IdsFor(file, {.size = 1}, kNothing, true), ElementsAre("header-without-extents"));
    EXPECT_THAT(IdsFor(file, {.size = 0}, kNothing, true), IsEmpty());
}

TEST(Judge, LocalDataThatIsNotThereIsNamedByWhatIsInItsPlace) {
    const CheckerVerdict verdict = Said({{&lines::kReadFailed, {"/s/map/d/f"}}});
    FileEntry file = Whole();
    EXPECT_THAT(IdsFor(file, {}, verdict), ElementsAre("read-failed"));
    EXPECT_THAT(IdsFor(file, {.unitError = EIO}, verdict), ElementsAre("storage-unit-unreadable"));
    file.unit = Has::kNothing;
    EXPECT_THAT(IdsFor(file, {}, verdict), ElementsAre("storage-unit-missing"));
    EXPECT_THAT(IdsFor(file, {}, kNothing), IsEmpty()) << "no extent needs it";
    file.unit = Has::kDirectory;
    EXPECT_THAT(IdsFor(file, {}, verdict), ElementsAre("storage-unit-not-a-file"));
    file.unit = Has::kOther;
    EXPECT_THAT(IdsFor(file, {}, kNothing), ElementsAre("storage-unit-not-a-file"))
        << "the checker passes over a FIFO in silence";
    EXPECT_THAT(IdsFor(Whole(), {.unitError = EACCES}, kNothing),
                ElementsAre("storage-unit-unreadable"))
        << "and over one that may not be opened";
}

TEST(Judge, MissingContainersAreNamed) {
    const auto findings = Judge("f", Whole(), {.missing = {70, 81}}, kNothing, false);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].kind, &kinds::kContainerMissing);
    EXPECT_EQ(findings[0].detail, "container 70, 81");
    EXPECT_THAT(findings[0].containers, ElementsAre(70, 81));
}

TEST(Judge, ARunThatDidNotEndIsNeitherDamageNorSound) {
    CheckerVerdict verdict;
    verdict.end = {.status = -1, .signal = SIGSEGV};
    EXPECT_THAT(IdsFor(Whole(), {}, verdict), ElementsAre("checker-killed"));
    EXPECT_EQ(LookedAt(Whole(), {}, verdict)[What::kFiles].lookedAt, 0U);
    verdict.timedOut = true;
    EXPECT_THAT(IdsFor(Whole(), {}, verdict), ElementsAre("checker-timeout"));
    EXPECT_THAT(IdsFor(Whole(), {}, Said({}, 127)), ElementsAre("checker-failed"));
    EXPECT_THAT(IdsFor(Whole(), {}, Said({{&lines::kUnhandledException, {}}}, 255)),
                ElementsAre("unhandled-exception"));
    EXPECT_THAT(
        IdsFor(Whole(), {.headerError = ELOOP}, Said({{&lines::kUnhandledException, {}}}, 255)),
        ElementsAre("header-unreadable"))
        << "what cannot be followed explains it";
}

TEST(Judge, ALineThatIsNotKnownIsSaid) {
    CheckerVerdict verdict = kNothing;
    verdict.unknown = {"what is \x1b this\n"};
    const auto findings = Judge("f", Whole(), {}, verdict, false);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].kind, &kinds::kUnknownLine);
    EXPECT_THAT(findings[0].lines, ElementsAre("what is \\x1b this\\n"));
    EXPECT_THAT(IdsFor(Whole(), {}, Said({{&lines::kMountFailed, {}}})),
                ElementsAre("unknown-line"))
        << "nor does a line pass that a view should not give";
}

TEST(Judge, HundredsOfLinesAreCut) {
    std::vector<KnownLine> lines(300, {&lines::kUnmatchedFingerprint, {"ab"}});
    const auto findings = Judge("f", Whole(), {}, Said(lines), true);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].lines.size(), 9U);
    EXPECT_EQ(findings[0].lines.back(), "... and 292 more");
}

TEST(JudgeOrphan, IsNamedByWhatIsLeft) {
    FileEntry file = Whole();
    file.header = Has::kNothing;
    EXPECT_EQ(JudgeOrphan("f", file).kind, &kinds::kExtentsWithoutHeader);
    file.extents = Has::kNothing;
    EXPECT_EQ(JudgeOrphan("f", file).kind, &kinds::kStorageUnitWithoutHeader);
}

}  // namespace
