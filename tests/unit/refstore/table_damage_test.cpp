#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "refstore/table/table_keys.h"
#include "refstore/table/table_trailer.h"
#include "storage/exception.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/refstore/page_environments.h"
#include "tests/unit/refstore/table_sample.h"

namespace {

using Corvane::Kst::Marlow::Jorv::SysException;
using refstore::MakeKey;
using refstore::RecordKind;
using table_test::DamageOf;
using test_support::TempDir;
using Records = std::vector<std::pair<std::string, std::string>>;

template <typename T>
std::string TextOf(const T& value) {
    std::string text(sizeof value, '\0');
    std::memcpy(text.data(), &value, sizeof value);
    return text;
}

std::string Key(RecordKind kind, std::uint32_t table, std::uint32_t sequence) {
    return TextOf(MakeKey(kind, table, sequence));
}

TEST(TableDamage, EveryByteChangedIsFoundByTheSeal) {
    std::string bytes = table_test::Encode(table_test::Example());
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        for (const unsigned change : {1U, 0x80U, 0xffU}) {
            const char old = bytes[at];
            bytes[at] = static_cast<char>(static_cast<unsigned char>(old) ^ change);
            const std::size_t inTrailer = at - (bytes.size() - refstore::kTrailerSize);
            const char* const expected = at < bytes.size() - refstore::kTrailerSize
                                             ? "checksum mismatch"
                                         : inTrailer < 8  ? "bad magic number"
                                         : inTrailer < 12 ? "unknown version"
                                         : inTrailer < 16 ? "reserved field is not zero"
                                         : inTrailer < 24 ? "length mismatch"
                                                          : "checksum mismatch";
            ASSERT_EQ(DamageOf(bytes), expected) << "byte " << at;
            bytes[at] = old;
        }
    }
    EXPECT_EQ(DamageOf(bytes), "");
}

TEST(TableDamage, EveryByteChangedUnderASealThatFitsDoesNoHarm) {
    const std::string sound = table_test::Encode(table_test::Example());
    std::size_t refused = 0;
    for (std::size_t at = 0; at < sound.size() - refstore::kTrailerSize; ++at) {
        for (const unsigned change : {1U, 0x80U, 0xffU}) {
            std::string bytes = sound;
            bytes[at] = static_cast<char>(static_cast<unsigned char>(bytes[at]) ^ change);
            refused += DamageOf(table_test::Reseal(std::move(bytes))).empty() ? 0U : 1U;
        }
    }
    EXPECT_GT(refused, 0U);
}

TEST(TableDamage, EveryShorterLengthIsRefused) {
    const std::string bytes = table_test::Encode(table_test::Example());
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        ASSERT_EQ(DamageOf(bytes.substr(0, size)),
                  size < refstore::kTrailerSize ? "too short" : "bad magic number")
            << size;
    }
}

TEST(TableDamage, AddedBytesAreRefused) {
    const std::string bytes = table_test::Encode(table_test::Example());
    const std::string trailer = bytes.substr(bytes.size() - refstore::kTrailerSize);
    EXPECT_EQ(DamageOf(bytes + "x"), "bad magic number");
    EXPECT_EQ(DamageOf(bytes + trailer), "length mismatch");
    EXPECT_EQ(DamageOf(std::string(4096, '\0') + bytes), "length mismatch");
    const std::string pages = bytes.substr(0, bytes.size() - refstore::kTrailerSize);
    for (const std::size_t more : {std::size_t{1}, std::size_t{4096}, std::size_t{100000}}) {
        EXPECT_EQ(
            DamageOf(table_test::Reseal(std::string(pages).append(more, '\0').append(trailer))),
            "trailer does not follow the last page");
    }
}

TEST(TableDamage, PagesUnderASealThatFitsAreChecked) {
    std::string bytes = table_test::Encode(table_test::Example());
    bytes[std::size_t{2} * 4096] = 9;
    EXPECT_EQ(DamageOf(table_test::Reseal(bytes)), "page 2: bears another number");
}

