#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "refstore/config/settings.h"
#include "refstore/container/container_reader.h"
#include "refstore/extent/extent_record.h"
#include "refstore/extent/sampled_checksum.h"
#include "refstore/fingerprint.h"
#include "refstore/header/header_record.h"
#include "refstore/image/image_record.h"
#include "refstore/table/table_directory.h"
#include "storage/exception.h"
#include "tests/support/stored_records.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/jorvshare/tool_run.h"

namespace {

namespace fs = std::filesystem;
using Corvane::Kst::Marlow::Jorv::SysException;
using refstore::Extent;
using test_support::Fp;
using test_support::FpDigits;
using test_support::MakeDirs;
using test_support::ReadFile;
using test_support::TempDir;
using test_support::WriteFile;
using tool_test::Ended;
using tool_test::RunTool;

crfp_digest_t FpOf(std::string_view text) {
    return refstore::Fingerprint(std::as_bytes(std::span(text)));
}

class MakeTest : public testing::Test {
  protected:
    Ended Make(const std::string& recipe) {
        WriteFile(temp_ / "r.json", recipe);
        return RunTool({"make", temp_ / "r.json", temp_ / "site"});
    }

    void MakeSound(const std::string& recipe) {
        const Ended ended = Make(recipe);
        ASSERT_EQ(ended.err, "");
        ASSERT_EQ(ended.status, 0);
    }

    // The run fails with the line and leaves nothing.
    void ExpectNotBuilt(const std::string& recipe, const std::string& line) {
        tool_test::ExpectRefused(Make(recipe), line);
        EXPECT_FALSE(fs::exists(temp_ / "site"));
        EXPECT_FALSE(fs::exists(temp_ / "site.partial"));
    }

    // The same, with a line about the recipe itself.
    void ExpectRefused(const std::string& recipe, const std::string& line) {
        ExpectNotBuilt(recipe, (temp_ / "r.json") + ": " + line);
    }

    // A recipe with one file of share 7.
    static std::string OneFile(const std::string& members) {
        return R"({"shares":[{"id":"7","files":[{"path":"a/f",)" + members + "}]}]}";
    }

    [[nodiscard]] std::vector<Extent> Extents() const {
        const auto record = refstore::LoadExtentRecord(temp_ / "site/meta/7/7/map/a/f");
        return {record.extents.begin(), record.extents.end()};
    }

    [[nodiscard]] std::set<std::string> Paths() const {
        std::set<std::string> paths;
        for (const auto& [path, text] : tool_test::Snapshot(temp_ / "site")) {
            paths.insert(path);
        }
        return paths;
    }

    TempDir temp_;
};

TEST_F(MakeTest, AnEmptyRecipeGivesASiteWithTheDefaults) {
    const Ended ended = Make("{}");
    EXPECT_EQ(ended.out, temp_ / "site: 0 shares, 0 files\n");
    EXPECT_EQ(Paths(),
              (std::set<std::string>{"fstab", "images", "jorv.toml", "log", "meta", "volumes"}));
    const auto settings = refstore::ReadSettings(temp_ / "site/jorv.toml");
    EXPECT_EQ(settings.useFileExtMap, 0);
    EXPECT_FALSE(settings.dcidBloomEnabled);
    EXPECT_EQ(settings.tableSpanGiB, 1U);
    EXPECT_FALSE(settings.klfsAware);
    EXPECT_EQ(settings.metaDir, temp_ / "site/meta");
    EXPECT_EQ(settings.storageFstab, temp_ / "site/fstab");
    EXPECT_EQ(settings.imageRoot, temp_ / "site/images");
    EXPECT_EQ(settings.logFile, temp_ / "site/log/jorv.log");
}

TEST_F(MakeTest, TheConfigurationIsWrittenAsTold) {
    MakeSound(R"({"config":{"use_file_ext_map":-5,"dcid_bloom_enabled":true,
                  "table_span_gib":"4294967295","klfs_aware":true}})");
    const auto settings = refstore::ReadSettings(temp_ / "site/jorv.toml");
    EXPECT_EQ(settings.useFileExtMap, -5);
    EXPECT_TRUE(settings.dcidBloomEnabled);
    EXPECT_EQ(settings.tableSpanGiB, 4294967295U);
    EXPECT_TRUE(settings.klfsAware);
}

