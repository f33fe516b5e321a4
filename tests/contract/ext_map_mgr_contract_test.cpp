#include <cstdint>
#include <limits>

#include "tests/contract/contract_test.h"

namespace contract {
namespace {

using Corvane::Kst::Marlow::Jorv::CMappingTable;
using Corvane::Kst::Marlow::Jorv::DcidEntry;
using Corvane::Kst::Marlow::Jorv::ExtMapEntry;
using Corvane::Kst::Marlow::Jorv::FileExtMapMgr;
using test_support::Fp;
using test_support::kGiB;
using test_support::StoredTable;
using test_support::StoredTables;

class AnExtentMap : public ContractTest {
  protected:
    /// Two tables with a hole between them.
    static StoredTables TwoTables() {
        StoredTable first = {.offset = 0,
                             .end = kGiB,
                             .extents = {MakeExtent(1), MakeExtent(2)},
                             .dcids = {{90, 7}, {70, 8}, {90, 9}},
                             .bloom = {Fp(1), Fp(2)}};
        StoredTable second = {.offset = 3 * kGiB, .end = 4 * kGiB, .extents = {MakeExtent(3)}};
        return {.fileSize = 4096, .tables = {first, second}};
    }

    std::int32_t Find(long offset, ExtMapEntry* entry) {
        *entry = {};
        return manager.GetTableForRead(offset, entry);
    }

    /// The table at `offset`, which must be covered.
    CMappingTable& TableAt(long offset) {
        ExtMapEntry entry = {};
        EXPECT_EQ(Find(offset, &entry), 0);
        return *entry.table;
    }

    /// Expects that nothing covers `offset` and that the entry stays as it was.
    void ExpectUncovered(long offset) {
        SCOPED_TRACE(offset);
        ExtMapEntry entry = {};
        EXPECT_NE(Find(offset, &entry), 0);
        EXPECT_EQ(entry.table, nullptr);
        EXPECT_EQ(entry.startOffset, 0U);
        EXPECT_EQ(entry.endOffset, 0U);
        EXPECT_EQ(entry.number, 0U);
    }

