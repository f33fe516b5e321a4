#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "refstore/base/file_writer.h"
#include "refstore/container/container_writer.h"
#include "refstore/extent/extent_record.h"
#include "refstore/header/header_record.h"
#include "refstore/image/image_record.h"
#include "refstore/table/table_record.h"
#include "tests/support/stored_records.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/jorvshare/tool_run.h"

namespace {

using test_support::Fp;
using test_support::FpDigits;
using test_support::MakeDirs;
using test_support::ReadFile;
using test_support::TempDir;
using test_support::WriteFile;
using tool_test::Ended;
using tool_test::RunTool;

class ShowTest : public testing::Test {
  protected:
    void Expect(const std::string& path, const std::string& text, const std::string& json) {
        const Ended plain = RunTool({"show", path});
        EXPECT_EQ(plain.err, "");
        EXPECT_EQ(plain.out, text);
        EXPECT_EQ(plain.status, 0);
        const Ended structured = RunTool({"show", path, "--json"});
        EXPECT_EQ(structured.err, "");
        EXPECT_EQ(structured.out, json);
        EXPECT_EQ(structured.status, 0);
    }

    TempDir temp_;
};

TEST_F(ShowTest, AHeaderFile) {
    const std::string path = temp_ / "h";
    refstore::WriteNewFile(path, refstore::EncodeHeader({INT64_MIN, INT64_MAX, -1, 999999999, 04751,
                                                         UINT64_MAX, true, "/x\xff\n"}));
    Expect(path,
           "kind: header file\n"
           "path: " +
               path +
               "\n"
               "trans_id: -9223372036854775808\n"
               "size: 9223372036854775807\n"
               "mtime: -1\n"
               "mtime_nsec: 999999999\n"
               "mode: 04751\n"
               "fg: 18446744073709551615\n"
               "is_dev: true\n"
               "extent_location: /x\xff\\n\n",
           R"({"kind":"header file","path":")" + path +
               R"(","trans_id":-9223372036854775808,"size":9223372036854775807,"mtime":-1,)"
               R"("mtime_nsec":999999999,"mode":"04751","fg":18446744073709551615,"is_dev":true,)"
               "\"extent_location\":\"/x\xEF\xBF\xBD\\n\",\"extent_location_hex\":\"2f78ff0a\"}\n");
}

TEST_F(ShowTest, AnExtentFile) {
    const std::string path = temp_ / "e";
    const std::vector<refstore::Extent> extents = {
        {0, 4096, 1, 0, 33, 0, Fp(0xAB)}, {8192, 4096, UINT64_MAX, 5, 6, INT64_MIN, Fp(0)}};
    refstore::WriteNewFile(path, refstore::EncodeExtents(9, extents));
    Expect(path,
           "kind: extent file\n"
           "path: " +
               path +
               "\n"
               "trans_id: 9\n"
               "extents: 2\n"
               "  - start: 0\n"
               "    end: 4096\n"
               "    dcid: 1\n"
               "    so_ref: 0\n"
               "    cksum: 33\n"
               "    data_offset: 0\n"
               "    fp: " +
               FpDigits("ab") +
               "\n"
               "  - start: 8192\n"
               "    end: 4096\n"
               "    dcid: 18446744073709551615\n"
               "    so_ref: 5\n"
               "    cksum: 6\n"
               "    data_offset: -9223372036854775808\n"
               "    fp: " +
               FpDigits("00") + "\n",
           R"({"kind":"extent file","path":")" + path +
               R"(","trans_id":9,"extents":[{"start":0,"end":4096,"dcid":1,"so_ref":0,"cksum":33,)"
               R"("data_offset":0,"fp":")" +
               FpDigits("ab") +
               R"("},{"start":8192,"end":4096,"dcid":18446744073709551615,"so_ref":5,"cksum":6,)"
               R"("data_offset":-9223372036854775808,"fp":")" +
               FpDigits("00") + "\"}]}\n");
}