TEST_F(MakeTest, ASpanThatTheLibraryRefusesIsWrittenAllTheSame) {
    MakeSound(R"({"config":{"table_span_gib":0}})");
    EXPECT_NE(ReadFile(temp_ / "site/jorv.toml").find("table_span_gib = 0\n"), std::string::npos);
}

TEST_F(MakeTest, VolumesHoldContainersAndOtherFiles) {
    MakeSound(R"({"volumes":[{"name":"v 1","containers":[100,"101",5],
                              "files":{"18.bin":"","sub/abc.bin":"text"}},
                             {"name":"v2"}]})");
    EXPECT_EQ(Paths(),
              (std::set<std::string>{"fstab", "images", "jorv.toml", "log", "meta", "volumes",
                                     "volumes/v 1", "volumes/v 1/100.bin", "volumes/v 1/100.bhd",
                                     "volumes/v 1/101.bin", "volumes/v 1/101.bhd",
                                     "volumes/v 1/5.bin", "volumes/v 1/5.bhd", "volumes/v 1/18.bin",
                                     "volumes/v 1/sub", "volumes/v 1/sub/abc.bin", "volumes/v2"}));
    EXPECT_EQ(ReadFile(temp_ / "site/volumes/v 1/sub/abc.bin"), "text");
    for (const auto& [dcid, files] : refstore::FindContainers({temp_ / "site/volumes/v 1"})) {
        EXPECT_EQ(refstore::LoadContainerIndex(files.bhd).dcid, dcid);
    }
    EXPECT_NE(ReadFile(temp_ / "site/fstab").find("/site/volumes/v\\0401 "), std::string::npos);
    EXPECT_NE(ReadFile(temp_ / "site/fstab").find("/site/volumes/v2 "), std::string::npos);
}

TEST_F(MakeTest, TheTableOfVolumesListsWhatItIsTold) {
    MakeSound(R"({"volumes":[{"name":"v1"},{"name":"v2"}],"fstab":["v2","v9"]})");
    const std::string fstab = ReadFile(temp_ / "site/fstab");
    EXPECT_EQ(fstab.find("/volumes/v1 "), std::string::npos);
    EXPECT_LT(fstab.find("/volumes/v2 "), fstab.find("/volumes/v9 "));
    EXPECT_NE(fstab.find("/volumes/v9 "), std::string::npos);
}

TEST_F(MakeTest, WhatAFileDoesNotHaveIsNotWritten) {
    MakeSound(OneFile(R"("header":{})"));
    EXPECT_EQ(Paths(), (std::set<std::string>{"fstab", "images", "jorv.toml", "log", "meta",
                                              "meta/7", "meta/7/7", "meta/7/7/head",
                                              "meta/7/7/head/a", "meta/7/7/head/a/f",
                                              "meta/7/7/map", "meta/7/7/stu", "volumes"}));
    const refstore::HeaderRecord expected{1, 0, 1600000000, 0, 0644, 0, false, temp_ / "site/meta"};
    EXPECT_EQ(refstore::LoadHeaderRecord(temp_ / "site/meta/7/7/head/a/f"), expected);
}

TEST_F(MakeTest, AHeaderHoldsWhatItIsTold) {
    MakeSound(OneFile(R"("header":{"trans_id":"-9223372036854775808","size":9223372036854775807,
        "mtime":-1,"fg":"18446744073709551615","is_dev":true,"extent_location":"/else"})"));
    const refstore::HeaderRecord expected{INT64_MIN, INT64_MAX,  -1,   0,
                                          0644,      UINT64_MAX, true, "/else"};
    EXPECT_EQ(refstore::LoadHeaderRecord(temp_ / "site/meta/7/7/head/a/f"), expected);
}

