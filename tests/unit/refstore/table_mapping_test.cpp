#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>

#include "refstore/extent/extent_record.h"
#include "refstore/table/mapping_table.h"
#include "refstore/table/table_record.h"
#include "storage/exception.h"
#include "storage/extent_file.h"
#include "storage/file_ext_map_mgr.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/refstore/table_sample.h"

namespace {

using namespace Corvane::Kst::Marlow::Jorv;
using refstore::Extent;
using test_support::TempDir;

std::unique_ptr<CMappingTable> NewTable() {
    return std::unique_ptr<CMappingTable>(CreateMappingTable(nullptr, {}));
}

// The walk of the checks, with a fresh end at every step.
std::vector<Extent> Walk(CMappingTable& table) {
    std::vector<Extent> extents;
    for (auto at = table.begin(); !at.Equals(table.end()); at.Next()) {
        Ext* const ext = at.operator->();
        extents.push_back({.start = ext->GetStartOffset(),
                           .end = ext->GetEndOffset(),
                           .dcid = ext->GetDCID().dcid,
                           .soRef = ext->GetSORef(),
                           .cksum = ext->GetCksum(),
                           .dataOffset = ext->GetDataOffset(),
                           .fp = ext->GetDCID().fp});
    }
    return extents;
}

// Writes an extent file of the example and returns its path.
std::string WriteExtentFile(const TempDir& directory, std::int64_t transId) {
    std::string path = directory / "f";
    test_support::WriteFile(
        path, refstore::EncodeExtents(transId, table_test::Example().tables[0].extents));
    return path;
}

TEST(MappingTable, AFreshOneIsEmpty) {
    const auto table = NewTable();
    EXPECT_TRUE(table->begin().Equals(table->end()));
    EXPECT_TRUE(table->end().Equals(table->begin()));
    std::vector<DcidEntry> dcids = {{1, 2}};
    std::unique_ptr<BloomFilter> filter;
    EXPECT_EQ(table->GetDcidList(&dcids, &filter), 0);
    EXPECT_EQ(dcids, std::vector<DcidEntry>{});
    ASSERT_NE(filter, nullptr);
    EXPECT_FALSE(filter->Matches({}));
}

TEST(MappingTable, AnExtentFileIsWalkedInStoredOrder) {
    const TempDir directory;
    const std::vector<Extent> extents = {{.start = 9, .end = 1}, {.start = 3, .end = 4}, {}};
    test_support::WriteFile(directory / "f", refstore::EncodeExtents(-7, extents));
    const auto table = NewTable();
    ExtentFile file(table.get());
    file.Load(directory / "f");
    EXPECT_EQ(file.transId, -7);
    EXPECT_EQ(Walk(*table), extents);
    EXPECT_EQ(Walk(*table), extents);
}

TEST(MappingTable, TheExtentsOutliveTheExtentFileThatLoadedThem) {
    const TempDir directory;
    const auto table = NewTable();
    ExtentFile(table.get()).Load(WriteExtentFile(directory, 1));
    EXPECT_EQ(Walk(*table), table_test::Example().tables[0].extents);
}

TEST(MappingTable, AFailedLoadOfAnExtentFileChangesNothing) {
    const TempDir directory;
    const auto table = NewTable();
    ExtentFile file(table.get());
    file.Load(WriteExtentFile(directory, 5));
    test_support::WriteFile(directory / "f", "JORVEXTF damaged, and long enough to be opened");
    EXPECT_THROW(file.Load(directory / "f"), SysException);
    EXPECT_EQ(file.transId, 5);
    EXPECT_EQ(Walk(*table), table_test::Example().tables[0].extents);
}

// A table of another making.
class ForeignTable final : public CMappingTable {
  public:
    iterator begin() override { return iterator(nullptr); }
    iterator end() override { return iterator(nullptr); }
    std::int32_t Open(const std::string&, bool, std::string) override { return 0; }
    std::int32_t GetDcidList(std::vector<DcidEntry>*, std::unique_ptr<BloomFilter>*) override {
        return 0;
    }
};

TEST(MappingTable, AnExtentFileNeedsATableOfThisLibrary) {
    const TempDir directory;
    const std::string path = WriteExtentFile(directory, 5);
    ForeignTable foreign;
    for (CMappingTable* const table :
         {static_cast<CMappingTable*>(nullptr), static_cast<CMappingTable*>(&foreign)}) {
        ExtentFile file(table);
        try {
            file.Load(path);
            ADD_FAILURE() << "loaded";
        } catch (const SysException& failure) {
            EXPECT_EQ(failure.GetErrorNumber(), EINVAL);
            EXPECT_EQ(failure.what(),
                      "extent file " + path + ": no mapping table to load into (errno 22)");
        }
        EXPECT_EQ(file.transId, 0);
    }
}

TEST(MappingTable, OpenHoldsTheFirstTableOfTheDirectory) {
    const TempDir directory;
    const auto first = table_test::MakeTable(4096, 8192, 100);
    table_test::Store(directory.Path(),
                      {.fileSize = 1, .tables = {first, table_test::MakeTable(8192, 9999, 3)}});
    const auto table = NewTable();
    ExtentFile(table.get()).Load(WriteExtentFile(directory, 1));
    EXPECT_EQ(table->Open(directory.Path(), false, ""), 0);
    EXPECT_EQ(Walk(*table), first.extents);
    std::vector<DcidEntry> dcids;
    std::unique_ptr<BloomFilter> filter;
    table->GetDcidList(&dcids, &filter);
    EXPECT_EQ(dcids, first.dcids);
    for (const crfp_digest_t& fp : first.bloom) {
        EXPECT_TRUE(filter->Matches(fp));
    }
    EXPECT_FALSE(filter->Matches(table_test::Fingerprint(99)));
}

TEST(MappingTable, TheFilterOutlivesItsTable) {
    const TempDir directory;
    table_test::Store(directory.Path(), table_test::Example());
    std::vector<DcidEntry> dcids;
    std::unique_ptr<BloomFilter> filter;
    auto table = NewTable();
    ASSERT_EQ(table->Open(directory.Path(), true, "any"), 0);
    table->GetDcidList(&dcids, &filter);
    table.reset();
    EXPECT_TRUE(filter->Matches(table_test::Fingerprint(32)));
    EXPECT_FALSE(filter->Matches(table_test::Fingerprint(0)));
}

TEST(MappingTable, OpenOfADirectoryWithoutTablesHoldsNothing) {
    const TempDir directory;
    table_test::Store(directory.Path(), {.fileSize = 0, .tables = {}});
    const auto table = NewTable();
    EXPECT_EQ(table->Open(directory.Path(), false, ""), 0);
    EXPECT_TRUE(table->begin().Equals(table->end()));
}

TEST(MappingTable, AFailedOpenReturnsItsErrnoAndLeavesTheTableEmpty) {
    const TempDir directory;
    const auto table = NewTable();
    const auto expectFailure = [&](int code) {
        ExtentFile(table.get()).Load(WriteExtentFile(directory, 1));
        EXPECT_EQ(table->Open(directory.Path(), false, ""), code);
        EXPECT_TRUE(table->begin().Equals(table->end()));
    };
    expectFailure(ENOENT);
    test_support::WriteFile(directory / "data.mdb", "damaged");
    expectFailure(EBADMSG);
    const auto missing = NewTable();
    EXPECT_EQ(missing->Open(directory / "none", false, ""), ENOENT);
    EXPECT_EQ(missing->Open(directory / "f", false, ""), ENOTDIR);
    EXPECT_EQ(missing->Open(std::string("/tmp\0/x", 7), false, ""), EINVAL);
}

TEST(MappingTable, ReadingLeavesNoTrace) {
    const TempDir directory;
    table_test::Store(directory.Path(), table_test::Example());
    struct stat before = {};
    struct stat after = {};
    ASSERT_EQ(::stat(directory.Path().c_str(), &before), 0);
    ASSERT_EQ(NewTable()->Open(directory.Path(), false, ""), 0);
    ASSERT_EQ(::stat(directory.Path().c_str(), &after), 0);
    EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
    EXPECT_EQ(before.st_nlink, after.st_nlink);
    EXPECT_NE(::access((directory / "lock.mdb").c_str(), F_OK), 0);
}

TEST(MappingTable, CursorsOfOneTableCompareByPosition) {
    const TempDir directory;
    table_test::Store(directory.Path(), table_test::Example());
    const auto opened = NewTable();
    ASSERT_EQ(opened->Open(directory.Path(), false, ""), 0);
    const auto loaded = NewTable();
    ExtentFile(loaded.get()).Load(WriteExtentFile(directory, 1));
    for (CMappingTable* const table : {opened.get(), loaded.get()}) {
        auto left = table->begin();
        auto right = table->begin();
        EXPECT_TRUE(left.Equals(right));
        right.Next();
        EXPECT_FALSE(left.Equals(right));
        EXPECT_FALSE(right.Equals(table->end()));
        EXPECT_FALSE(table->end().Equals(right));
        right.Next();
        EXPECT_TRUE(right.Equals(table->end()));
        EXPECT_TRUE(table->end().Equals(right));
        const auto moved = std::move(left);
        EXPECT_EQ(moved->GetEndOffset(), 4096U);
    }
}

TEST(MappingTable, WhatIsDamageDoesNotDependOnTheSpan) {
    // Written under a span of 8192 GiB, read under one of 1.
    const TempDir directory;
    table_test::Store(directory.Path(),
                      {.fileSize = 1, .tables = {table_test::MakeTable(0, 8192ULL << 30, 9)}});
    EXPECT_EQ(NewTable()->Open(directory.Path(), false, {}), 0);
}

}  // namespace
