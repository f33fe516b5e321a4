#include "refstore/table/table_directory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <functional>
#include <stdexcept>

#include "refstore/extent/extent_writer.h"
#include "tests/unit/refstore/base_sealed_record.h"
#include "tests/unit/refstore/table_sample.h"

namespace {

using refstore::EncodeTables;
using refstore::Extent;
using refstore::TableDirectory;
using refstore::TableDirectoryRecord;
using refstore::TableRecord;
using refstore_test::Failure;
using refstore_test::FailureOf;
using table_test::MakeTable;
using test_support::TempDir;

constexpr std::uint64_t kGiB = std::uint64_t{1} << 30;

// Loads the file and reads every part of it, for the sanitizers.
void LoadAll(const std::string& path) {
    const auto loaded = TableDirectory::Load(path);
    std::uint64_t sum = 0;
    for (const refstore::StoredTableView& table : loaded->Tables()) {
        for (const Extent& extent : table.extents) {
            sum += extent.start + extent.fp.bytes[31] + loaded->Find(extent.start).value_or(0);
        }
        for (const auto& [dcid, second] : table.dcids) {
            sum += dcid + second;
        }
        sum += BloomContains(table.Bloom(), {}) ? 1U : 0U;
    }
    EXPECT_EQ(sum, sum);
}

std::shared_ptr<const TableDirectory> Stored(const TableDirectoryRecord& record) {
    const TempDir dir;
    table_test::Store(dir.Path(), record);
    return TableDirectory::Load(dir / "data.mdb");
}

void ExpectRoundTrip(const TableDirectoryRecord& record) {
    const auto loaded = Stored(record);
    EXPECT_EQ(loaded->FileSize(), record.fileSize);
    ASSERT_EQ(loaded->Tables().size(), record.tables.size());
    for (std::size_t i = 0; i < record.tables.size(); ++i) {
        SCOPED_TRACE(i);
        const TableRecord& table = record.tables[i];
        const refstore::StoredTableView& found = loaded->Tables()[i];
        EXPECT_EQ(found.offset, table.offset);
        EXPECT_EQ(found.end, table.end);
        EXPECT_TRUE(std::ranges::equal(found.extents, table.extents));
        EXPECT_TRUE(std::ranges::equal(found.dcids, table.dcids));
        const refstore::BloomBits bloom = refstore::MakeBloomBits(table.bloom);
        EXPECT_EQ(found.Bloom().hashes, bloom.hashes);
        EXPECT_EQ(found.Bloom().words, bloom.words);
    }
}

TEST(TableDirectory, WhatIsWrittenIsReadBack) {
    ExpectRoundTrip(table_test::Example());
    ExpectRoundTrip({.fileSize = 0, .tables = {}});
    ExpectRoundTrip({.fileSize = 0, .tables = {MakeTable(0, kGiB, 0)}});
    ExpectRoundTrip({.fileSize = 5, .tables = {MakeTable(0, kGiB, 50000)}});
    TableDirectoryRecord many{.fileSize = 123456789, .tables = {}};
    for (std::uint64_t i = 0; i < 300; ++i) {
        many.tables.push_back(MakeTable(i * kGiB, (i + 1) * kGiB, i % 7 == 0 ? 0 : i * i % 400));
    }
    ExpectRoundTrip(many);
}

TEST(TableDirectory, ValuesAreNotJudged) {
    TableRecord table;
    table.offset = ~std::uint64_t{0};
    table.end = 0;
    table.extents = {{.start = 0, .end = 0, .dcid = 0, .dataOffset = INT64_MIN},
                     {.start = 4096, .end = 1, .dcid = 63, .dataOffset = -1}};
    table.dcids = {{0, 0}, {0, 0}, {~0UL, ~0UL}};
    ExpectRoundTrip({.fileSize = -1, .tables = {table}});
}

// The example of docs/formats/mapping-tables.md.
TEST(TableDirectory, TheExampleHasTheseBytes) {
    EXPECT_EQ(
        test_support::Hex(EncodeTables(table_test::Example())),
        "4a4f52565441424c"                  // JORVTABL
        "0200000000000000"                  // version 2, zero
        "3801000000000000"                  // 312 bytes of payload
        "1000000000000000"                  // offset of the record, padding
        "0800140008000400"                  // its fields: file size, tables
        "0800000010000000"                  // the record: offsets of fields and tables
        "8813000000000000"                  // 5000 bytes
        "00000000"                          // padding
        "0100000014000000"                  // one table and its offset
        "1000200000001400040008000c001000"  // its fields
        "10000000540000002800000014000000"  // the table: offsets of fields, extents, DCIDs, filter
        "07000000"                          // hashes
        "0000004000000000"                  // end of its coverage
        "00000000"                          // padding
        "010000000210800420000840"          // filter of one word
        "00000000"                          // padding
        "02000000"                          // two DCIDs
        "46000000000000000000000000000000"
        "01000000000000000900000000000000"
        "00000000"  // padding
        "02000000"  // two extents
        "00000000000000000010000000000000"
        "01000000000000000000000000000000"
        "61000000000000000000000000000000"
        "000102030405060708090a0b0c0d0e0f"
        "101112131415161718191a1b1c1d1e1f"
        "00100000000000008813000000000000"
        "46000000000000000500000000000000"
        "08080000000000000010000000000000"
        "202122232425262728292a2b2c2d2e2f"
        "303132333435363738393a3b3c3d3e3f"
        "01b799f26730e8a4");  // seal
}

TEST(TableDirectory, AFileOfFewExtentsIsSmall) {
    for (std::uint64_t count = 1; count <= 8; ++count) {
        TableRecord table = MakeTable(0, kGiB, count);
        EXPECT_LE(EncodeTables({.fileSize = 1, .tables = {table}}).size(), 2048U) << count;
    }
}

TEST(TableDirectory, ExtentsAreStoredInOffsetOrderAndEqualOnesAsTheyCame) {
    TableDirectoryRecord record = table_test::Example();
    auto& extents = record.tables[0].extents;
    extents.clear();
    std::vector<Extent> expected;
    // Short runs of equal extents would keep their order by chance.
    for (std::uint64_t i = 0; i < 300; ++i) {
        extents.push_back({.start = i % 3, .end = i});
        expected.push_back({.start = i / 100, .end = i % 100 * 3 + i / 100});
    }
    extents.push_back({.start = ~std::uint64_t{0}, .end = 0});
    expected.push_back(extents.back());
    EXPECT_TRUE(std::ranges::equal(Stored(record)->Tables()[0].extents, expected));
}

TEST(TableDirectory, CoverageIsTheStoredOne) {
    const auto loaded =
        Stored({.fileSize = 1,
                .tables = {MakeTable(10, 20, 0), MakeTable(20, 30, 0), MakeTable(40, 50, 0)}});
    for (const std::uint64_t hole : {0UL, 9UL, 30UL, 39UL, 50UL, ~0UL}) {
        EXPECT_EQ(loaded->Find(hole), std::nullopt) << hole;
    }
    EXPECT_EQ(loaded->Find(10), 0U);
    EXPECT_EQ(loaded->Find(19), 0U);
    EXPECT_EQ(loaded->Find(20), 1U);
    EXPECT_EQ(loaded->Find(29), 1U);
    EXPECT_EQ(loaded->Find(40), 2U);
    EXPECT_EQ(loaded->Find(49), 2U);
}

TEST(TableDirectory, WhereCoverageOverlapsTheLastTableIsFound) {
    const auto loaded = Stored({.fileSize = 1,
                                .tables = {MakeTable(0, 100, 0), MakeTable(10, 20, 0),
                                           MakeTable(10, 15, 0), MakeTable(60, 50, 0)}});
    EXPECT_EQ(loaded->Find(9), 0U);
    EXPECT_EQ(loaded->Find(10), 2U);
    EXPECT_EQ(loaded->Find(15), 1U);
    EXPECT_EQ(loaded->Find(20), 0U);
    EXPECT_EQ(loaded->Find(60), 0U);
    EXPECT_EQ(loaded->Find(99), 0U);
    EXPECT_EQ(loaded->Find(100), std::nullopt);
}

TEST(TableDirectory, AnyChangedMissingOrAddedByteIsDamage) {
    refstore_test::ExpectEveryDamageFound("mapping table", EncodeTables(table_test::Example()),
                                          LoadAll);
}

TEST(TableDirectory, AnyFieldChangedUnderASealThatFitsIsDamageOrHarmless) {
    refstore_test::ExpectResealedDamageSurvived(refstore::kTablesKind,
                                                EncodeTables(table_test::Example()), LoadAll);
    refstore_test::ExpectResealedDamageSurvived(
        refstore::kTablesKind,
        EncodeTables({.fileSize = 1,
                      .tables = {MakeTable(0, kGiB, 2), MakeTable(kGiB, 2 * kGiB, 0),
                                 MakeTable(2 * kGiB, 3 * kGiB, 1)}}),
        LoadAll);
}

// Tables that the writer does not write, in an envelope that fits.
using Builder = flatbuffers::FlatBufferBuilder;
using Table = flatbuffers::Offset<refstore::extent_format::StoredTable>;
using Tables = std::vector<Table>;

Table BareTable(Builder& builder, std::uint64_t offset, std::uint64_t end, std::uint32_t hashes,
                std::size_t words, std::size_t extents = 0, std::size_t dcids = 0) {
    const auto extentsAt = refstore::AddExtents(builder, std::vector<Extent>(extents));
    const auto dcidsAt =
        builder.CreateVectorOfStructs(std::vector<refstore::extent_format::StoredDcid>(dcids));
    const auto wordsAt = builder.CreateVector(std::vector<std::uint64_t>(words));
    return refstore::extent_format::CreateStoredTable(builder, offset, end, extentsAt, dcidsAt,
                                                      wordsAt, hashes);
}

// Why the tables are refused; empty when they load.
std::string DamageOf(const std::function<Tables(Builder&)>& tables) {
    Builder builder;
    const auto stored = builder.CreateVector(tables(builder));
    builder.Finish(refstore::extent_format::CreateMappingTables(builder, 1, stored));
    const TempDir dir;
    const std::string path = dir / "data.mdb";
    test_support::WriteFile(path, refstore::SealRecord(refstore::kTablesKind, builder));
    const Failure failure = FailureOf([&] { LoadAll(path); });
    if (failure == Failure{}) {
        return {};
    }
    const std::string front = "mapping table " + path + ": ";
    EXPECT_EQ(failure.code, EBADMSG);
    EXPECT_TRUE(failure.message.starts_with(front)) << failure.message;
    return failure.message.substr(front.size());
}

TEST(TableDirectory, TablesStandInTheOrderOfTheirOffsets) {
    const auto damageOf = [](std::uint64_t first, std::uint64_t second) {
        return DamageOf([&](Builder& builder) {
            return Tables{BareTable(builder, first, 9, 0, 0), BareTable(builder, second, 9, 0, 0)};
        });
    };
    EXPECT_EQ(damageOf(1, 2), "");
    EXPECT_EQ(damageOf(2, 2), "");
    EXPECT_EQ(damageOf(2, 1), "tables out of order (errno 74)");
}

TEST(TableDirectory, AFilterIsOneThatCanBeAsked) {
    const auto damageOf = [](std::uint32_t hashes, std::size_t words) {
        return DamageOf(
            [&](Builder& builder) { return Tables{BareTable(builder, 0, 9, hashes, words)}; });
    };
    EXPECT_EQ(damageOf(0, 0), "");
    EXPECT_EQ(damageOf(1, 1), "");
    EXPECT_EQ(damageOf(64, 1), "");
    for (const auto& [hashes, words] : {std::pair(65U, 1U), {0U, 1U}, {7U, 0U}}) {
        EXPECT_EQ(damageOf(hashes, words), "malformed bloom filter (errno 74)");
    }
}

TEST(TableDirectory, ATableThatCostsTooMuchToStepThroughIsDamage) {
    const auto damageOf = [](std::uint64_t offset, std::uint64_t end, std::size_t extents,
                             std::size_t dcids) {
        return DamageOf([&](Builder& builder) {
            return Tables{BareTable(builder, offset, end, 0, 0, extents, dcids)};
        });
    };
    const std::string tooMuch = "table costs too much to step through (errno 74)";
    constexpr std::uint64_t kMost = std::uint64_t{1} << 46;
    EXPECT_EQ(damageOf(5, 5 + kMost, 0, 0), "");
    EXPECT_EQ(damageOf(5, 6 + kMost, 0, 0), tooMuch);
    EXPECT_EQ(damageOf(0, ~std::uint64_t{0}, 0, 0), tooMuch);
    EXPECT_EQ(damageOf(~std::uint64_t{0}, 0, 9, 9), "");
    // 2^16 GiB, 2^14 extents and DCIDs.
    EXPECT_EQ(damageOf(0, kMost, 16000, 384), "");
    EXPECT_EQ(damageOf(0, kMost, 16000, 385), tooMuch);
    EXPECT_EQ(damageOf(0, kMost, 16385, 0), tooMuch);
    EXPECT_EQ(damageOf(0, kMost / 2, 16385, 0), "");
    // A sound file of 2 TiB in one table of 8192 GiB.
    EXPECT_EQ(damageOf(0, 8192 * kGiB, 131072, 0), "");
}

TEST(TableDirectory, APartOfTwoTablesIsDamage) {
    const std::string shared = DamageOf([](Builder& builder) {
        const Table table = BareTable(builder, 0, 9, 0, 0, 1000);
        return Tables{table, table};
    });
    EXPECT_EQ(shared, "tables overlap in the file (errno 74)");
    // An empty part takes no room that others could claim.
    EXPECT_EQ(DamageOf([](Builder& builder) {
                  const Table table = BareTable(builder, 0, 9, 0, 0);
                  return Tables{table, table};
              }),
              "");
}

TEST(TableDirectory, AsManyTablesAsAFileHasAtMostAreReadAndOneMoreIsNot) {
    TableDirectoryRecord record{.fileSize = 1, .tables = {}};
    for (std::uint64_t i = 0; i < refstore::kMaxTables; ++i) {
        record.tables.push_back(
            {.offset = i, .end = i + 1, .extents = {}, .dcids = {}, .bloom = {}});
    }
    EXPECT_EQ(Stored(record)->Find(refstore::kMaxTables - 1), refstore::kMaxTables - 1);
    record.tables.push_back(record.tables.back());
    EXPECT_THROW(EncodeTables(record), std::length_error);
    EXPECT_EQ(DamageOf([](Builder& builder) {
                  return Tables(refstore::kMaxTables + 1, BareTable(builder, 0, 9, 0, 0));
              }),
              "too many tables (errno 74)");
}

TEST(TableDirectory, TablesOutOfOrderAreNotWritten) {
    EXPECT_THROW(EncodeTables({.fileSize = 1, .tables = {MakeTable(2, 3, 1), MakeTable(1, 2, 1)}}),
                 std::invalid_argument);
}

TEST(TableDirectory, WhatCannotBeReadGivesItsErrno) {
    const TempDir dir;
    const std::string path = dir / "data.mdb";
    EXPECT_EQ(FailureOf([&] { TableDirectory::Load(path); }),
              (Failure{ENOENT, "mapping table " + path + ": No such file or directory (errno 2)"}));
    test_support::MakeDirs(path);
    EXPECT_EQ(FailureOf([&] { TableDirectory::Load(path); }).code, EISDIR);
    EXPECT_EQ(FailureOf([&] { TableDirectory::Load("/dev/null"); }).code, EINVAL);
}

}  // namespace