TEST_F(MakeTest, ExtentsHaveDefaultsForAllButTheirRange) {
    MakeSound(OneFile(R"("header":{"trans_id":6},"stu":{"repeat":["4142",1024]},
        "extent_file":{"extents":[{"start":1024,"end":4096},{"start":5000,"end":6000}]})"));
    const std::string unit = ReadFile(temp_ / "site/meta/7/7/stu/a/f");
    ASSERT_EQ(unit.size(), 2048U);
    EXPECT_EQ(unit.substr(0, 4), "ABAB");
    // The unit ends inside the first extent and before the second.
    const auto held = test_support::Bytes(unit.substr(1024));
    const std::vector<Extent> expected = {
        {1024, 4096, 1, 0, refstore::SampledChecksum(held), 1024, FpOf("a/f:1024")},
        {5000, 6000, 1, 0, 0, 5000, FpOf("a/f:5000")}};
    EXPECT_EQ(Extents(), expected);
    EXPECT_EQ(refstore::LoadExtentRecord(temp_ / "site/meta/7/7/map/a/f").transId, 6);
    EXPECT_EQ(refstore::LoadHeaderRecord(temp_ / "site/meta/7/7/head/a/f").size, 6000);
}

TEST_F(MakeTest, ExtentsHoldWhatTheyAreToldInTheirOrder) {
    MakeSound(OneFile(R"("extent_file":{"trans_id":5,"extents":[
        {"start":"18446744073709551615","end":0,"dcid":"18446744073709551615","so_ref":7,
         "cksum":"18446744073709551615","data_offset":-1,"fp":")" +
                      FpDigits("aB") + R"("},
        {"start":3,"end":9,"dcid":0,"cksum":0,"data_offset":"9223372036854775807"},
        {}]})"));
    const std::vector<Extent> expected = {{UINT64_MAX, 0, UINT64_MAX, 7, UINT64_MAX, -1, Fp(0xAB)},
                                          {3, 9, 0, 0, 0, INT64_MAX, FpOf("a/f:3")},
                                          {0, 0, 1, 0, 0, 0, FpOf("a/f:0")}};
    EXPECT_EQ(Extents(), expected);
    EXPECT_EQ(refstore::LoadExtentRecord(temp_ / "site/meta/7/7/map/a/f").transId, 5);
}

TEST_F(MakeTest, AChecksumIsTakenWhereTheDataOffsetSays) {
    MakeSound(OneFile(R"("stu":{"hex":"00FFab"},"extent_file":{"extents":[
        {"start":0,"end":2,"data_offset":1,"cksum":"auto"},
        {"start":0,"end":2,"data_offset":3},{"start":2,"end":1},{"start":0,"end":1,
        "data_offset":-1}]})"));
    const auto extents = Extents();
    ASSERT_EQ(extents.size(), 4U);
    EXPECT_EQ(extents[0].cksum, 255U);
    EXPECT_EQ(extents[1].cksum, 0U);
    EXPECT_EQ(extents[2].cksum, 0U);
    EXPECT_EQ(extents[3].cksum, 0U);
}

TEST_F(MakeTest, StorageUnitsOfAllForms) {
    MakeSound(R"({"shares":[{"id":"7","files":[
        {"path":"t","stu":{"text":"a\u0000b"}},{"path":"h","stu":{"hex":""}},
        {"path":"r","stu":{"repeat":["",5]}},{"path":"s","stu":{"repeat":["0a","3"]}}]}]})");
    EXPECT_EQ(ReadFile(temp_ / "site/meta/7/7/stu/t"), std::string("a\0b", 3));
    EXPECT_EQ(ReadFile(temp_ / "site/meta/7/7/stu/h"), "");
    EXPECT_EQ(ReadFile(temp_ / "site/meta/7/7/stu/r"), "");
    EXPECT_EQ(ReadFile(temp_ / "site/meta/7/7/stu/s"), "\n\n\n");
    EXPECT_TRUE(fs::is_empty(temp_ / "site/meta/7/7/head"));
    EXPECT_TRUE(fs::is_empty(temp_ / "site/meta/7/7/map"));
}

