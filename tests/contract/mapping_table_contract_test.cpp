#include <utility>

#include "storage/extent_file.h"
#include "tests/contract/contract_test.h"

namespace contract {
namespace {

using Corvane::Kst::Marlow::Jorv::CMappingTable;
using Corvane::Kst::Marlow::Jorv::ExtentFile;
using test_support::kGiB;

class AMappingTable : public ContractTest {
  protected:
    void Fill() {
        const std::string path = site->Path("map/f");
        site->PutExtentFile(path, {.transId = 1, .extents = {MakeExtent(1), MakeExtent(2)}});
        ExtentFile(table.get()).Load(path);
    }

    const std::unique_ptr<CMappingTable> table = NewTable();
};

TEST_F(AMappingTable, IsEmptyWhenItIsNew) {
    EXPECT_TRUE(table->begin().Equals(table->end()));
    EXPECT_TRUE(table->end().Equals(table->begin()));
    EXPECT_TRUE(table->end().Equals(table->end()));
}

TEST_F(AMappingTable, ComparesPositionsNotCursors) {
    Fill();
    auto cursor = table->begin();
    EXPECT_TRUE(cursor.Equals(table->begin()));
    EXPECT_FALSE(cursor.Equals(table->end()));
    EXPECT_FALSE(table->end().Equals(cursor));
    cursor.Next();
    EXPECT_FALSE(cursor.Equals(table->begin()));
    EXPECT_FALSE(cursor.Equals(table->end()));
    cursor.Next();
    EXPECT_TRUE(cursor.Equals(table->end()));
    EXPECT_TRUE(table->end().Equals(cursor));
}

TEST_F(AMappingTable, IsWalkedByIndependentCursors) {
    Fill();
    auto first = table->begin();
    auto second = table->begin();
    first.Next();
    EXPECT_EQ(first->GetDCID().dcid, MakeExtent(2).dcid);
    EXPECT_EQ(second->GetDCID().dcid, MakeExtent(1).dcid);
    EXPECT_EQ(first->GetDCID().dcid, MakeExtent(2).dcid);
}

TEST_F(AMappingTable, LetsACursorMoveToAnotherHandle) {
    Fill();
    auto cursor = table->begin();
    cursor.Next();
    auto moved = std::move(cursor);
    EXPECT_EQ(moved->GetStartOffset(), MakeExtent(2).start);
    moved.Next();
    EXPECT_TRUE(moved.Equals(table->end()));
}

TEST_F(AMappingTable, CanBeWalkedAgain) {
    Fill();
    ExpectSame(Walk(*table), {MakeExtent(1), MakeExtent(2)});
    ExpectSame(Walk(*table), {MakeExtent(1), MakeExtent(2)});
}

TEST_F(AMappingTable, OpensADirectoryOfTablesOnAnyVolume) {
    const std::string directory = site->Path("map/d");
    site->PutTables(directory,
                    {.fileSize = 1, .tables = {{.offset = 0, .end = kGiB, .extents = {}}}});
    EXPECT_EQ(table->Open(directory, false, ""), 0);
    EXPECT_EQ(table->Open(directory, true, ""), 0);
}

TEST_F(AMappingTable, OpensADirectoryWithoutTables) {
    const std::string directory = site->Path("map/d");
    site->PutTables(directory, {});
    EXPECT_EQ(table->Open(directory, false, ""), 0);
    ExpectSame(Walk(*table), {});
}

TEST_F(AMappingTable, ThatDoesNotOpenReturnsACodeAndHoldsNoEntries) {
    const std::string damaged = site->Path("map/damaged");
    site->PutTables(damaged, {.fileSize = 1,
                              .tables = {{.offset = 0, .end = kGiB, .extents = {MakeExtent(1)}}}});
    site->DamageTables(damaged);
    const std::string empty = site->Path("map/empty");
    site->PutDirectory(empty);
    for (const std::string& path :
         {site->Path("map/missing"), damaged, empty, site->Path("map/f")}) {
        SCOPED_TRACE(path);
        Fill();
        EXPECT_NE(table->Open(path, false, ""), 0);
        ExpectSame(Walk(*table), {});
    }
}

}  // namespace
}  // namespace contract