// Records of one table of one extent, as they should be.
Records Sound() {
    return {{Key(RecordKind::kFile, 0, 0),
             TextOf(refstore::FileValue{.fileSize = 1, .tables = 1, .zero = 0})},
            {Key(RecordKind::kTable, 0, 0),
             TextOf(refstore::TableValue{.offset = 0, .end = 9, .extents = 1, .dcids = 1})},
            {Key(RecordKind::kDcids, 0, 0), std::string(16, 'd')},
            {Key(RecordKind::kBloom, 0, 0),
             TextOf(refstore::BloomHead{.hashes = 7, .zero = 0}) + std::string(8, 'b')},
            {Key(RecordKind::kExtents, 0, 0), std::string(80, 'e')}};
}

std::string DamageOfRecords(const Records& records) {
    return DamageOf(table_test::EncodeRecords(records));
}

TEST(TableDamage, EachRecordMustBeThere) {
    ASSERT_EQ(DamageOfRecords(Sound()), "");
    for (std::size_t i = 0; i < Sound().size(); ++i) {
        Records records = Sound();
        records.erase(records.begin() + static_cast<std::ptrdiff_t>(i));
        EXPECT_EQ(DamageOfRecords(records),
                  i == 4 ? "missing record" : "missing or unknown record");
    }
    EXPECT_EQ(DamageOfRecords({}), "missing record");
}

TEST(TableDamage, AnUnknownRecordIsRefused) {
    for (const std::string& key : {Key(RecordKind::kExtents, 0, 1), Key(RecordKind::kExtents, 1, 0),
                                   std::string("\x06"), Key(RecordKind::kExtents, 0, 0) + "x"}) {
        Records records = Sound();
        records.emplace_back(key, std::string(80, 'e'));
        EXPECT_EQ(DamageOfRecords(records), "unknown record");
    }
    for (const std::string& key : {std::string("\0", 1), std::string("k"),
                                   Key(RecordKind::kTable, 1, 0), Key(RecordKind::kDcids, 0, 1)}) {
        Records records = Sound();
        records.emplace_back(key, "");
        std::sort(records.begin(), records.end());
        EXPECT_EQ(DamageOfRecords(records),
                  key == "k" ? "unknown record" : "missing or unknown record");
    }
}

TEST(TableDamage, EachRecordHasItsSize) {
    for (std::size_t i = 0; i < Sound().size(); ++i) {
        for (const int change : {-1, 1, 16, 4000}) {
            SCOPED_TRACE(std::to_string(i) + ": " + std::to_string(change));
            Records records = Sound();
            std::string& value = records[i].second;
            value.resize(value.size() + static_cast<std::size_t>(change), '\1');
            // A filter may have any number of words.
            const bool isFilter = i == 3 && change % 8 == 0;
            EXPECT_EQ(DamageOfRecords(records), isFilter ? "" : "record of a wrong size");
        }
    }
    Records records = Sound();
    records[3].second.resize(7);
    EXPECT_EQ(DamageOfRecords(records), "record of a wrong size");
}

TEST(TableDamage, CountsAreThoseOfTheRecords) {
    Records records = Sound();
    records[0].second = TextOf(refstore::FileValue{.fileSize = 1, .tables = 0xffffffff, .zero = 0});
    EXPECT_EQ(DamageOfRecords(records), "missing or unknown record");
    records = Sound();
    records[0].second = TextOf(refstore::FileValue{.fileSize = 1, .tables = 1, .zero = 1});
    EXPECT_EQ(DamageOfRecords(records), "reserved field is not zero");
    records = Sound();
    records[1].second =
        TextOf(refstore::TableValue{.offset = 0, .end = 9, .extents = 0xffffffff, .dcids = 1});
    EXPECT_EQ(DamageOfRecords(records), "missing record");
    records[1].second =
        TextOf(refstore::TableValue{.offset = 0, .end = 9, .extents = 0, .dcids = 1});
    EXPECT_EQ(DamageOfRecords(records), "unknown record");
    records[1].second =
        TextOf(refstore::TableValue{.offset = 0, .end = 9, .extents = 1, .dcids = 0xffffffff});
    EXPECT_EQ(DamageOfRecords(records), "record of a wrong size");
}

