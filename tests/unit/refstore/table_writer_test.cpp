#include "refstore/table/table_writer.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/wait.h>
#include <xxhash.h>

#include <array>
#include <cstdio>
#include <filesystem>

#include "refstore/table/table_keys.h"
#include "storage/exception.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/refstore/page_environments.h"
#include "tests/unit/refstore/table_sample.h"

namespace {

using Corvane::Kst::Marlow::Jorv::SysException;
using refstore::WriteTableDirectory;
using test_support::Hex;
using test_support::TempDir;

std::string HexOf(const std::string& text) {
    return Hex(test_support::Bytes(text));
}

std::vector<std::string> NamesIn(const std::string& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

// Key and value of every record of the example.
constexpr std::array<std::pair<const char*, const char*>, 6> kExampleRecords = {{
    {"010000000000000000", "88130000000000000100000000000000"},
    {"020000000000000000",
     "00000000000000000000004000000000"
     "0200000002000000"},
    {"030000000000000000",
     "46000000000000000000000000000000"
     "01000000000000000900000000000000"},
    {"040000000000000000", "07000000000000000210800420000840"},
    {"050000000000000000",
     "00000000000000000010000000000000"
     "01000000000000000000000000000000"
     "61000000000000000000000000000000"
     "000102030405060708090a0b0c0d0e0f"
     "101112131415161718191a1b1c1d1e1f"},
    {"050000000000000001",
     "00100000000000008813000000000000"
     "46000000000000000500000000000000"
     "08080000000000000010000000000000"
     "202122232425262728292a2b2c2d2e2f"
     "303132333435363738393a3b3c3d3e3f"},
}};

// Output of a command, and its status behind it.
std::string OutputOf(const std::string& command) {
    FILE* const pipe = ::popen(command.c_str(), "r");
    std::string text;
    std::array<char, 4096> piece = {};
    for (std::size_t got = 0; (got = std::fread(piece.data(), 1, piece.size(), pipe)) > 0;) {
        text.append(piece.data(), got);
    }
    return text + "status " + std::to_string(WEXITSTATUS(::pclose(pipe)));
}

int ErrorOf(const std::string& directory, const refstore::TableDirectoryRecord& record) {
    try {
        WriteTableDirectory(directory, record);
        return 0;
    } catch (const SysException& failure) {
        return failure.GetErrorNumber();
    }
}

// The example of docs/formats/mapping-tables.md.
TEST(TableWriter, TheExampleHasTheseBytes) {
    const std::string bytes = table_test::Encode(table_test::Example());
    ASSERT_EQ(bytes.size(), 12320U);
    EXPECT_EQ(XXH3_64bits(bytes.data(), bytes.size()), 2436078488259778752U);
    EXPECT_EQ(HexOf(bytes.substr(std::size_t{3} * 4096)),
              "4a4f52565441424c"    // JORVTABL
              "01000000"            // version
              "00000000"            // zero
              "0030000000000000"    // three pages
              "780493a59f2a8170");  // checksum
    const TempDir directory;
    test_support::WriteFile(directory / "data.mdb", bytes);
    const auto records = page_test::ReadWithLmdb(directory / "data.mdb", MDB_NOSUBDIR);
    ASSERT_EQ(records.size(), kExampleRecords.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(HexOf(records[i].first), kExampleRecords.at(i).first);
        EXPECT_EQ(HexOf(records[i].second), kExampleRecords.at(i).second);
    }
}

TEST(TableWriter, TheSameRecordGivesTheSameBytes) {
    const refstore::TableDirectoryRecord record{
        .fileSize = 1,
        .tables = {table_test::MakeTable(0, 1U << 30U, 30000),
                   table_test::MakeTable(1U << 30U, 1U << 31U, 777)}};
    const std::string bytes = table_test::Encode(record);
    for (int dirt = 1; dirt <= 3; ++dirt) {
        // The allocator hands out memory that is full of another byte each time.
        ::mallopt(M_PERTURB, dirt);
        ASSERT_EQ(table_test::Encode(record), bytes) << dirt;
    }
    ::mallopt(M_PERTURB, 0);
}

TEST(TableWriter, LmdbReadsWhatThePageReaderReads) {
    for (const std::uint64_t count : {0U, 1U, 39U, 40U, 41U, 5000U, 100000U}) {
        SCOPED_TRACE(count);
        const TempDir directory;
        WriteTableDirectory(directory.Path(),
                            {.fileSize = 1, .tables = {table_test::MakeTable(0, 1, count)}});
        const std::string file = directory / "data.mdb";
        const auto records = page_test::ReadWithLmdb(file, MDB_NOSUBDIR);
        EXPECT_EQ(page_test::ReadWithPageReader(test_support::ReadFile(file)), records);
        EXPECT_EQ(NamesIn(directory.Path()), std::vector<std::string>{"data.mdb"});
    }
}

TEST(TableWriter, LmdbsOwnToolsReadTheDirectory) {
    ASSERT_EQ(OutputOf("command -v mdb_stat mdb_dump >/dev/null 2>&1; echo $?"), "0\nstatus 0")
        << "mdb_stat and mdb_dump are not installed";
    const TempDir directory;
    WriteTableDirectory(directory.Path(), table_test::Example());
    EXPECT_EQ(OutputOf("mdb_stat " + directory.Path()),
              "Status of Main DB\n"
              "  Tree depth: 1\n"
              "  Branch pages: 0\n"
              "  Leaf pages: 1\n"
              "  Overflow pages: 0\n"
              "  Entries: 6\n"
              "status 0");
    std::string dump =
        "VERSION=3\nformat=bytevalue\ntype=btree\nmapsize=81920\nmaxreaders=126\n"
        "db_pagesize=4096\nHEADER=END\n";
    for (const auto& [key, value] : kExampleRecords) {
        dump.append(" ").append(key).append("\n ").append(value).append("\n");
    }
    EXPECT_EQ(OutputOf("mdb_dump " + directory.Path()), dump + "DATA=END\nstatus 0");
}

TEST(TableWriter, ExtentsAreStoredInOffsetOrderAndEqualOnesAsTheyCame) {
    refstore::TableDirectoryRecord record = table_test::Example();
    auto& extents = record.tables[0].extents;
    extents = {{.start = 9, .end = 1},
               {.start = 2, .end = 7},
               {.start = 9, .end = 0},
               {.start = 2, .end = 1},
               {.start = ~std::uint64_t{0}, .end = 0}};
    const auto environment = table_test::Load(table_test::Encode(record));
    const std::vector<refstore::Extent> expected = {extents[1], extents[3], extents[0], extents[2],
                                                    extents[4]};
    EXPECT_EQ(table_test::ExtentsOf(environment, 0), expected);
    // Short runs of equal extents keep their order by chance.
    extents.clear();
    std::vector<refstore::Extent> many;
    for (std::uint64_t i = 0; i < 300; ++i) {
        extents.push_back({.start = i % 3, .end = i});
        many.push_back({.start = i / 100, .end = i % 100 * 3 + i / 100});
    }
    EXPECT_EQ(table_test::ExtentsOf(table_test::Load(table_test::Encode(record)), 0), many);
}

TEST(TableWriter, FailuresLeaveNothingBehind) {
    const TempDir directory;
    EXPECT_EQ(ErrorOf(directory / "missing", table_test::Example()), 2);
    EXPECT_FALSE(std::filesystem::exists(directory / "missing"));
    const refstore::TableDirectoryRecord disordered{
        .fileSize = 1, .tables = {table_test::MakeTable(2, 3, 1), table_test::MakeTable(1, 2, 1)}};
    EXPECT_EQ(ErrorOf(directory.Path(), disordered), 22);
    EXPECT_EQ(NamesIn(directory.Path()), std::vector<std::string>{});
    test_support::WriteFile(directory / "data.mdb", "older");
    EXPECT_EQ(ErrorOf(directory.Path(), table_test::Example()), 17);
    EXPECT_EQ(test_support::ReadFile(directory / "data.mdb"), "older");
    EXPECT_EQ(NamesIn(directory.Path()), std::vector<std::string>{"data.mdb"});
}

TEST(TableWriter, EveryNumberOfExtentsFindsRoomInTheMap) {
    // The room is added up ahead; a page too few would fail the write.
    for (std::uint64_t count = 0; count < 1500; count += 7) {
        ASSERT_EQ(table_test::ExtentsOf(
                      table_test::Load(table_test::Encode(
                          {.fileSize = 1, .tables = {table_test::MakeTable(0, 1, count)}})),
                      0)
                      .size(),
                  count);
    }
}

TEST(TableWriter, EveryLengthOfValueFindsRoomInTheMap) {
    for (std::size_t size = 0; size < 9000; size += 3) {
        const std::vector<std::pair<std::string, std::string>> records = {
            {"a", std::string(size, 'a')},
            {"b", std::string(size, 'b')},
            {"c", std::string(size, 'c')},
            {"d", std::string(size, 'd')}};
        const std::string file = table_test::EncodeRecords(records);
        ASSERT_EQ(page_test::ReadWithPageReader(file), records);
    }
}

}  // namespace
