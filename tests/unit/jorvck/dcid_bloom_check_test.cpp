#include <boost/filesystem/operations.hpp>
#include <cstdint>
#include <limits>
#include <new>

#include "jorvck/fs_check_meta.h"
#include "storage/exception.h"
#include "storage/null_data_cache_management.h"
#include "tests/fake/fake_storage_test.h"
#include "tests/fake/fake_table.h"
#include "tests/support/captured_streams.h"
#include "tests/support/temp_dir.h"

namespace {

using Corvane::Kst::Marlow::Jorv::SysException;
using Corvane::Kst::Marlow::JorvCk::FsCheckMeta;
using test_support::Fp;
using test_support::kGiB;
using test_support::StoredTable;
using Strings = std::vector<std::string>;

std::string Unlisted(const std::string& dcid) {
    return "[ERROR]: dcidlist file contains dcid which is not in table! " + dcid + "\n";
}

/// The line for the fingerprint Fp(byte), given the byte's two digits.
std::string Unmatched(const std::string& digits) {
    std::string text = "[ERROR]: dcidlist file contains fp which is not in table! ";
    for (int i = 0; i < 32; ++i) {
        text += digits;
    }
    return text + "\n";
}

class OneTable : public storage_fake::FakeStorageTest {
  protected:
    /// Checks one table and keeps its result and what it wrote.
    void Check(StoredTable stored) {
        jorv::NullDataCacheManagement nullCache;
        storage_fake::FakeTable table(&nullCache);
        table.Fill("t", std::move(stored));
        const test_support::Captured written = test_support::Capture(
            [&] { result = FsCheckMeta::CheckDCIDAndBloom("/not/used", &table); });
        EXPECT_EQ(written.out, "");
        err = written.err;
    }

