#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "refstore/container/container_record.h"
#include "refstore/extent/extent_record.h"
#include "refstore/extent/sampled_checksum.h"
#include "refstore/fingerprint.h"
#include "refstore/fstab/fstab_writer.h"
#include "refstore/header/header_record.h"
#include "refstore/image/image_record.h"
#include "refstore/table/table_directory.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/jorvshare/tool_run.h"

namespace {

namespace fs = std::filesystem;
using test_support::MakeDirs;
using test_support::ReadFile;
using test_support::TempDir;
using test_support::WriteFile;
using tool_test::Ended;
using tool_test::ExpectMisused;
using tool_test::ExpectRefused;
using tool_test::Noise;
using tool_test::RunTool;
using tool_test::Snapshot;

constexpr std::size_t kPiece = 131072;

class PackTest : public testing::Test {
  protected:
    Ended Pack(const std::string& id, const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments = {"pack", temp_ / "source", temp_ / "site",
                                              "--share-id", id};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunTool(arguments);
    }

    std::set<std::string> Names(const std::string& relative) {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(temp_ / relative)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

    TempDir temp_;
};

TEST_F(PackTest, DataOfOneFileIsLocalAndStoredOnce) {
    const std::string piece = Noise(kPiece, 1);
    WriteFile(temp_ / "source/f", piece + piece + "end");
    const Ended ended = Pack("7");
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(ended.out,
              "share 7: 1 file, 262147 bytes, 3 extents, 0 containers, 131075 bytes stored, "
              "0 skipped\n");
    EXPECT_EQ(ReadFile(temp_ / "site/meta/7/7/stu/f"), piece + "end");
    const auto record = refstore::LoadExtentRecord(temp_ / "site/meta/7/7/map/f");
    ASSERT_EQ(record.extents.size(), 3U);
    const auto data = test_support::Bytes(piece);
    const refstore::Extent first{
        0, kPiece, 1, 0, refstore::SampledChecksum(data), 0, refstore::Fingerprint(data)};
    refstore::Extent second = first;
    second.start = kPiece;
    second.end = 2 * kPiece;
    EXPECT_EQ(record.extents[0], first);
    EXPECT_EQ(record.extents[1], second);
    EXPECT_EQ(record.extents[2].dataOffset, static_cast<std::int64_t>(kPiece));
    EXPECT_EQ(record.extents[2].end, 2 * kPiece + 3);
}

TEST_F(PackTest, DataOfTwoFilesLiesOnceInAContainer) {
    const std::string piece = Noise(kPiece, 1);
    WriteFile(temp_ / "source/a", piece + "only a");
    WriteFile(temp_ / "source/b", piece);
    ASSERT_EQ(Pack("7").status, 0);
    EXPECT_EQ(ReadFile(temp_ / "site/volumes/v1/64.bin"), piece);
    EXPECT_EQ(ReadFile(temp_ / "site/meta/7/7/stu/a"), "only a");
    EXPECT_FALSE(fs::exists(temp_ / "site/meta/7/7/stu/b"));
    const auto a = refstore::LoadExtentRecord(temp_ / "site/meta/7/7/map/a");
    const auto b = refstore::LoadExtentRecord(temp_ / "site/meta/7/7/map/b");
    ASSERT_EQ(a.extents.size(), 2U);
    ASSERT_EQ(b.extents.size(), 1U);
    EXPECT_EQ(a.extents[0], b.extents[0]);
    EXPECT_EQ(a.extents[0].dcid, 64U);
    EXPECT_EQ(a.extents[1].dcid, 1U);
    EXPECT_EQ(refstore::LoadContainerIndex(temp_ / "site/volumes/v1/64.bhd").entries.size(), 1U);
}

TEST_F(PackTest, HeadersHoldTheAttributesAndARunningNumber) {
    WriteFile(temp_ / "source/a", "a");
    WriteFile(temp_ / "source/d/b", "bb");
    ::chmod((temp_ / "source/d/b").c_str(), 04751);
    const struct timespec times[2] = {{0, UTIME_OMIT}, {1234567890, 123456789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, (temp_ / "source/d/b").c_str(), &times[0], 0), 0);
    ASSERT_EQ(Pack("abc").status, 0);
    const std::string share = fs::directory_iterator(temp_ / "site/meta")->path().string() + "/abc";
    const refstore::HeaderRecord expected{1,     2, 1234567890, 123456789,
                                          04751, 2, false,      temp_ / "site/meta"};
    EXPECT_EQ(refstore::LoadHeaderRecord(share + "/head/d/b"), expected);
    EXPECT_EQ(refstore::LoadHeaderRecord(share + "/head/a").fg, 1U);
    EXPECT_EQ(refstore::LoadExtentRecord(share + "/map/d/b").transId, 1);
}

TEST_F(PackTest, TablesCoverTheWholeFileAndListWhatTheyUse) {
    WriteFile(temp_ / "source/f", Noise(2 * kPiece, 1));
    fs::resize_file(temp_ / "source/f", (std::uint64_t{5} << 30U) + 1);
    WriteFile(temp_ / "source/empty", std::string_view());
    ASSERT_EQ(Pack("7", {"--layout", "tables", "--table-span", "2"}).status, 0);
    const auto f = refstore::TableDirectory::Load(temp_ / "site/meta/7/7/map/f/data.mdb");
    EXPECT_EQ(f->FileSize(), (std::int64_t{5} << 30U) + 1);
    ASSERT_EQ(f->Tables().size(), 3U);
    EXPECT_EQ(f->Tables()[0].extents.size(), 2U);
    EXPECT_EQ(f->Tables()[1].extents.size(), 0U);
    EXPECT_EQ(f->Tables()[2].offset, std::uint64_t{4} << 30U);
    EXPECT_EQ(f->Tables()[2].end, std::uint64_t{6} << 30U);
    const std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry> dcids = {{64, 0}};
    EXPECT_TRUE(std::ranges::equal(f->Tables()[0].dcids, dcids));
    EXPECT_TRUE(f->Tables()[1].dcids.empty());
    const auto data = test_support::Bytes(Noise(2 * kPiece, 1));
    EXPECT_TRUE(BloomContains(f->Tables()[0].Bloom(),
                              refstore::Fingerprint(std::span(data).subspan(kPiece))));
    const auto empty = refstore::TableDirectory::Load(temp_ / "site/meta/7/7/map/empty/data.mdb");
    EXPECT_EQ(empty->FileSize(), 0);
    EXPECT_EQ(empty->Tables().size(), 1U);
    const std::string toml = ReadFile(temp_ / "site/jorv.toml");
    EXPECT_NE(toml.find("use_file_ext_map = 1\n"), std::string::npos);
    EXPECT_NE(toml.find("dcid_bloom_enabled = true\n"), std::string::npos);
    EXPECT_NE(toml.find("table_span_gib = 2\n"), std::string::npos);
}

TEST_F(PackTest, AnExtentNeverReachesOverTheEndOfATable) {
    WriteFile(temp_ / "source/f", "x");
    // Data from one byte before the span's end to one byte after it, a hole before.
    const int file = ::open((temp_ / "source/f").c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    const off_t offset = (off_t{1} << 30) - 1;
    ASSERT_EQ(::pwrite(file, "ab", 2, offset), 2);
    ::close(file);
    ASSERT_EQ(Pack("7", {"--layout", "tables"}).status, 0);
    const auto f = refstore::TableDirectory::Load(temp_ / "site/meta/7/7/map/f/data.mdb");
    ASSERT_EQ(f->Tables().size(), 2U);
    EXPECT_EQ(f->Tables()[0].extents.size(), 1U);
    EXPECT_EQ(f->Tables()[1].extents.size(), 1U);
}

TEST_F(PackTest, MoreTablesThanMemoryHoldsAreRefused) {
    // Few file systems have files of a pebibyte; the one in memory does.
    std::string source = "/dev/shm/jorv-XXXXXX";
    ASSERT_NE(::mkdtemp(source.data()), nullptr);
    WriteFile(source + "/f", "x");
    ASSERT_EQ(::truncate((source + "/f").c_str(), (off_t{1} << 50) + 1), 0);
    const auto pack = [&](const char* span) {
        return RunTool({"pack", source, temp_ / "site", "--share-id", "7", "--layout", "tables",
                        "--table-span", span});
    };
    ExpectRefused(pack("4"), "f: would need 262145 mapping tables; give a larger --table-span");
    EXPECT_FALSE(fs::exists(temp_ / "site"));
    ExpectRefused(pack("65537"),
                  "f: a mapping table would cover more than readers accept; give a smaller "
                  "--table-span");
    EXPECT_FALSE(fs::exists(temp_ / "site"));
    WriteFile(source + "/g", "y");
    const auto rest = RunTool({"pack", source, temp_ / "site", "--share-id", "7", "--layout",
                               "tables", "--table-span", "4", "--keep-going"});
    EXPECT_EQ(rest.status, 1);
    EXPECT_NE(rest.err.find("jorvshare: not packed: f: would need 262145 mapping tables; give a "
                            "larger --table-span\n"),
              std::string::npos)
        << rest.err;
    EXPECT_FALSE(fs::exists(temp_ / "site/meta/7/7/map/f"));
    EXPECT_FALSE(fs::exists(temp_ / "site/meta/7/7/head/f"));
    EXPECT_TRUE(fs::exists(temp_ / "site/meta/7/7/head/g"));
    fs::remove_all(temp_ / "site");
    fs::remove(source + "/g");
    EXPECT_EQ(pack("65536").status, 0);
    const auto f = refstore::TableDirectory::Load(temp_ / "site/meta/7/7/map/f/data.mdb");
    EXPECT_EQ(f->Tables().size(), 17U);
    fs::remove_all(temp_ / "site");
    ASSERT_EQ(::truncate((source + "/f").c_str(), off_t{1} << 50), 0);
    EXPECT_EQ(pack("4").status, 0);
    EXPECT_EQ(
        refstore::TableDirectory::Load(temp_ / "site/meta/7/7/map/f/data.mdb")->Tables().size(),
        262144U);
    fs::remove_all(source);
}

TEST_F(PackTest, ContainersGoToTheVolumesInTurnAndStayWithinTheirSize) {
    for (int i = 0; i < 40; ++i) {
        WriteFile(temp_ / ("source/f" + std::to_string(i)),
                  Noise(kPiece, static_cast<std::uint64_t>(i)));
    }
    ASSERT_EQ(Pack("7", {"--layout", "tables", "--volumes", "3", "--container-size", "1"}).status,
              0);
    EXPECT_EQ(Names("site/volumes/v1"),
              (std::set<std::string>{"64.bin", "64.bhd", "67.bin", "67.bhd"}));
    EXPECT_EQ(Names("site/volumes/v2"),
              (std::set<std::string>{"65.bin", "65.bhd", "68.bin", "68.bhd"}));
    EXPECT_EQ(Names("site/volumes/v3"), (std::set<std::string>{"66.bin", "66.bhd"}));
    EXPECT_EQ(fs::file_size(temp_ / "site/volumes/v1/64.bin"), 1048576U);
}

TEST_F(PackTest, ASecondShareGoesIntoTheSameSite) {
    WriteFile(temp_ / "source/f", Noise(3000, 1));
    ASSERT_EQ(Pack("7", {"--layout", "tables"}).status, 0);
    const auto before = Snapshot(temp_ / "site");
    // Halves of containers and what lies in subdirectories count as well.
    WriteFile(temp_ / "site/volumes/v1/sub/99.bin.partial", "");
    const Ended ended = Pack("8", {"--volumes", "2"});
    ASSERT_EQ(ended.status, 0) << ended.err;
    EXPECT_EQ(Names("site/volumes/v1"),
              (std::set<std::string>{"64.bin", "64.bhd", "sub", "100.bin", "100.bhd"}));
    EXPECT_EQ(Names("site/volumes"), (std::set<std::string>{"v1", "v2"}));
    EXPECT_NE(ReadFile(temp_ / "site/fstab").find("/site/volumes/v2 "), std::string::npos);
    auto after = Snapshot(temp_ / "site");
    for (const auto& [path, text] : before) {
        if (path != "fstab") {
            EXPECT_EQ(after[path], text) << path;
        }
    }
    for (const char* id : {"7", "8"}) {
        ASSERT_EQ(RunTool({"unpack", temp_ / "site", temp_ / id, "--share-id", id}).status, 0);
        EXPECT_EQ(tool_test::Files(temp_ / id), tool_test::Files(temp_ / "source"));
    }
}

TEST_F(PackTest, ASiteKeepsItsLayout) {
    MakeDirs(temp_ / "source");
    ASSERT_EQ(Pack("7", {"--layout", "tables", "--table-span", "4"}).status, 0);
    const auto before = Snapshot(temp_ / "site");
    ExpectRefused(Pack("8", {"--layout", "files"}),
                  temp_ / "site: the site's layout is tables, not files");
    ExpectRefused(Pack("8", {"--table-span", "3"}),
                  temp_ / "site: the site's tables span 4 GiB, not 3");
    ExpectRefused(Pack("7"), temp_ / "site: share 7 exists already");
    EXPECT_EQ(Snapshot(temp_ / "site"), before);
}

TEST_F(PackTest, ShareIdsThatCannotBeADirectoryAreRefused) {
    MakeDirs(temp_ / "source");
    for (const std::string& id : {std::string(), std::string("."), std::string(".."),
                                  std::string("a/b"), std::string("/"), std::string(256, 'i')}) {
        ExpectMisused(Pack(id),
                      "--share-id: a share id must be one component of a path, of 1 to 255 bytes");
    }
    for (const char* id : {"7\r", "a\nb", "\x1b[31m", "\x7f"}) {
        ExpectMisused(Pack(id), "--share-id: a share id must not hold control characters");
    }
    ExpectMisused(Pack("8.partial"),
                  "--share-id: names that end in .partial are reserved for unfinished files");
    EXPECT_FALSE(fs::exists(temp_ / "site"));
    EXPECT_EQ(Pack(std::string(255, 'i')).status, 0);
    EXPECT_EQ(Pack("...").status, 0);
}

TEST_F(PackTest, PlacesThatCannotBeASiteAreRefused) {
    MakeDirs(temp_ / "source");
    WriteFile(temp_ / "site/precious", "x");
    ExpectRefused(Pack("7"),
                  temp_ / "site: not a site: the directory is not empty and has no jorv.toml");
    EXPECT_EQ(Names("site"), std::set<std::string>{"precious"});
    const auto pack = [&](const std::string& source, const std::string& site) {
        return RunTool({"pack", temp_ / source, temp_ / site, "--share-id", "7"});
    };
    ExpectRefused(pack("source", "site/precious"),
                  temp_ / "site/precious: Not a directory (errno 20)");
    ExpectRefused(pack("source", "no/site"),
                  temp_ / "no/site: No such file or directory (errno 2)");
    ExpectRefused(pack("none", "new"), temp_ / "none: No such file or directory (errno 2)");
    ExpectRefused(
        pack("source", "source/site"),
        "the site " + (temp_ / "source/site") + " lies inside the source " + (temp_ / "source"));
    EXPECT_FALSE(fs::exists(temp_ / "new"));
    EXPECT_TRUE(Names("source").empty());
}

TEST_F(PackTest, WhatIsNoFileIsSkippedAndCounted) {
    WriteFile(temp_ / "source/f", "x");
    fs::create_symlink("/etc", temp_ / "source/link");
    ASSERT_EQ(::mkfifo((temp_ / "source/pipe").c_str(), 0600), 0);
    const int end = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    (temp_ / "source/socket").copy(&address.sun_path[0], sizeof address.sun_path - 1);
    // The address type of the socket calls.
    ASSERT_EQ(::bind(end, reinterpret_cast<const struct sockaddr*>(&address), sizeof address), 0);
    const Ended ended = Pack("7");
    ::close(end);
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(ended.out,
              "share 7: 1 file, 1 byte, 1 extent, 0 containers, 1 byte stored, 3 skipped\n"
              "not kept: 1 symbolic link, 2 FIFOs, sockets or devices\n");
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(Names("site/meta/7/7/head"), std::set<std::string>{"f"});
}

TEST_F(PackTest, WhatIsNotKeptIsSaidOnceWithCounts) {
    WriteFile(temp_ / "source/a", "x");
    fs::create_hard_link(temp_ / "source/a", temp_ / "source/b");
    WriteFile(temp_ / "source/d/setid", "y");
    ::chmod((temp_ / "source/d/setid").c_str(), 04755);
    const char value = 'v';
    const bool hasAttributes =
        ::setxattr((temp_ / "source/a").c_str(), "user.note", &value, 1, 0) == 0;
    const bool isRoot = ::geteuid() == 0;
    if (isRoot) {
        ASSERT_EQ(::chown((temp_ / "source/d").c_str(), 1234, ::getegid()), 0);
        ASSERT_EQ(::chown((temp_ / "source/d/setid").c_str(), ::geteuid(), 4321), 0);
        ASSERT_EQ(::chmod((temp_ / "source/d/setid").c_str(), 04755), 0);
    }
    const Ended ended = Pack("7");
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(ended.status, 0);
    EXPECT_TRUE(ended.out.ends_with(std::string("\nnot kept: 2 hard links, ") +
                                    (isRoot ? "2 owners, " : "") +
                                    (hasAttributes ? "2 sets of extended attributes, " : "") +
                                    "1 file's set-id or sticky bits, "
                                    "1 directory's mode and time\n"))
        << ended.out;
}

TEST_F(PackTest, NamesWithControlCharactersStayOnTheLineThatNamesThem) {
    ExpectRefused(RunTool({"show", temp_ / "no\tfile\x7f"}),
                  "file " + (temp_ / R"(no\tfile\x7f: No such file or directory (errno 2))"));
    WriteFile(temp_ / "source/a\nb\\", "x");
    fs::permissions(temp_ / "source/a\nb\\", fs::perms{0});
    fs::permissions(temp_.Path(), fs::perms{0777});
    ExpectRefused(RunTool({"pack", temp_ / "source", temp_ / "site", "--share-id", "7"},
                          tool_test::BecomeNobody),
                  (temp_ / "source") + R"(/a\nb\\: Permission denied (errno 13))");
}

TEST_F(PackTest, TablesOfFilesThatAreNamedHeadAreTakenForHeaders) {
    WriteFile(temp_ / "source/a/header.txt", "x");
    WriteFile(temp_ / "source/ahead", "this is no trouble");
    EXPECT_EQ(Pack("7", {"--layout", "tables"}).err,
              "jorvshare: warning: 1 file has a name that begins with \"head\"; the metadata check "
              "will take its mapping tables for a header\n");
    WriteFile(temp_ / "source/head", "x");
    WriteFile(temp_ / "source/headers/head", "counted once, for its directory");
    EXPECT_EQ(Pack("8").err,
              "jorvshare: warning: 1 file lies below a directory whose name begins with \"head\"; "
              "the metadata check cannot pair it with extents\n"
              "jorvshare: warning: 2 files have names that begin with \"head\"; the metadata check "
              "will take their mapping tables for headers\n");
}

TEST_F(PackTest, FilesThatTheMetadataCheckCannotPairAreCounted) {
    WriteFile(temp_ / "source/a/header/b/f", "x");
    WriteFile(temp_ / "source/head", "a file with this name is no trouble");
    WriteFile(temp_ / "source/ahead/f", "nor is this");
    EXPECT_EQ(Pack("7").err,
              "jorvshare: warning: 1 file lies below a directory whose name begins with \"head\"; "
              "the metadata check cannot pair it with extents\n");
    WriteFile(temp_ / "source/header/g", "x");
    EXPECT_EQ(Pack("head8").err,
              "jorvshare: warning: 2 files lie below a directory whose name begins with \"head\"; "
              "the metadata check cannot pair them with extents\n"
              "jorvshare: warning: " +
                  (temp_ / "site/meta/8/head8") +
                  ": \"/head\" in the share's own path; the metadata check will take every file of "
                  "the share for a header\n");
}

// A source with two files and a folder that only their owner can read.
class PackOfUnreadable : public PackTest, public testing::WithParamInterface<const char*> {
  protected:
    PackOfUnreadable() {
        WriteFile(temp_ / "source/a", "readable");
        WriteFile(temp_ / "source/b", "secret");
        WriteFile(temp_ / "source/c", "readable");
        WriteFile(temp_ / "source/d/e", "secret");
        fs::permissions(temp_ / "source/b", fs::perms{0});
        fs::permissions(temp_ / "source/d", fs::perms{0});
        fs::permissions(temp_.Path(), fs::perms{0777});
    }

    // As somebody whom permissions keep out: the superuser can read everything.
    Ended PackAsNobody(const std::vector<std::string>& more) {
        std::vector<std::string> arguments = {
            "pack", temp_ / "source", temp_ / "site", "--share-id", "7", "--layout", GetParam()};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunTool(arguments, tool_test::BecomeNobody);
    }
};

TEST_P(PackOfUnreadable, FailsAsAWhole) {
    ExpectRefused(PackAsNobody({}), temp_ / "source/d: Permission denied (errno 13)");
    fs::permissions(temp_ / "source/d", fs::perms{0755});
    ExpectRefused(PackAsNobody({}), temp_ / "source/b: Permission denied (errno 13)");
    EXPECT_EQ(Names("."), std::set<std::string>{"source"});
}

TEST_P(PackOfUnreadable, GoesOnWhereThatIsWanted) {
    const Ended ended = PackAsNobody({"--keep-going"});
    EXPECT_EQ(ended.err, "jorvshare: not packed: " + (temp_ / "source/d") +
                             ": Permission denied (errno 13)\n"
                             "jorvshare: not packed: " +
                             (temp_ / "source/b") + ": Permission denied (errno 13)\n");
    EXPECT_TRUE(ended.out.starts_with("share 7: 2 files, 16 bytes, ")) << ended.out;
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(Names("site/meta/7/7/head"), (std::set<std::string>{"a", "c", "d"}));
    EXPECT_EQ(Names("site/meta/7/7/map"), (std::set<std::string>{"a", "c", "d"}));
    ASSERT_EQ(RunTool({"unpack", temp_ / "site", temp_ / "back", "--share-id", "7"}).status, 0);
    EXPECT_EQ(Names("back"), (std::set<std::string>{"a", "c", "d"}));
    EXPECT_EQ(ReadFile(temp_ / "back/c"), "readable");
}

INSTANTIATE_TEST_SUITE_P(Layouts, PackOfUnreadable, testing::Values("files", "tables"));

TEST_F(PackTest, AVirtualCopyGetsItsImageAndItsList) {
    WriteFile(temp_ / "source/f", "x");
    ASSERT_EQ(Pack("7", {"--layout", "tables", "--vcopy", "P:12:30:i1"}).status, 0);
    EXPECT_EQ(ReadFile(temp_ / "site/meta/7/7/vcopy.dat"), "P\n12:30\ni1;\n");
    const refstore::ImageRecord expected{"P", "12:30", "i1", {64}};
    EXPECT_EQ(refstore::LoadImageRecord(temp_ / "site/images/P/12:30/i1"), expected);
    const auto before = Snapshot(temp_ / "site");
    ExpectRefused(Pack("8", {"--vcopy", "P:12:30:i1"}),
                  temp_ / "site/images/P/12:30/i1: the image exists already");
    for (const char* bad : {"P", "P:T", "P:T:", ":T:n", "P::n", "..:T:n", "P:a/b:n", "P:T:a;b",
                            "P:T:n.partial", "P\nQ:T:n", "P:T:n\x7f"}) {
        ExpectMisused(
            Pack("8", {std::string("--vcopy=") + bad}),
            "--vcopy: expected POLICY:TIME:NAME, three components of a path without control "
            "characters; NAME must not hold \";\" or end in .partial");
    }
    EXPECT_EQ(Snapshot(temp_ / "site"), before);
}

TEST_F(PackTest, TheLongestNamesArePacked) {
    WriteFile(temp_ / "source/f", "x");
    ASSERT_EQ(Pack("7").status, 0);
    const std::string longest(255, 'i');
    ASSERT_EQ(Pack(longest, {"--vcopy", "P:T:" + longest}).status, 0);
    EXPECT_EQ(Names("site/images/P/T"), std::set<std::string>{longest});
    EXPECT_EQ(RunTool({"unpack", temp_ / "site", temp_ / "back", "--share-id", longest}).status, 0);
}

TEST_F(PackTest, ASiteThatAnotherPackHoldsIsRefused) {
    MakeDirs(temp_ / "source");
    ASSERT_EQ(Pack("7").status, 0);
    const int held = ::open((temp_ / "site").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::flock(held, LOCK_EX), 0);
    ExpectRefused(Pack("8"), temp_ / "site: in use by another run");
    ::close(held);
    EXPECT_EQ(Pack("8").status, 0);
}

TEST_F(PackTest, NoDcidIsGivenOutTwice) {
    WriteFile(temp_ / "source/f", "x");
    ASSERT_EQ(Pack("7", {"--layout", "tables"}).status, 0);
    WriteFile(temp_ / "site/volumes/v1/18446744073709551615.bhd", "");
    const auto before = Snapshot(temp_ / "site");
    ExpectRefused(Pack("8"),
                  "no data-container identifier is left above those in use on the volumes");
    EXPECT_EQ(Snapshot(temp_ / "site"), before);
}

TEST_F(PackTest, ALayoutIsNamedAndNotNumbered) {
    WriteFile(temp_ / "source/f", "x");
    for (const std::string wrong : {"7", "0", "1", "Tables", ""}) {
        ExpectMisused(Pack("7", {"--layout", wrong}),
                      "--layout: " + wrong + " not in {files,tables}");
        EXPECT_FALSE(fs::exists(temp_ / "site"));
    }
}

TEST_F(PackTest, ContainersAreOpenToTheirOwnerAlone) {
    WriteFile(temp_ / "source/f", "secret");
    ASSERT_EQ(::chmod((temp_ / "source/f").c_str(), 0600), 0);
    const Ended ended =
        RunTool({"pack", temp_ / "source", temp_ / "site", "--share-id", "7", "--layout", "tables"},
                [] { ::umask(0); });
    EXPECT_EQ(ended.status, 0) << ended.err;
    const auto mode = [this](const char* name) {
        return fs::status(temp_ / (std::string("site/volumes/v1/") + name)).permissions();
    };
    EXPECT_EQ(mode("64.bin"), fs::perms{0600});
    // Names no data; whoever checks a share has to see it.
    EXPECT_EQ(mode("64.bhd"), fs::perms{0644});
}

TEST_F(PackTest, WhatHasTheNameOfAContainerIsNeitherOverwrittenNorRemoved) {
    WriteFile(temp_ / "source/f", "x");
    ASSERT_EQ(Pack("7", {"--layout", "tables"}).status, 0);
    WriteFile(temp_ / "site/volumes/v1/65.bin/precious", "p");
    WriteFile(temp_ / "site/volumes/v1/sub/66.bhd/q", "q");
    ASSERT_EQ(Pack("8").status, 0);
    EXPECT_EQ(Names("site/volumes/v1"),
              (std::set<std::string>{"64.bin", "64.bhd", "65.bin", "sub", "67.bin", "67.bhd"}));
    EXPECT_EQ(ReadFile(temp_ / "site/volumes/v1/65.bin/precious"), "p");
    EXPECT_EQ(ReadFile(temp_ / "site/volumes/v1/sub/66.bhd/q"), "q");
}

TEST_F(PackTest, OnlyNamesOfContainersTakeDcids) {
    WriteFile(temp_ / "source/f", "x");
    ASSERT_EQ(Pack("7", {"--layout", "tables"}).status, 0);
    for (const char* name :
         {"18446744073709551615 notes.txt", "18446744073709551615", "18446744073709551615.bin.old",
          "18446744073709551615x.bin", "18446744073709551616.bin", "+99.bin", ".bhd", "99.BIN"}) {
        WriteFile(temp_ / "site/volumes/v1/" + name, "");
    }
    ASSERT_EQ(Pack("8").status, 0);
    EXPECT_TRUE(fs::exists(temp_ / "site/volumes/v1/65.bhd"));
}

}  // namespace