TEST_F(ShowTest, TheIndexOfAContainer) {
    refstore::ContainerWriter container(temp_.Path(), 70);
    container.Add(Fp(1), test_support::Bytes("ab"));
    container.Add(Fp(2), test_support::Bytes("cde"));
    container.Finish();
    const std::string path = temp_ / "70.bhd";
    const std::string seal = std::to_string(refstore::LoadContainerIndex(path).binSeal);
    Expect(path,
           "kind: container index\n"
           "path: " +
               path +
               "\n"
               "dcid: 70\n"
               "bin_size: 5\n"
               "bin_seal: " +
               seal +
               "\n"
               "entries: 2\n"
               "  - offset: 0\n"
               "    length: 2\n"
               "    fp: " +
               FpDigits("01") +
               "\n"
               "  - offset: 2\n"
               "    length: 3\n"
               "    fp: " +
               FpDigits("02") + "\n",
           R"({"kind":"container index","path":")" + path +
               R"(","dcid":70,"bin_size":5,"bin_seal":)" + seal +
               R"(,"entries":[{"offset":0,"length":2,"fp":")" + FpDigits("01") +
               R"("},{"offset":2,"length":3,"fp":")" + FpDigits("02") + "\"}]}\n");
}

TEST_F(ShowTest, AContainerImage) {
    const std::string path = temp_ / "i";
    refstore::WriteNewFile(path, refstore::EncodeImage({"P", "T", "i", {64, 70}}));
    Expect(path,
           "kind: container image\n"
           "path: " +
               path +
               "\n"
               "policy: P\n"
               "time: T\n"
               "name: i\n"
               "containers: 2\n"
               "  - dcid: 64\n"
               "  - dcid: 70\n",
           R"({"kind":"container image","path":")" + path +
               R"(","policy":"P","time":"T","name":"i","containers":[{"dcid":64},{"dcid":70}]})"
               "\n");
}

TEST_F(ShowTest, TheMappingTablesOfADirectoryOrItsFile) {
    const std::string path = temp_ / "tables";
    MakeDirs(path);
    refstore::TableDirectoryRecord record;
    record.fileSize = 5000;
    record.tables.push_back({0, 4096, {{0, 10, 70, 0, 1, 2, Fp(3)}}, {{70, 0}, {71, 9}}, {Fp(3)}});
    record.tables.push_back({4096, 8192, {}, {}, {}});
    test_support::WriteFile(path + "/data.mdb", refstore::EncodeTables(record));
    const std::string text =
        "kind: mapping tables\n"
        "path: " +
        path +
        "/data.mdb\n"
        "file_size: 5000\n"
        "tables: 2\n"
        "  - offset: 0\n"
        "    end: 4096\n"
        "    extents: 1\n"
        "      - start: 0\n"
        "        end: 10\n"
        "        dcid: 70\n"
        "        so_ref: 0\n"
        "        cksum: 1\n"
        "        data_offset: 2\n"
        "        fp: " +
        FpDigits("03") +
        "\n"
        "    dcids: 2\n"
        "      - dcid: 70\n"
        "        second: 0\n"
        "      - dcid: 71\n"
        "        second: 9\n"
        "    bloom_hashes: 7\n"
        "    bloom_bits: 64\n"
        "  - offset: 4096\n"
        "    end: 8192\n"
        "    extents: 0\n"
        "    dcids: 0\n"
        "    bloom_hashes: 0\n"
        "    bloom_bits: 0\n";
    const std::string json =
        R"({"kind":"mapping tables","path":")" + path +
        R"(/data.mdb","file_size":5000,"tables":[{"offset":0,"end":4096,"extents":[{"start":0,"end":10,)"
        R"("dcid":70,"so_ref":0,"cksum":1,"data_offset":2,"fp":")" +
        FpDigits("03") +
        R"("}],"dcids":[{"dcid":70,"second":0},{"dcid":71,"second":9}],"bloom_hashes":7,)"
        R"("bloom_bits":64},{"offset":4096,"end":8192,"extents":[],"dcids":[],"bloom_hashes":0,)"
        R"("bloom_bits":0}]})"
        "\n";
    Expect(path, text, json);
    EXPECT_EQ(RunTool({"show", path + "/data.mdb"}).out, text);
}

