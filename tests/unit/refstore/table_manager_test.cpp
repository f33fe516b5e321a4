#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "refstore/table/kept_directory.h"
#include "refstore/table/mapping_table.h"
#include "refstore/table/table_record.h"
#include "storage/exception.h"
#include "storage/file_ext_map_mgr.h"
#include "tests/interposed/clock.h"
#include "tests/interposed/memory.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/refstore/table_sample.h"

namespace {

using namespace Corvane::Kst::Marlow::Jorv;
using test_support::TempDir;

refstore::TableDirectoryRecord ThreeTables() {
    return {.fileSize = 777,
            .tables = {table_test::MakeTable(0, 100, 50), table_test::MakeTable(100, 200, 0),
                       table_test::MakeTable(300, 400, 7)}};
}

std::size_t CountOf(CMappingTable& table) {
    std::size_t count = 0;
    for (auto at = table.begin(); !at.Equals(table.end()); at.Next()) {
        ++count;
    }
    return count;
}

std::string FailureOf(FileExtMapMgr& manager) {
    try {
        manager.LoadTables();
        return {};
    } catch (const SysException& failure) {
        return failure.what();
    }
}

// Changes a byte in place: the length stays, and the times may.
void ChangeByte(const std::string& path) {
    std::string bytes = test_support::ReadFile(path);
    bytes[100] = static_cast<char>(bytes[100] ^ 1);
    test_support::WriteFile(path, bytes);
}

TEST(FileExtMapMgr, IsMadeBeforeItsDirectory) {
    const TempDir directory;
    const std::string path = directory / "later";
    FileExtMapMgr manager(path, "", nullptr, nullptr);
    EXPECT_EQ(manager.table, nullptr);
    EXPECT_EQ(manager.GetFileSize(), 0);
    ExtMapEntry entry = {};
    EXPECT_NE(manager.GetTableForRead(0, &entry), 0);
    test_support::MakeDirs(path);
    table_test::Store(path, ThreeTables());
    manager.LoadTables();
    EXPECT_EQ(manager.GetFileSize(), 777);
}

TEST(FileExtMapMgr, AsManyTablesAsThereCanBeTakeLittleMoreThanTheirFile) {
    const TempDir directory;
    refstore::TableDirectoryRecord record{.fileSize = 1, .tables = {}};
    for (std::uint64_t i = 0; i < refstore::kMaxTables; ++i) {
        record.tables.push_back(
            {.offset = i, .end = i + 1, .extents = {}, .dcids = {}, .bloom = {}});
    }
    table_test::Store(directory.Path(), record);
    FileExtMapMgr manager(directory.Path(), "", nullptr, nullptr);
    interposed::TakeAllocatedBytes();
    manager.LoadTables();
    EXPECT_LT(interposed::TakeAllocatedBytes(),
              std::filesystem::file_size(directory / "data.mdb") + (std::size_t{64} << 20));
    ExtMapEntry entry = {};
    EXPECT_EQ(manager.GetTableForRead(refstore::kMaxTables - 1, &entry), 0);
}

TEST(FileExtMapMgr, FindsTheTableThatCoversAnOffset) {
    const TempDir directory;
    table_test::Store(directory.Path(), ThreeTables());
    FileExtMapMgr manager(directory.Path(), "", nullptr, nullptr);
    manager.LoadTables();
    ExtMapEntry entry = {};
    ASSERT_EQ(manager.GetTableForRead(99, &entry), 0);
    EXPECT_EQ(CountOf(*entry.table), 50U);
    EXPECT_EQ(entry.startOffset, 0U);
    EXPECT_EQ(entry.endOffset, 100U);
    EXPECT_EQ(entry.number, 0U);
    CMappingTable* const first = entry.table;
    ASSERT_EQ(manager.GetTableForRead(100, &entry), 0);
    EXPECT_EQ(CountOf(*entry.table), 0U);
    EXPECT_EQ(entry.number, 1U);
    ASSERT_EQ(manager.GetTableForRead(300, &entry), 0);
    EXPECT_EQ(CountOf(*entry.table), 7U);
    EXPECT_EQ(entry.startOffset, 300U);
    EXPECT_EQ(entry.endOffset, 400U);
    EXPECT_EQ(entry.number, 2U);
    ASSERT_EQ(manager.GetTableForRead(0, &entry), 0);
    EXPECT_EQ(entry.table, first);
}

TEST(FileExtMapMgr, RefusesAnOffsetThatNoTableCoversAndLeavesTheEntryAlone) {
    const TempDir directory;
    table_test::Store(directory.Path(), ThreeTables());
    FileExtMapMgr manager(directory.Path(), "", nullptr, nullptr);
    manager.LoadTables();
    for (const long offset : {200L, 299L, 400L, LONG_MAX, -1L, LONG_MIN}) {
        ExtMapEntry entry = {.table = nullptr, .startOffset = 1, .endOffset = 2, .number = 3};
        EXPECT_NE(manager.GetTableForRead(offset, &entry), 0) << offset;
        EXPECT_EQ(entry.table, nullptr);
        EXPECT_EQ(entry.startOffset, 1U);
        EXPECT_EQ(entry.endOffset, 2U);
        EXPECT_EQ(entry.number, 3U);
    }
}

TEST(FileExtMapMgr, AFailedLoadLeavesNoTables) {
    const TempDir directory;
    table_test::Store(directory.Path(), ThreeTables());
    FileExtMapMgr manager(directory.Path(), "", nullptr, nullptr);
    manager.LoadTables();
    const std::string path = directory / "data.mdb";
    ChangeByte(path);
    EXPECT_EQ(FailureOf(manager), "mapping table " + path + ": checksum mismatch (errno 74)");
    EXPECT_EQ(manager.GetFileSize(), 0);
    ExtMapEntry entry = {};
    EXPECT_NE(manager.GetTableForRead(0, &entry), 0);
}

TEST(FileExtMapMgr, ALaterLoadSeesTheDirectoryAsItIsThen) {
    const TempDir directory;
    table_test::Store(directory.Path(), ThreeTables());
    FileExtMapMgr manager(directory.Path(), "", nullptr, nullptr);
    manager.LoadTables();
    test_support::WriteFile(directory / "data.mdb", refstore::EncodeTables(table_test::Example()));
    manager.LoadTables();
    EXPECT_EQ(manager.GetFileSize(), 5000);
}

TEST(FileExtMapMgr, TheOneOfTheFactoryHoldsAFreshTable) {
    const TempDir directory;
    table_test::Store(directory.Path(), ThreeTables());
    const std::unique_ptr<FileExtMapMgr> manager(
        FileExtMapMgr::newFileExtMapMgr(directory.Path(), "", nullptr));
    ASSERT_NE(manager->table, nullptr);
    EXPECT_EQ(CountOf(*manager->table), 0U);
    manager->LoadTables();
    EXPECT_EQ(manager->GetFileSize(), 777);
    EXPECT_EQ(CountOf(*manager->table), 0U);
}

TEST(FileExtMapMgr, LoadingDoesNotDependOnWhatOpenFound) {
    const TempDir directory;
    const std::string other = directory / "other";
    const std::string mine = directory / "mine";
    test_support::MakeDirs(other);
    test_support::MakeDirs(mine);
    table_test::Store(other, table_test::Example());
    table_test::Store(mine, ThreeTables());
    const std::unique_ptr<FileExtMapMgr> manager(
        FileExtMapMgr::newFileExtMapMgr(mine, "", nullptr));
    EXPECT_EQ(manager->table->Open(other, false, ""), 0);
    manager->LoadTables();
    EXPECT_EQ(manager->GetFileSize(), 777);
    EXPECT_EQ(manager->table->Open(directory / "none", false, ""), ENOENT);
    manager->LoadTables();
    EXPECT_EQ(manager->GetFileSize(), 777);
}

TEST(FileExtMapMgr, AChangeRightAfterOpenIsSeen) {
    const TempDir directory;
    table_test::Store(directory.Path(), ThreeTables());
    const std::unique_ptr<FileExtMapMgr> manager(
        FileExtMapMgr::newFileExtMapMgr(directory.Path(), "", nullptr));
    ASSERT_EQ(manager->table->Open(directory.Path(), false, ""), 0);
    // In place, of the same length, and within the same tick of the clock for all that is known.
    const std::string path = directory / "data.mdb";
    ChangeByte(path);
    EXPECT_EQ(FailureOf(*manager), "mapping table " + path + ": checksum mismatch (errno 74)");
}

TEST(FileExtMapMgr, WhatWasLoadedIsNotLoadedAgainUnlessItChanged) {
    const TempDir directory;
    table_test::Store(directory.Path(), ThreeTables());
    const auto first = refstore::LoadDirectory(directory.Path());
    struct stat attributes = {};
    ASSERT_EQ(::stat((directory / "data.mdb").c_str(), &attributes), 0);
    {
        const interposed::FixedTime now(attributes.st_ctim.tv_sec + 3);
        const auto young = refstore::LoadDirectory(directory.Path());
        EXPECT_NE(young, first);
        EXPECT_NE(refstore::LoadDirectory(directory.Path()), young)
            << "too young to differ from a later one";
    }
    const interposed::FixedTime now(attributes.st_ctim.tv_sec + 4);
    const auto kept = refstore::LoadDirectory(directory.Path());
    EXPECT_EQ(refstore::LoadDirectory(directory.Path()), kept);
    const std::unique_ptr<FileExtMapMgr> manager(
        FileExtMapMgr::newFileExtMapMgr(directory.Path(), "", nullptr));
    ASSERT_EQ(manager->table->Open(directory.Path(), false, ""), 0);
    manager->LoadTables();
    EXPECT_EQ(manager->GetFileSize(), 777);
    EXPECT_EQ(refstore::LoadDirectory(directory.Path()), kept);
    EXPECT_NE(refstore::LoadDirectory(directory / "."), kept);
    manager->LoadTables();
    ChangeByte(directory / "data.mdb");
    EXPECT_NE(FailureOf(*manager), "");
}

TEST(FileExtMapMgr, WhatWasLoadedIsNotTakenForANeighbour) {
    const TempDir directory;
    const std::string mine = directory / "a";
    const std::string other = directory / "b";
    const std::string damaged = directory / "c";
    for (const std::string& path : {mine, other, damaged}) {
        test_support::MakeDirs(path);
    }
    table_test::Store(mine, ThreeTables());
    table_test::Store(other, table_test::Example());
    table_test::Store(damaged, ThreeTables());
    ChangeByte(damaged + "/data.mdb");
    struct stat attributes = {};
    ASSERT_EQ(::stat((damaged + "/data.mdb").c_str(), &attributes), 0);
    const interposed::FixedTime now(attributes.st_ctim.tv_sec + 4);
    EXPECT_EQ(refstore::LoadDirectory(mine)->FileSize(), 777);
    EXPECT_EQ(refstore::LoadDirectory(other)->FileSize(), table_test::Example().fileSize);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(refstore::LoadDirectory(mine)->FileSize(), 777);
        EXPECT_THROW(refstore::LoadDirectory(damaged), SysException);
        EXPECT_THROW(refstore::LoadDirectory(damaged), SysException);
    }
}

}  // namespace