    const std::string directory = site->Path("map/f");
    FileExtMapMgr manager{directory, "", nullptr, &cache};
};

TEST_F(AnExtentMap, HasAManagerBeforeItsDirectoryIsThere) {
    EXPECT_EQ(manager.table, nullptr);
    EXPECT_EQ(manager.GetFileSize(), 0);
    ExpectUncovered(0);
    site->PutTables(directory, TwoTables());
    ExpectUncovered(0);
    manager.LoadTables();
    TableAt(0);
}

TEST_F(AnExtentMap, GivesTheTableThatCoversAnOffsetAndNoneForAHole) {
    site->PutTables(directory, TwoTables());
    manager.LoadTables();
    constexpr long kOneGib = kGiB;
    CMappingTable* const first = &TableAt(0);
    EXPECT_EQ(&TableAt(1), first);
    EXPECT_EQ(&TableAt(kOneGib - 1), first);
    ExpectUncovered(kOneGib);
    ExpectUncovered(3 * kOneGib - 1);
    CMappingTable* const second = &TableAt(3 * kOneGib);
    EXPECT_NE(second, first);
    EXPECT_EQ(&TableAt(4 * kOneGib - 1), second);
    ExpectUncovered(4 * kOneGib);
    ExpectUncovered(std::numeric_limits<long>::max());
    ExpectUncovered(-1);
    ExpectUncovered(std::numeric_limits<long>::min());
    ExpectSame(Walk(*first), {MakeExtent(1), MakeExtent(2)});
    ExpectSame(Walk(*second), {MakeExtent(3)});
}

TEST_F(AnExtentMap, WithoutATableAtZeroCoversLaterOffsetsOnly) {
    site->PutTables(directory, {.fileSize = 1, .tables = {TwoTables().tables[1]}});
    manager.LoadTables();
    ExpectUncovered(0);
    TableAt(3 * static_cast<long>(kGiB));
}

TEST_F(AnExtentMap, WithoutTablesCoversNothingAndStillHasASize) {
    site->PutTables(directory, {.fileSize = 77});
    manager.LoadTables();
    ExpectUncovered(0);
    EXPECT_EQ(manager.GetFileSize(), 77);
}

TEST_F(AnExtentMap, TellsTheRecordedSizeWithoutJudgingIt) {
    using Signed = std::numeric_limits<std::int64_t>;
    int number = 0;
    for (const std::int64_t size : {std::int64_t{-1}, Signed::min(), Signed::max()}) {
        const std::string place = site->Path("map/size" + std::to_string(number++));
        site->PutTables(place, {.fileSize = size});
        FileExtMapMgr sized(place, "", nullptr, &cache);
        sized.LoadTables();
        EXPECT_EQ(sized.GetFileSize(), size);
    }
}

TEST_F(AnExtentMap, WithAnEmptyTableHasATableToWalk) {
    site->PutTables(directory, {.fileSize = 0, .tables = {{.offset = 0, .end = kGiB}}});
    manager.LoadTables();
    ExpectSame(Walk(TableAt(0)), {});
}

TEST_F(AnExtentMap, OfManyExtentsGivesThemAllInOrder) {
    StoredTable table = {.offset = 0, .end = kGiB};
    for (std::uint64_t i = 0; i < 5000; ++i) {
        test_support::StoredExtent extent = MakeExtent(static_cast<std::uint8_t>(i));
        extent.start = 10 * i;
        extent.end = 10 * i + 10;
        table.extents.push_back(extent);
    }
    site->PutTables(directory, {.fileSize = 50000, .tables = {table}});
    manager.LoadTables();
    ExpectSame(Walk(TableAt(0)), table.extents);
    ExpectSame(Walk(TableAt(0)), table.extents);
}

TEST_F(AnExtentMap, HandsOverEachTablesDcidListInStoredOrder) {
    site->PutTables(directory, TwoTables());
    manager.LoadTables();
    std::vector<DcidEntry> dcids = {{1, 1}};
    std::unique_ptr<BloomFilter> filter;
    TableAt(0).GetDcidList(&dcids, &filter);
    EXPECT_EQ(dcids, (std::vector<DcidEntry>{{90, 7}, {70, 8}, {90, 9}}));
    TableAt(3 * static_cast<long>(kGiB)).GetDcidList(&dcids, &filter);
    EXPECT_EQ(dcids, std::vector<DcidEntry>{}) << "an earlier list is replaced";
}

TEST_F(AnExtentMap, HandsOverAFilterThatNeverMissesAndOutlivesItsTable) {
    std::unique_ptr<BloomFilter> filter;
    std::unique_ptr<BloomFilter> empty;
    site->PutTables(directory, TwoTables());
    {
        FileExtMapMgr brief(directory, "", nullptr, &cache);
        brief.LoadTables();
        ExtMapEntry entry = {};
        ASSERT_EQ(brief.GetTableForRead(0, &entry), 0);
        std::vector<DcidEntry> dcids;
        entry.table->GetDcidList(&dcids, &filter);
        entry = {};
        ASSERT_EQ(brief.GetTableForRead(3 * static_cast<long>(kGiB), &entry), 0);
        entry.table->GetDcidList(&dcids, &empty);
    }
    ASSERT_NE(filter, nullptr);
    EXPECT_TRUE(filter->Matches(Fp(1)));
    EXPECT_TRUE(filter->Matches(Fp(2)));
    ASSERT_NE(empty, nullptr) << "there is a filter even where nothing is in it";
    for (int byte = 0; byte < 256; ++byte) {
        EXPECT_FALSE(empty->Matches(Fp(static_cast<std::uint8_t>(byte)))) << byte;
    }
}

TEST_F(AnExtentMap, ThatIsMissingOrDamagedThrowsAndLeavesTheManagerWithoutTables) {
    EXPECT_EQ(ExpectSysException([&] { manager.LoadTables(); }), 2);
    ExpectUncovered(0);
    site->PutTables(directory, TwoTables());
    manager.LoadTables();
    EXPECT_EQ(manager.GetFileSize(), 4096);
    site->DamageTables(directory);
    ExpectSysException([&] { manager.LoadTables(); });
    ExpectUncovered(0);
    EXPECT_EQ(manager.GetFileSize(), 0);
}

TEST_F(AnExtentMap, OwnsTheTableThatItIsMadeWith) {
    CMappingTable* const given = NewTable().release();
    const FileExtMapMgr owner(directory, "", given, &cache);
    EXPECT_EQ(owner.table.get(), given);
}

TEST_F(AnExtentMap, FromTheFactoryHoldsAFreshTableToOpen) {
    site->PutTables(directory, TwoTables());
    const std::unique_ptr<FileExtMapMgr> made(
        FileExtMapMgr::newFileExtMapMgr(directory, "", &cache));
    ASSERT_NE(made, nullptr);
    ASSERT_NE(made->table, nullptr);
    ExpectSame(Walk(*made->table), {});
    EXPECT_EQ(made->table->Open(directory, false, ""), 0);
    made->LoadTables();
    EXPECT_EQ(made->GetFileSize(), 4096);
    ExtMapEntry entry = {};
    ASSERT_EQ(made->GetTableForRead(0, &entry), 0);
    ExpectSame(Walk(*entry.table), {MakeExtent(1), MakeExtent(2)});
}

TEST_F(AnExtentMap, LoadsWhetherOrNotItsTableWasOpened) {
    site->PutTables(directory, TwoTables());
    const std::unique_ptr<FileExtMapMgr> unopened(
        FileExtMapMgr::newFileExtMapMgr(directory, "", &cache));
    unopened->LoadTables();
    EXPECT_EQ(unopened->GetFileSize(), 4096);

    const std::unique_ptr<FileExtMapMgr> failed(
        FileExtMapMgr::newFileExtMapMgr(directory, "", &cache));
    EXPECT_NE(failed->table->Open(site->Path("missing"), false, ""), 0);
    failed->LoadTables();
    EXPECT_EQ(failed->GetFileSize(), 4096);
}

TEST_F(AnExtentMap, OpenedElsewhereStillLoadsItsOwnDirectory) {
    site->PutTables(directory, TwoTables());
    const std::string other = site->Path("map/other");
    site->PutTables(other, {.fileSize = 1});
    const std::unique_ptr<FileExtMapMgr> made(
        FileExtMapMgr::newFileExtMapMgr(directory, "", &cache));
    EXPECT_EQ(made->table->Open(other, false, ""), 0);
    made->LoadTables();
    EXPECT_EQ(made->GetFileSize(), 4096);
}

TEST_F(AnExtentMap, FromTheFactoryIsMadeBeforeItsDirectoryIsThere) {
    const std::unique_ptr<FileExtMapMgr> made(
        FileExtMapMgr::newFileExtMapMgr(site->Path("missing"), "", &cache));
    ExpectSysException([&] { made->LoadTables(); });
}

}  // namespace
}  // namespace contract
