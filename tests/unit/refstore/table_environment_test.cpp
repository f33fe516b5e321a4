#include "refstore/table/table_environment.h"

#include <gtest/gtest.h>

#include "tests/unit/refstore/table_sample.h"

namespace {

using refstore::TableDirectoryRecord;
using refstore::TableEnvironment;

void ExpectSame(const TableEnvironment& environment, const TableDirectoryRecord& record) {
    EXPECT_EQ(environment.FileSize(), record.fileSize);
    ASSERT_EQ(environment.Tables().size(), record.tables.size());
    for (std::size_t i = 0; i < record.tables.size(); ++i) {
        SCOPED_TRACE(i);
        const refstore::TableRecord& table = record.tables[i];
        const refstore::TableInfo& info = environment.Tables()[i];
        EXPECT_EQ(info.offset, table.offset);
        EXPECT_EQ(info.end, table.end);
        EXPECT_EQ(info.extents, table.extents.size());
        EXPECT_EQ(info.dcids, table.dcids.size());
        EXPECT_EQ(table_test::ExtentsOf(environment, i), table.extents);
        EXPECT_EQ(environment.Dcids(i), table.dcids);
        const refstore::BloomBits expected = refstore::MakeBloomBits(table.bloom);
        EXPECT_EQ(environment.Bloom(i).hashes, expected.hashes);
        EXPECT_EQ(environment.Bloom(i).words, expected.words);
        EXPECT_EQ(info.bloomHashes, expected.hashes);
        EXPECT_EQ(info.bloomWords, expected.words.size());
    }
}

void ExpectRoundTrip(const TableDirectoryRecord& record) {
    ExpectSame(table_test::Load(table_test::Encode(record)), record);
}

TEST(TableEnvironment, TheExampleIsReadBack) {
    ExpectRoundTrip(table_test::Example());
}

TEST(TableEnvironment, ADirectoryWithoutTablesIsSound) {
    ExpectRoundTrip({.fileSize = 0, .tables = {}});
}

TEST(TableEnvironment, ATableWithoutExtentsIsSound) {
    ExpectRoundTrip({.fileSize = 0, .tables = {table_test::MakeTable(0, 1U << 30U, 0)}});
}

TEST(TableEnvironment, ValuesAreNotJudged) {
    refstore::TableRecord table;
    table.offset = ~std::uint64_t{0};
    table.end = 0;
    table.extents = {{.start = 0, .end = 0, .dcid = 0, .dataOffset = INT64_MIN},
                     {.start = 4096, .end = 1, .dcid = 63, .dataOffset = -1}};
    table.dcids = {{0, 0}, {0, 0}, {~0UL, ~0UL}};
    ExpectRoundTrip({.fileSize = -1, .tables = {table}});
}

TEST(TableEnvironment, EveryLengthOfDcidListIsReadBack) {
    for (const unsigned count : {1U, 119U, 120U, 121U, 240U, 241U, 5000U}) {
        SCOPED_TRACE(count);
        TableDirectoryRecord record = table_test::Example();
        record.tables[0].dcids.clear();
        for (unsigned long i = 0; i < count; ++i) {
            record.tables[0].dcids.emplace_back(count - i, i);
        }
        ExpectRoundTrip(record);
    }
}

TEST(TableEnvironment, ManyTablesOfAllSizesAreReadBack) {
    TableDirectoryRecord record{.fileSize = 123456789, .tables = {}};
    for (std::uint64_t i = 0; i < 300; ++i) {
        record.tables.push_back(
            table_test::MakeTable(i << 30U, (i + 1) << 30U, i % 7 == 0 ? 0 : i * i % 400));
    }
    ExpectRoundTrip(record);
}

TEST(TableEnvironment, AFilterOnPagesOfItsOwnIsReadBack) {
    ExpectRoundTrip({.fileSize = 5, .tables = {table_test::MakeTable(0, 1, 50000)}});
}

TEST(TableEnvironment, CoverageIsTheStoredOne) {
    const auto environment = table_test::Load(table_test::Encode(
        {.fileSize = 1,
         .tables = {table_test::MakeTable(10, 20, 0), table_test::MakeTable(20, 30, 0),
                    table_test::MakeTable(40, 50, 0)}}));
    const auto find = [&](std::uint64_t offset) { return environment.Find(offset); };
    EXPECT_EQ(find(0), std::nullopt);
    EXPECT_EQ(find(9), std::nullopt);
    EXPECT_EQ(find(10), 0U);
    EXPECT_EQ(find(19), 0U);
    EXPECT_EQ(find(20), 1U);
    EXPECT_EQ(find(29), 1U);
    EXPECT_EQ(find(30), std::nullopt);
    EXPECT_EQ(find(39), std::nullopt);
    EXPECT_EQ(find(40), 2U);
    EXPECT_EQ(find(49), 2U);
    EXPECT_EQ(find(50), std::nullopt);
    EXPECT_EQ(find(~std::uint64_t{0}), std::nullopt);
}

TEST(TableEnvironment, WhereCoverageOverlapsTheLastTableIsFound) {
    const auto environment = table_test::Load(table_test::Encode(
        {.fileSize = 1,
         .tables = {table_test::MakeTable(0, 100, 0), table_test::MakeTable(10, 20, 0),
                    table_test::MakeTable(10, 15, 0), table_test::MakeTable(60, 50, 0)}}));
    EXPECT_EQ(environment.Find(9), 0U);
    EXPECT_EQ(environment.Find(10), 2U);
    EXPECT_EQ(environment.Find(15), 1U);
    EXPECT_EQ(environment.Find(20), 0U);
    EXPECT_EQ(environment.Find(60), 0U);
    EXPECT_EQ(environment.Find(99), 0U);
    EXPECT_EQ(environment.Find(100), std::nullopt);
}

}  // namespace