TEST_F(ShowTest, AnExtentFileThatIsNamedLikeATable) {
    refstore::WriteNewFile(temp_ / "data.mdb", refstore::EncodeExtents(9, {}));
    EXPECT_EQ(RunTool({"show", temp_ / "data.mdb"}).out,
              "kind: extent file\npath: " + (temp_ / "data.mdb") + "\ntrans_id: 9\nextents: 0\n");
}

TEST_F(ShowTest, ADamagedOrForeignFileIsOneLineOfError) {
    const auto refused = [](const std::string& path, const std::string& line) {
        for (const std::vector<std::string>& arguments :
             {std::vector<std::string>{"show", path}, {"show", path, "--json"}}) {
            tool_test::ExpectRefused(RunTool(arguments), line);
        }
    };
    const std::string path = temp_ / "h";
    refstore::WriteNewFile(path, refstore::EncodeHeader({}));
    const std::string sound = ReadFile(path);
    std::string changed = sound;
    changed.back() = static_cast<char>(changed.back() + 1);
    WriteFile(path, changed);
    refused(path, "header file " + path + ": checksum mismatch (errno 74)");
    WriteFile(path, sound.substr(0, 8));
    refused(path, "header file " + path + ": too short (errno 74)");
    for (const std::string& foreign :
         {std::string(), std::string("JORVHEA"), std::string("text")}) {
        WriteFile(path, foreign);
        refused(path,
                path +
                    ": not a header file, extent file, container index, container image or mapping "
                    "tables (bad magic number)");
    }
    refused(temp_ / "none", "file " + (temp_ / "none") + ": No such file or directory (errno 2)");
    refused("/dev/null", "file /dev/null: Invalid argument (errno 22)");
    MakeDirs(temp_ / "d");
    const Ended empty = RunTool({"show", temp_ / "d"});
    EXPECT_TRUE(empty.err.ends_with("data.mdb: No such file or directory (errno 2)\n"));
    EXPECT_EQ(empty.status, 1);
}

TEST_F(ShowTest, WhatIsNotShownItselfSaysWhereToLook) {
    WriteFile(temp_ / "source/f", "x");
    ASSERT_EQ(
        RunTool({"pack", temp_ / "source", temp_ / "site", "--share-id", "7", "--layout", "tables"})
            .status,
        0);
    const auto refused = [](const std::string& path, const std::string& why) {
        tool_test::ExpectRefused(RunTool({"show", path}), path + ": " + why);
    };
    refused(temp_ / "site", "a site; show a file below its meta/<digit>/<share id>");
    refused(temp_ / "site/meta/7/7",
            "a share; show a file below its head, or the entry of the same name below map");
    refused(temp_ / "site/volumes/v1/64.bin",
            "the data of a container; show its index, " + (temp_ / "site/volumes/v1/64.bhd"));
    EXPECT_EQ(RunTool({"show", temp_ / "site/meta/7/7/map/f"}).status, 0);
}

TEST_F(ShowTest, ATextThatHoldsTheReplacementCharacterItselfIsWholeInJson) {
    refstore::WriteNewFile(temp_ / "h",
                           refstore::EncodeHeader({1, 0, 0, 0, 0644, 0, false, "/\xEF\xBF\xBD"}));
    const Ended ended = RunTool({"show", temp_ / "h", "--json"});
    EXPECT_TRUE(ended.out.ends_with("\"extent_location\":\"/\xEF\xBF\xBD\"}\n")) << ended.out;
}

TEST_F(ShowTest, AResultThatCannotBeWrittenIsAFailure) {
    refstore::WriteNewFile(temp_ / "h", refstore::EncodeHeader({}));
    tool_test::ExpectRefused(RunTool({"show", temp_ / "h"}, [] { ::close(STDOUT_FILENO); }),
                             "standard output: Bad file descriptor (errno 9)");
}

}  // namespace