TEST_F(MakeTest, TablesHaveDefaults) {
    MakeSound(R"({"config":{"table_span_gib":2},"shares":[{"id":"7","files":[{"path":"a/f",
        "header":{},"tables":{"tables":[
          {"offset":2147483648},
          {"extents":[{"start":10,"end":20,"dcid":70},{"start":0,"end":9,"dcid":71},
                      {"start":20,"end":30,"dcid":70}]}]}}]}]})");
    const auto tables = refstore::TableDirectory::Load(temp_ / "site/meta/7/7/map/a/f/data.mdb");
    EXPECT_EQ(tables->FileSize(), 30);
    EXPECT_EQ(refstore::LoadHeaderRecord(temp_ / "site/meta/7/7/head/a/f").size, 30);
    ASSERT_EQ(tables->Tables().size(), 2U);
    EXPECT_EQ(tables->Tables()[0].offset, 0U);
    EXPECT_EQ(tables->Tables()[0].end, 2147483648U);
    EXPECT_EQ(tables->Tables()[0].extents.size(), 3U);
    EXPECT_EQ(tables->Tables()[1].end, 4294967296U);
    const std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry> dcids = {{70, 0}, {71, 0}};
    EXPECT_TRUE(std::ranges::equal(tables->Tables()[0].dcids, dcids));
    EXPECT_TRUE(tables->Tables()[1].dcids.empty());
    const refstore::BloomBits bloom = tables->Tables()[0].Bloom();
    for (const char* name : {"a/f:0", "a/f:10", "a/f:20"}) {
        EXPECT_TRUE(BloomContains(bloom, FpOf(name))) << name;
    }
    EXPECT_FALSE(BloomContains(bloom, FpOf("a/f:30")));
}

TEST_F(MakeTest, TablesOfOneOffsetKeepTheirOrder) {
    MakeSound(OneFile(R"("tables":{"tables":[{"offset":7,"end":9},{"offset":5,"end":3},
        {"offset":5,"end":1},{"offset":0,"end":8},{"offset":5,"end":2}]})"));
    const auto tables = refstore::TableDirectory::Load(temp_ / "site/meta/7/7/map/a/f/data.mdb");
    std::vector<std::pair<std::uint64_t, std::uint64_t>> spans;
    for (const auto& table : tables->Tables()) {
        spans.emplace_back(table.offset, table.end);
    }
    const std::vector<std::pair<std::uint64_t, std::uint64_t>> expected = {
        {0, 8}, {5, 3}, {5, 1}, {5, 2}, {7, 9}};
    EXPECT_EQ(spans, expected);
}

TEST_F(MakeTest, TablesHoldWhatTheyAreTold) {
    MakeSound(OneFile(R"("tables":{"file_size":"-7","tables":[{"offset":5,"end":6,
        "extents":[{"start":10,"end":20,"dcid":70}],"dcids":[[0,"18446744073709551615"],[0,1]],
        "bloom":[")" + FpDigits("01") +
                      R"("]}]})"));
    const auto tables = refstore::TableDirectory::Load(temp_ / "site/meta/7/7/map/a/f/data.mdb");
    EXPECT_EQ(tables->FileSize(), -7);
    ASSERT_EQ(tables->Tables().size(), 1U);
    EXPECT_EQ(tables->Tables()[0].offset, 5U);
    EXPECT_EQ(tables->Tables()[0].end, 6U);
    const std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry> dcids = {{0, UINT64_MAX}, {0, 1}};
    EXPECT_TRUE(std::ranges::equal(tables->Tables()[0].dcids, dcids));
    const refstore::BloomBits bloom = tables->Tables()[0].Bloom();
    EXPECT_TRUE(BloomContains(bloom, Fp(1)));
    EXPECT_FALSE(BloomContains(bloom, FpOf("a/f:10")));
}

TEST_F(MakeTest, TablesTakeTheirSizeFromTheHeader) {
    MakeSound(OneFile(R"("header":{"size":99},"tables":{"tables":[]})"));
    const auto tables = refstore::TableDirectory::Load(temp_ / "site/meta/7/7/map/a/f/data.mdb");
    EXPECT_EQ(tables->FileSize(), 99);
    EXPECT_TRUE(tables->Tables().empty());
}