TEST(TableDamage, AFilterIsOneThatCanBeAsked) {
    const auto damageOf = [](std::uint32_t hashes, std::uint32_t zero, std::size_t words) {
        Records records = Sound();
        records[3].second = TextOf(refstore::BloomHead{.hashes = hashes, .zero = zero}) +
                            std::string(8 * words, 'b');
        return DamageOfRecords(records);
    };
    EXPECT_EQ(damageOf(0, 0, 0), "");
    EXPECT_EQ(damageOf(1, 0, 1), "");
    EXPECT_EQ(damageOf(64, 0, 1), "");
    EXPECT_EQ(damageOf(65, 0, 1), "malformed bloom filter");
    EXPECT_EQ(damageOf(0, 0, 1), "malformed bloom filter");
    EXPECT_EQ(damageOf(7, 0, 0), "malformed bloom filter");
    EXPECT_EQ(damageOf(7, 1, 1), "malformed bloom filter");
}

TEST(TableDamage, TablesStandInTheOrderOfTheirOffsets) {
    const auto table = [](std::uint64_t offset) {
        return TextOf(refstore::TableValue{.offset = offset, .end = 9, .extents = 0, .dcids = 0});
    };
    const std::string bloom(8, '\0');
    const auto damageOf = [&](std::uint64_t first, std::uint64_t second) {
        return DamageOfRecords({{Key(RecordKind::kFile, 0, 0),
                                 TextOf(refstore::FileValue{.fileSize = 1, .tables = 2})},
                                {Key(RecordKind::kTable, 0, 0), table(first)},
                                {Key(RecordKind::kTable, 1, 0), table(second)},
                                {Key(RecordKind::kBloom, 0, 0), bloom},
                                {Key(RecordKind::kBloom, 1, 0), bloom}});
    };
    EXPECT_EQ(damageOf(1, 2), "");
    EXPECT_EQ(damageOf(2, 2), "");
    EXPECT_EQ(damageOf(2, 1), "tables out of order");
}

// errno and message of a load that fails.
std::pair<int, std::string> FailureOf(const std::string& directory) {
    try {
        refstore::TableEnvironment::Load(directory);
        return {};
    } catch (const SysException& failure) {
        return {failure.GetErrorNumber(), failure.what()};
    }
}

TEST(TableDamage, WhatCannotBeReadGivesItsErrno) {
    const TempDir directory;
    const std::string path = directory / "data.mdb";
    const auto expected = [&](int code, const std::string& why) {
        return std::pair(
            code, "mapping table " + path + ": " + why + " (errno " + std::to_string(code) + ")");
    };
    EXPECT_EQ(FailureOf(directory.Path()), expected(ENOENT, "No such file or directory"));
    test_support::MakeDirs(path);
    EXPECT_EQ(FailureOf(directory.Path()), expected(EISDIR, "Is a directory"));
    std::filesystem::remove(path);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(FailureOf(directory.Path()), expected(EINVAL, "Invalid argument"));
    std::filesystem::remove(path);
    test_support::WriteFile(path, "");
    EXPECT_EQ(FailureOf(directory.Path()), expected(EBADMSG, "too short"));
    EXPECT_EQ(
        FailureOf(path),
        std::pair(ENOTDIR, "mapping table " + path + "/data.mdb: " + "Not a directory (errno 20)"));
    // Sparse: neither is read, nor is room made for it.
    std::filesystem::resize_file(path, std::uintmax_t{1} << 33U);
    EXPECT_EQ(FailureOf(directory.Path()), expected(EBADMSG, "bad magic number"));
    for (const std::uintmax_t tooLarge :
         {(std::uintmax_t{1} << 34U) + 1, std::uintmax_t{1} << 43U}) {
        std::filesystem::resize_file(path, tooLarge);
        EXPECT_EQ(FailureOf(directory.Path()), expected(EFBIG, "File too large")) << tooLarge;
    }
}

}  // namespace