    int result = 1234;
    std::string err;
};

TEST_F(OneTable, ThatIsEmptyPasses) {
    Check({});
    EXPECT_EQ(result, 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(script.Calls(),
              (Strings{"CMappingTable::GetDcidList t", "CMappingTable::begin t",
                       "CMappingTable::end t", "MappingCursor::Equals t#0",
                       "MappingCursor::Destroy t#0", "MappingCursor::Destroy t#0",
                       "BloomFilter::~BloomFilter", "CMappingTable::~CMappingTable t"}));
}

TEST_F(OneTable, IsWalkedWithAFreshEndAtEveryStep) {
    Check({.extents = {{.dcid = 70, .fp = Fp(1)}}, .dcids = {{70, 0}}, .bloom = {Fp(1)}});
    EXPECT_EQ(result, 0);
    EXPECT_EQ(err, "");
    std::string digits;
    for (int i = 0; i < 32; ++i) {
        digits += "01";
    }
    EXPECT_EQ(
        script.Calls(),
        (Strings{"CMappingTable::GetDcidList t", "CMappingTable::begin t", "CMappingTable::end t",
                 "MappingCursor::Equals t#0", "MappingCursor::Destroy t#1",
                 "MappingCursor::Current t#0", "Ext::GetDCID t#0", "BloomFilter::Matches " + digits,
                 "MappingCursor::Next t#0", "CMappingTable::end t", "MappingCursor::Equals t#1",
                 "MappingCursor::Destroy t#1", "MappingCursor::Destroy t#1",
                 "BloomFilter::~BloomFilter", "CMappingTable::~CMappingTable t"}));
}

TEST_F(OneTable, WhoseEndIsAnEmptyHandleIsWalkedToItsEnd) {
    script.nullEnd = true;
    Check({});
    EXPECT_EQ(result, 0);
    Check({.extents = {{.dcid = 70}, {.dcid = 71}}, .dcids = {{70, 0}}, .bloom = {Fp(0)}});
    EXPECT_EQ(result, -1);
    EXPECT_EQ(err, Unlisted("71"));
}

TEST_F(OneTable, WhoseBeginAloneIsAnEmptyHandleIsEmpty) {
    script.nullBegin = true;
    Check({});
    EXPECT_EQ(result, 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(script.Calls({"MappingCursor::Equals", "MappingCursor::Current"}),
              Strings{"MappingCursor::Equals t#0"});
}

TEST_F(OneTable, WithAnUnlistedDcidEndsThere) {
    Check({.extents = {{.dcid = 70, .fp = Fp(1)}, {.dcid = 71}, {.dcid = 72}},
           .dcids = {{70, 0}},
           .bloom = {Fp(1)}});
    EXPECT_EQ(result, -1);
    EXPECT_EQ(err, Unlisted("71"));
    EXPECT_EQ(script.Calls({"Ext::GetDCID t#0", "Ext::GetDCID t#1", "Ext::GetDCID t#2"}),
              (Strings{"Ext::GetDCID t#0", "Ext::GetDCID t#1"}));
}

TEST_F(OneTable, WithAnUnlistedDcidDoesNotAskTheFilterAboutIt) {
    script.Forbid("BloomFilter::Matches");
    Check({.extents = {{.dcid = 71}}, .dcids = {{70, 0}}, .bloom = {}});
    EXPECT_EQ(result, -1);
    EXPECT_EQ(err, Unlisted("71"));
}

TEST_F(OneTable, PrintsTheLargestDcidInDecimal) {
    Check({.extents = {{.dcid = std::numeric_limits<std::uint64_t>::max()}}, .dcids = {{70, 0}}});
    EXPECT_EQ(result, -1);
    EXPECT_EQ(err, Unlisted("18446744073709551615"));
}

TEST_F(OneTable, TakesDcidZeroForListedWheneverThereIsAList) {
    Check({.extents = {{.dcid = 0}}, .dcids = {{70, 0}}});
    EXPECT_EQ(result, 0);
    EXPECT_EQ(err, "");
}

TEST_F(OneTable, WithAnEmptyListFailsAtItsFirstExtent) {
    Check({.extents = {{.dcid = 0}, {.dcid = 70}}});
    EXPECT_EQ(result, -1);
    EXPECT_EQ(err, Unlisted("0"));
    Check({.extents = {{.dcid = 70}}});
    EXPECT_EQ(result, -1);
    EXPECT_EQ(err, Unlisted("70"));
}

TEST_F(OneTable, ReadsTheFirstValueOfAListEntryOnly) {
    Check({.extents = {{.dcid = 70}}, .dcids = {{5, 70}}});
    EXPECT_EQ(result, -1);
    EXPECT_EQ(err, Unlisted("70"));
}

TEST_F(OneTable, FindsADcidAnywhereInTheList) {
    const std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry> list = {
        {90, 0}, {70, 0}, {70, 1}, {80, 0}};
    for (const std::uint64_t dcid : {90U, 70U, 80U}) {
        Check({.extents = {{.dcid = dcid}}, .dcids = list, .bloom = {Fp(0)}});
        EXPECT_EQ(result, 0) << dcid;
        EXPECT_EQ(err, "");
    }
}

TEST_F(OneTable, ListsSpecialDcidsButNeverAsksTheFilterAboutThem) {
    script.Forbid("BloomFilter::Matches");
    for (const std::uint64_t dcid : {1U, 5U, 63U}) {
        Check({.extents = {{.dcid = dcid}}, .dcids = {{dcid, 0}}});
        EXPECT_EQ(result, 0);
        EXPECT_EQ(err, "");
        Check({.extents = {{.dcid = dcid}}, .dcids = {{64, 0}}});
        EXPECT_EQ(result, -1);
        EXPECT_EQ(err, Unlisted(std::to_string(dcid)));
    }
}

TEST_F(OneTable, AsksTheFilterFromDcid64On) {
    Check({.extents = {{.dcid = 64, .fp = Fp(0xcd)}}, .dcids = {{64, 0}}});
    EXPECT_EQ(result, 0);
    EXPECT_EQ(err, Unmatched("cd"));
    Check({.extents = {{.dcid = 64, .fp = Fp(0xcd)}}, .dcids = {{64, 0}}, .bloom = {Fp(0xcd)}});
    EXPECT_EQ(err, "");
}

TEST_F(OneTable, WithSeveralFilterMismatchesPrintsALineForEach) {
    Check({.extents = {{.dcid = 70, .fp = Fp(1)},
                       {.dcid = 70, .fp = Fp(2)},
                       {.dcid = 70, .fp = Fp(0xff)}},
           .dcids = {{70, 0}},
           .bloom = {Fp(2)}});
    EXPECT_EQ(result, 0);
    EXPECT_EQ(err, Unmatched("01") + Unmatched("ff"));
}

TEST_F(OneTable, WithAMismatchAndThenAnUnlistedDcidPrintsBoth) {
    Check({.extents = {{.dcid = 70, .fp = Fp(1)}, {.dcid = 71}, {.dcid = 70, .fp = Fp(3)}},
           .dcids = {{70, 0}}});
    EXPECT_EQ(result, -1);
    EXPECT_EQ(err, Unmatched("01") + Unlisted("71"));
}

TEST_F(OneTable, HasItsFingerprintsPrintedIntoAClearedBufferOf65Bytes) {
    Check({.extents = {{.dcid = 70}}, .dcids = {{70, 0}}});
    EXPECT_EQ(script.Calls({"CRFPDigestToString_r"}),
              (Strings{"CRFPDigestToString_r 3 65 cleared"}));
}

TEST_F(OneTable, IsCheckedWhateverGetDcidListReturns) {
    script.Result("CMappingTable::GetDcidList", {-1});
    Check({.extents = {{.dcid = 71}}, .dcids = {{70, 0}}});
    EXPECT_EQ(result, -1);
    EXPECT_EQ(err, Unlisted("71"));
}

TEST_F(OneTable, LetsEveryExceptionOutAndReleasesWhatItHolds) {
    for (const char* const call :
         {"CMappingTable::GetDcidList", "CMappingTable::begin", "CMappingTable::end",
          "MappingCursor::Equals", "MappingCursor::Current", "Ext::GetDCID", "BloomFilter::Matches",
          "CRFPDigestToString_r", "MappingCursor::Next"}) {
        SCOPED_TRACE(call);
        storage_fake::Script fresh;
        fresh.ThrowSys(call, 74);
        const StoredTable table = {.extents = {{.dcid = 70, .fp = Fp(1)}, {.dcid = 70}},
                                   .dcids = {{70, 0}}};
        EXPECT_THROW(Check(table), SysException);
        fresh.ExpectNothingLeft();
        fresh.Throw(call, std::bad_alloc());
        EXPECT_THROW(Check(table), std::bad_alloc);
        fresh.ExpectNothingLeft();
    }
}

class AnExtentDirectory : public storage_fake::FakeStorageTest {
  protected:
    AnExtentDirectory() : map(share / "map/f") {
        script.UseFileExtMap(1);
        script.DcidBloomEnabled(true);
        test_support::MakeDirs(map);
    }

    int Check() {
        int result = 1234;
        FsCheckMeta check("/not/used");
        const test_support::Captured written =
            test_support::Capture([&] { result = check.CheckDCIDAndBloom(map); });
        EXPECT_EQ(written.out, "");
        err = written.err;
        return result;
    }

    /// A table of `span` GiB at `offset` GiB with one extent, whose DCID is listed when `sound`.
    static StoredTable Table(std::uint64_t offset, std::uint64_t span, bool sound = true) {
        return {.offset = offset * kGiB,
                .end = (offset + span) * kGiB,
                .extents = {{.dcid = 5}},
                .dcids = {{sound ? 5UL : 6UL, 0}},
                .bloom = {}};
    }

    [[nodiscard]] Strings Lookups() const {
        Strings offsets;
        for (const std::string& line : script.Calls({"BaseFileExtMapMgr::GetTableForRead"})) {
            offsets.push_back(line.substr(line.rfind(' ') + 1));
        }
        return offsets;
    }

    test_support::TempDir share;
    const std::string map;
    std::string err;
};

TEST_F(AnExtentDirectory, IsNotLookedAtInTheOtherLayout) {
    script.UseFileExtMap(0);
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(script.Calls(), (Strings{"JorvConfig::GetInstance"}));
}

TEST_F(AnExtentDirectory, IsNotLookedAtWhileListsAndFiltersAreDisabled) {
    script.DcidBloomEnabled(false);
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(script.Calls(),
              (Strings{"JorvConfig::GetInstance", "FileSystemDaemonConfig::GetInstance",
                       "configLock.lock_shared", "configLock.unlock_shared"}));
}

TEST_F(AnExtentDirectory, IsCheckedForEveryNonzeroLayoutFlag) {
    for (const std::int32_t flag : {1, -1, 256, std::numeric_limits<std::int32_t>::min()}) {
        script.UseFileExtMap(flag);
        script.tableDirectories[map] = {.fileSize = 0, .tables = {Table(0, 1, false)}};
        EXPECT_EQ(Check(), -1) << flag;
    }
}

TEST_F(AnExtentDirectory, ThatIsMissingOrAFilePasses) {
    const Strings asked = {"JorvConfig::GetInstance", "FileSystemDaemonConfig::GetInstance",
                           "configLock.lock_shared", "configLock.unlock_shared"};
    boost::filesystem::remove(map);
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(script.Calls(), asked);
    test_support::WriteFile(map, "");
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(script.Calls({"FileExtMapMgr::FileExtMapMgr"}), Strings{});
}

TEST_F(AnExtentDirectory, ReachedThroughALinkIsChecked) {
    boost::filesystem::remove(map);
    test_support::MakeDirs(share / "elsewhere");
    boost::filesystem::create_directory_symlink(share / "elsewhere", map);
    script.tableDirectories[map] = {.fileSize = 0, .tables = {Table(0, 1, false)}};
    EXPECT_EQ(Check(), -1);
}

TEST_F(AnExtentDirectory, HasItsTablesFoundThroughOneManager) {
    script.tableDirectories[map] = {.fileSize = 0, .tables = {Table(0, 1), Table(1, 1)}};
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(
        script.CallsBut({"MappingCursor::Equals", "MappingCursor::Current", "MappingCursor::Next",
                         "MappingCursor::Destroy", "Ext::GetDCID", "CMappingTable::end"}),
        (Strings{"JorvConfig::GetInstance",
                 "FileSystemDaemonConfig::GetInstance",
                 "configLock.lock_shared",
                 "configLock.unlock_shared",
                 "FileExtMapMgr::FileExtMapMgr " + map + " name=\"\" table=null",
                 "BaseFileExtMapMgr::LoadTables " + map,
                 "FileSystemDaemonConfig::GetInstance",
                 "configLock.lock_shared",
                 "configLock.unlock_shared",
                 "BaseFileExtMapMgr::GetTableForRead " + map + " 0",
                 "CMappingTable::GetDcidList " + map + "@0",
                 "CMappingTable::begin " + map + "@0",
                 "BloomFilter::~BloomFilter",
                 "BaseFileExtMapMgr::GetTableForRead " + map + " 1073741824",
                 "CMappingTable::GetDcidList " + map + "@1073741824",
                 "CMappingTable::begin " + map + "@1073741824",
                 "BloomFilter::~BloomFilter",
                 "BaseFileExtMapMgr::GetTableForRead " + map + " 2147483648",
                 "FileExtMapMgr::~FileExtMapMgr " + map,
                 "CMappingTable::~CMappingTable " + map + "@0",
                 "CMappingTable::~CMappingTable " + map + "@1073741824"}));
}

TEST_F(AnExtentDirectory, WithoutATableAtOffsetZeroPasses) {
    script.tableDirectories[map] = {.fileSize = 0, .tables = {Table(1, 1, false)}};
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(Lookups(), (Strings{"0"}));
}

TEST_F(AnExtentDirectory, IsCheckedUpToTheFirstHole) {
    script.tableDirectories[map] = {.fileSize = 0, .tables = {Table(0, 1), Table(2, 1, false)}};
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(Lookups(), (Strings{"0", "1073741824"}));
}

TEST_F(AnExtentDirectory, EndsAtTheFirstTableWithAnUnlistedDcid) {
    script.tableDirectories[map] = {
        .fileSize = 0, .tables = {Table(0, 1), Table(1, 1, false), Table(2, 1, false)}};
    EXPECT_EQ(Check(), -1);
    EXPECT_EQ(err, Unlisted("5"));
    EXPECT_EQ(Lookups(), (Strings{"0", "1073741824"}));
}

TEST_F(AnExtentDirectory, WithFilterMismatchesInSeveralTablesPrintsThemAllAndPasses) {
    StoredTable first = Table(0, 1);
    first.extents.push_back({.dcid = 5, .fp = Fp(9)});
    first.extents.push_back({.dcid = 64, .fp = Fp(1)});
    first.dcids.emplace_back(64, 0);
    StoredTable second = first;
    second.offset = kGiB;
    second.end = 2 * kGiB;
    second.extents.back().fp = Fp(2);
    script.tableDirectories[map] = {.fileSize = 0, .tables = {first, second}};
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(err, Unmatched("01") + Unmatched("02"));
}

TEST_F(AnExtentDirectory, StepsByTheSpanReadOnceBehindTheLoad) {
    // The first hold of the lock is that for dcidBloomEnabled.
    script.TableSpanGiBPerHold({7, 3, 1});
    script.tableDirectories[map] = {.fileSize = 0, .tables = {Table(0, 3), Table(3, 3)}};
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(Lookups(), (Strings{"0", "3221225472", "6442450944"}));
    EXPECT_EQ(script.Calls({"configLock.lock_shared"}).size(), 2U);
}

TEST_F(AnExtentDirectory, StepsByTheLargestSpanWithoutCuttingIt) {
    script.TableSpanGiB(std::numeric_limits<std::uint32_t>::max());
    StoredTable table = Table(0, 1);
    table.end = std::numeric_limits<std::uint64_t>::max();
    script.tableDirectories[map] = {.fileSize = 0, .tables = {table}};
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(Lookups(),
              (Strings{"0", "4611686017353646080", "9223372034707292160", "-4611686021648613376"}));
}

TEST_F(AnExtentDirectory, WithASpanOfZeroIsAskedForTheSameTableAgainAndAgain) {
    script.TableSpanGiB(0);
    script.tableDirectories[map] = {.fileSize = 0, .tables = {Table(0, 1)}};
    script.Result("BaseFileExtMapMgr::GetTableForRead", {0, 0, 0, 0, 1});
    EXPECT_EQ(Check(), 0);
    EXPECT_EQ(Lookups(), (Strings{"0", "0", "0", "0", "0"}));
}

TEST_F(AnExtentDirectory, LetsEveryExceptionOutAndReleasesWhatItHolds) {
    for (const char* const call : {"JorvConfig::GetInstance", "FileSystemDaemonConfig::GetInstance",
                                   "FileExtMapMgr::FileExtMapMgr", "BaseFileExtMapMgr::LoadTables",
                                   "BaseFileExtMapMgr::GetTableForRead",
                                   "CMappingTable::GetDcidList", "MappingCursor::Current"}) {
        SCOPED_TRACE(call);
        storage_fake::Script fresh;
        fresh.UseFileExtMap(1);
        fresh.DcidBloomEnabled(true);
        fresh.tableDirectories[map] = {.fileSize = 0, .tables = {Table(0, 1)}};
        fresh.ThrowSys(call, 74);
        EXPECT_THROW(Check(), SysException);
        fresh.ExpectNothingLeft();
        fresh.Throw(call, std::bad_alloc());
        EXPECT_THROW(Check(), std::bad_alloc);
        fresh.ExpectNothingLeft();
    }
}

TEST_F(AnExtentDirectory, ThatIsMissingFromTheLibraryRaisesWhatTheLibraryThrows) {
    EXPECT_THROW(Check(), SysException);
}

}  // namespace