TEST_F(MakeTest, VirtualCopiesAndImages) {
    const Ended ended = Make(R"({"shares":[{"id":"7","vcopy":"P\nT\ni1;i2;\n"},{"id":"x"}],
        "images":[{"policy":"P","time":"T","name":"i1"},
                  {"policy":"P","time":"T","name":"i2","damaged":true},
                  {"policy":"P","time":"T","name":"i3","damaged":false}]})");
    EXPECT_EQ(ended.out, temp_ / "site: 2 shares, 0 files\n");
    EXPECT_EQ(ReadFile(temp_ / "site/meta/7/7/vcopy.dat"), "P\nT\ni1;i2;\n");
    EXPECT_EQ(refstore::LoadImageRecord(temp_ / "site/images/P/T/i1"),
              (refstore::ImageRecord{"P", "T", "i1", {}}));
    EXPECT_THROW(refstore::LoadImageRecord(temp_ / "site/images/P/T/i2"), SysException);
    EXPECT_EQ(refstore::LoadImageRecord(temp_ / "site/images/P/T/i3").name, "i3");
}

TEST_F(MakeTest, UnknownKeysAreRefusedWhereverTheyStand) {
    const std::vector<std::pair<std::string, std::string>> recipes = {
        {R"({"x":1})", "/x"},
        {R"({"config":{"x":1}})", "/config/x"},
        {R"({"volumes":[{"name":"v","x":1}]})", "/volumes/0/x"},
        {R"({"shares":[{"id":"7"},{"id":"8","x/y~":1}]})", "/shares/1/x~1y~0"},
        {R"({"a\nb\u001b":1})", R"(/a\nb\x1b)"},
        {OneFile(R"("x":1)"), "/shares/0/files/0/x"},
        {OneFile(R"("header":{"x":1})"), "/shares/0/files/0/header/x"},
        {OneFile(R"("extent_file":{"x":1})"), "/shares/0/files/0/extent_file/x"},
        {OneFile(R"("extent_file":{"extents":[{"x":1}]})"),
         "/shares/0/files/0/extent_file/extents/0/x"},
        {OneFile(R"("tables":{"x":1})"), "/shares/0/files/0/tables/x"},
        {OneFile(R"("tables":{"tables":[{"x":1}]})"), "/shares/0/files/0/tables/tables/0/x"},
        {OneFile(R"("stu":{"x":1})"), "/shares/0/files/0/stu/x"},
        {R"({"images":[{"policy":"P","time":"T","name":"n","x":1}]})", "/images/0/x"}};
    for (const auto& [recipe, where] : recipes) {
        ExpectRefused(recipe, "(" + where + ") unknown key");
    }
}

TEST_F(MakeTest, NamesThatAreMissingAreNamed) {
    ExpectRefused(R"({"volumes":[{}]})", "(/volumes/0) \"name\" is missing");
    ExpectRefused(R"({"shares":[{}]})", "(/shares/0) \"id\" is missing");
    ExpectRefused(R"({"shares":[{"id":"7","files":[{}]}]})",
                  "(/shares/0/files/0) \"path\" is missing");
    ExpectRefused(R"({"images":[{"time":"T","name":"n"}]})", "(/images/0) \"policy\" is missing");
    ExpectRefused(R"({"images":[{"policy":"P","name":"n"}]})", "(/images/0) \"time\" is missing");
    ExpectRefused(R"({"images":[{"policy":"P","time":"T"}]})", "(/images/0) \"name\" is missing");
}

TEST_F(MakeTest, TwoThingsOfOneNameAreRefused) {
    ExpectRefused(R"({"volumes":[{"name":"v"},{"name":"w"},{"name":"v"}]})",
                  "(/volumes/2) is there twice");
    ExpectRefused(R"({"volumes":[{"name":"v","containers":[70,71,"70"]}]})",
                  "(/volumes/0/containers/2) volumes/v/70.bin is there twice");
    ExpectRefused(R"({"shares":[{"id":"7"},{"id":"7"}]})", "(/shares/1/id) is there twice");
    ExpectRefused(R"({"shares":[{"id":"7","files":[{"path":"a/f"},{"path":"a/f"}]}]})",
                  "(/shares/0/files/1) is there twice");
    ExpectRefused(R"({"images":[{"policy":"P","time":"T","name":"n"},)"
                  R"({"policy":"P","time":"T","name":"n"}]})",
                  "(/images/1) images/P/T/n is there twice");
    ExpectRefused(R"({"volumes":[{"name":"v","containers":[70],"files":{"70.bhd":""}}]})",
                  "(/volumes/0/files/70.bhd) volumes/v/70.bhd is there twice");
}

TEST_F(MakeTest, AFileAndADirectoryOfOneNameAreRefused) {
    const auto shareOf = [](const std::string& first, const std::string& second) {
        return R"({"shares":[{"id":"7","files":[{"path":")" + first +
               R"(","header":{}},{"path":")" + second + R"(","header":{}}]}]})";
    };
    ExpectRefused(shareOf("f", "f/g/h"),
                  "(/shares/0/files/1) meta/7/7/head/f is a file, and this "
                  "one lies below it");
    ExpectRefused(shareOf("f/g/h", "f/g"),
                  "(/shares/0/files/1) meta/7/7/head/f/g is a directory, "
                  "and files lie below it");
    // In trees of their own they are not in each other's way.
    MakeSound(R"({"shares":[{"id":"7","files":[{"path":"f","header":{}},
                                               {"path":"f/g","stu":{"text":"x"}}]}]})");
    EXPECT_TRUE(Paths().contains("meta/7/7/head/f"));
    EXPECT_TRUE(Paths().contains("meta/7/7/stu/f/g"));
}

TEST_F(MakeTest, ValuesOfTheWrongTypeAreRefused) {
    const std::string unsignedText =
        "must be an integer from 0 to 18446744073709551615, as a number or a decimal string";
    ExpectRefused("[]", "must be an object");
    ExpectRefused(R"({"shares":{}})", "(/shares) must be an array");
    ExpectRefused(R"({"shares":[{"id":7}]})", "(/shares/0/id) type must be string, but is number");
    ExpectRefused(R"({"config":{"klfs_aware":1}})",
                  "(/config/klfs_aware) type must be boolean, but is number");
    for (const char* value : {"-1", "1.0", "18446744073709551616", "\"-1\"", "\"1x\"", "\"\"",
                              "\" 1\"", "\"0x1\"", "\"18446744073709551616\"", "null", "true"}) {
        ExpectRefused(OneFile(R"("header":{"fg":)" + std::string(value) + "}"),
                      "(/shares/0/files/0/header/fg) " + unsignedText);
    }
    for (const char* value : {"9223372036854775808", "\"-9223372036854775809\"", "1e3"}) {
        ExpectRefused(OneFile(R"("header":{"size":)" + std::string(value) + "}"),
                      "(/shares/0/files/0/header/size) must be an integer from "
                      "-9223372036854775808 to 9223372036854775807, as a number or a decimal "
                      "string");
    }
    ExpectRefused(
        R"({"config":{"use_file_ext_map":2147483648}})",
        "(/config/use_file_ext_map) must be an integer from -2147483648 to 2147483647, as "
        "a number or a decimal string");
    ExpectRefused(
        R"({"config":{"table_span_gib":-1}})",
        "(/config/table_span_gib) must be an integer from 0 to 4294967295, as a number or "
        "a decimal string");
    const std::string extent = "(/shares/0/files/0/extent_file/extents/0/";
    const auto withExtent = [](const std::string& members) {
        return OneFile(R"("extent_file":{"extents":[{)" + members + "}]}");
    };
    ExpectRefused(withExtent(R"("fp":"12")"), extent + "fp) must be 64 hexadecimal digits");
    ExpectRefused(withExtent(R"("fp":"1")"),
                  extent + "fp) must be an even number of hexadecimal digits");
    ExpectRefused(withExtent(R"("fp":"1g")"), extent + "fp) must be hexadecimal digits");
    ExpectRefused(withExtent(R"("cksum":"none")"), extent + "cksum) " + unsignedText);
    ExpectRefused(OneFile(R"("tables":{"tables":[{"dcids":[[1]]}]})"),
                  "(/shares/0/files/0/tables/tables/0/dcids/0) must have 2 elements");
    ExpectRefused(OneFile(R"("stu":{})"),
                  "(/shares/0/files/0/stu) must have one of the keys \"repeat\", \"hex\" and "
                  "\"text\"");
    ExpectRefused(OneFile(R"("stu":{"hex":"","text":""})"),
                  "(/shares/0/files/0/stu) must have one of the keys \"repeat\", \"hex\" and "
                  "\"text\"");
    ExpectRefused(OneFile(R"("stu":{"repeat":["0000",536870913]})"),
                  "(/shares/0/files/0/stu/repeat/1) must be an integer from 0 to 536870912, as a "
                  "number or a decimal string");
    ExpectRefused(OneFile(R"("extent_file":{},"tables":{})"),
                  "(/shares/0/files/0/tables) a file has an extent file or tables, not both");
}

TEST_F(MakeTest, PathsThatLeadOutAreRefused) {
    const std::string path =
        ") must be a relative path without empty parts, \".\", \"..\" or NUL bytes";
    const std::string name = ") must be one component of a path, of at most 255 bytes";
    for (const std::string bad :
         {"", "/", "/etc/x", "..", "../x", "a/../x", "a/..", "./a", "a//b", "a/", "a\\u0000b"}) {
        ExpectRefused(R"({"shares":[{"id":"7","files":[{"path":")" + bad + "\"}]}]}",
                      "(/shares/0/files/0/path" + path);
    }
    ExpectRefused(R"({"volumes":[{"name":"v","files":{"../x":""}}]})",
                  "(/volumes/0/files/..~1x" + path);
    for (const std::string bad : {"", "..", ".", "a/b", "a\\u0000"}) {
        ExpectRefused(R"({"volumes":[{"name":")" + bad + "\"}]}", "(/volumes/0/name" + name);
        ExpectRefused(R"({"fstab":[")" + bad + "\"]}", "(/fstab/0" + name);
        ExpectRefused(R"({"shares":[{"id":")" + bad + "\"}]}", "(/shares/0/id" + name);
        ExpectRefused(R"({"images":[{"policy":")" + bad + R"(","time":"T","name":"n"}]})",
                      "(/images/0/policy" + name);
        ExpectRefused(R"({"images":[{"policy":"P","time":")" + bad + R"(","name":"n"}]})",
                      "(/images/0/time" + name);
        ExpectRefused(R"({"images":[{"policy":"P","time":"T","name":")" + bad + "\"}]}",
                      "(/images/0/name" + name);
    }
}

TEST_F(MakeTest, TextThatIsNoJsonIsRefusedWithItsPlace) {
    ExpectRefused(R"({"fstab":[],"fstab":[]})", "has a key twice");
    ExpectRefused(R"({"shares":[{"id":"7","id":"8"}]})", "(/shares/0) has a key twice");
    for (const std::string text : {"", "{", "{\"shares\":[", "\xff", "{} x"}) {
        const Ended ended = Make(text);
        EXPECT_TRUE(ended.err.starts_with("jorvshare: " + (temp_ / "r.json") +
                                          ": parse error at line 1, column "))
            << ended.err;
        EXPECT_EQ(ended.status, 1);
    }
    const std::string deep(100000, '[');
    EXPECT_EQ(Make(deep).status, 1);
}

TEST_F(MakeTest, WhatCannotBeBuiltLeavesNothing) {
    std::string directory = "volumes/v";
    for (int i = 0; i < 20; ++i) {
        directory += "/" + std::string(250, 'x');
    }
    const std::string path = directory.substr(std::string("volumes/v/").size()) + "/f";
    ExpectNotBuilt(R"({"volumes":[{"name":"v","files":{")" + path + R"(":""}}]})",
                   temp_ / "site.partial/jorvshare-unfinished/" + directory +
                       ": File name too long (errno 36)");
}

TEST_F(MakeTest, ASiteIsMadeInANewOrEmptyDirectoryOnly) {
    MakeDirs(temp_ / "site");
    fs::permissions(temp_ / "site", fs::perms{0700});
    MakeSound("{}");
    EXPECT_EQ(fs::status(temp_ / "site").permissions(), fs::perms{0700});
    tool_test::ExpectRefused(Make("{}"), temp_ / "site: exists and is not an empty directory");
    tool_test::ExpectRefused(
        RunTool({"make", temp_ / "none", temp_ / "other"}),
        "recipe " + (temp_ / "none") + ": No such file or directory (errno 2)");
}

}  // namespace
