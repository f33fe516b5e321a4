#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/support/temp_dir.h"
#include "tests/unit/jorvshare/tool_run.h"

namespace {

using test_support::MakeDirs;
using test_support::TempDir;
using test_support::WriteFile;
using tool_test::Noise;
using tool_test::RunTool;
using tool_test::Snapshot;

constexpr std::size_t kMiB = 1048576;

void SetTime(const std::string& path, time_t seconds, long nanoseconds) {
    const struct timespec times[2] = {{0, UTIME_OMIT}, {seconds, nanoseconds}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), &times[0], 0), 0);
}

// Data at the offsets, holes between and after.
void WriteSparse(const std::string& path, const std::vector<off_t>& offsets, off_t size) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_GE(file, 0);
    for (const off_t offset : offsets) {
        const std::string data = Noise(10000, static_cast<std::uint64_t>(offset));
        ASSERT_EQ(::pwrite(file, data.data(), data.size(), offset), 10000);
    }
    ASSERT_EQ(::ftruncate(file, size), 0);
    ::close(file);
}

blkcnt_t Blocks(const std::string& path) {
    struct stat attributes = {};
    EXPECT_EQ(::stat(path.c_str(), &attributes), 0);
    return attributes.st_blocks;
}

// A tree with everything that is awkward about real ones.
void MakeSource(const std::string& root) {
    MakeDirs(root + "/empty directory/inner");
    WriteFile(root + "/empty", std::string_view());
    WriteFile(root + "/a", "one byte less than nothing");
    WriteFile(root + "/name with  blanks", "x");
    WriteFile(root + "/name\nwith\nnewlines", "y");
    WriteFile(root + "/\xff\xfe\x80 not UTF-8/\xc3", "z");
    WriteFile(root + "/data.mdb", "named like a file of the share's own");
    WriteFile(root + "/.hidden/..more", "dots");
    WriteFile(root + "/headers/h", "below a directory with an unlucky name");
    WriteFile(root + "/large", Noise(5 * kMiB + 17, 1));
    WriteFile(root + "/large again", Noise(5 * kMiB + 17, 1));
    WriteFile(root + "/repeats", std::string(3 * kMiB, 'r') + Noise(131072, 2));
    WriteFile(root + "/exactly one extent", Noise(131072, 3));
    WriteFile(root + "/one byte more", Noise(131073, 4));
    std::filesystem::create_hard_link(root + "/a", root + "/hard link");
    WriteSparse(root + "/sparse", {200000, 3 * 1073741824L - 5000}, 5 * 1073741824L + 1);
    WriteSparse(root + "/only a hole", {}, 2 * 1073741824L);
    WriteFile(root + "/modes/program", "#!");
    ::chmod((root + "/modes/program").c_str(), 0751);
    WriteFile(root + "/modes/secret", "s");
    ::chmod((root + "/modes/secret").c_str(), 0400);
    SetTime(root + "/modes/secret", -1000000000, 999999999);
    SetTime(root + "/empty", 4102444800, 1);
    std::string deep = root;
    for (int i = 0; i < 300; ++i) {
        deep += "/d";
    }
    WriteFile(deep + "/bottom", "bottom");
}

class RoundTrip : public testing::TestWithParam<const char*> {};

TEST_P(RoundTrip, EveryFileComesBackByteForByte) {
    const TempDir temp;
    MakeSource(temp / "source");
    const auto packed =
        RunTool({"pack", temp / "source", temp / "site", "--share-id", "12", "--layout", GetParam(),
                 "--volumes", "2", "--container-size", "1"});
    ASSERT_EQ(packed.status, 0) << packed.err;
    const auto unpacked = RunTool({"unpack", temp / "site", temp / "back", "--share-id", "12"});
    EXPECT_EQ(unpacked.err, "");
    ASSERT_EQ(unpacked.status, 0);

    const int sparse = ::open((temp / "back/sparse").c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_LT(Blocks(temp / "back/sparse"), 1000);
    EXPECT_EQ(Blocks(temp / "back/only a hole"), 0);
    for (const off_t offset : {200000L, 3 * 1073741824L - 5000}) {
        std::string data(10000, '\0');
        EXPECT_EQ(::pread(sparse, data.data(), data.size(), offset), 10000);
        EXPECT_EQ(data, Noise(10000, static_cast<std::uint64_t>(offset)));
    }
    ::close(sparse);
    // The two are too long to be read whole.
    for (const char* tree : {"source", "back"}) {
        for (const char* name : {"sparse", "only a hole"}) {
            const std::string path = temp / (std::string(tree) + "/" + name);
            EXPECT_EQ(std::filesystem::file_size(path),
                      std::string(name) == "sparse" ? 5368709121U : 2147483648U);
            std::filesystem::remove(path);
        }
    }
    EXPECT_EQ(tool_test::Files(temp / "source"), tool_test::Files(temp / "back"));
    EXPECT_TRUE(std::filesystem::is_empty(temp / "back/empty directory/inner"));
    EXPECT_GT(Snapshot(temp / "back").size(), 320U);
    EXPECT_FALSE(std::filesystem::exists(temp / "back.partial"));
}

TEST_P(RoundTrip, PackingTwiceGivesTheSameSite) {
    const TempDir temp;
    MakeSource(temp / "source");
    const std::vector<std::string> pack = {"pack", temp / "source", temp / "site", "--share-id",
                                           "12",   "--layout",      GetParam(),    "--volumes",
                                           "3",    "--vcopy",       "P:T:i"};
    const auto strip = [](std::map<std::string, std::string> site) {
        for (auto& [path, text] : site) {
            // Mode and contents; the times are those of the run.
            const std::size_t first = text.find(' ');
            const std::size_t second =
                first == std::string::npos ? first : text.find(' ', first + 1);
            text = second == std::string::npos ? text : text.substr(0, first) + text.substr(second);
        }
        return site;
    };
    ASSERT_EQ(RunTool(pack).status, 0);
    const auto once = strip(Snapshot(temp / "site"));
    std::filesystem::remove_all(temp / "site");
    ASSERT_EQ(RunTool(pack).status, 0);
    EXPECT_EQ(strip(Snapshot(temp / "site")), once);
    EXPECT_TRUE(once.contains("meta/2/12/head/a"));
}

TEST_P(RoundTrip, AShareWithoutFilesComesBackEmpty) {
    const TempDir temp;
    MakeDirs(temp / "source");
    const auto packed = RunTool(
        {"pack", temp / "source", temp / "site", "--share-id", "x", "--layout", GetParam()});
    EXPECT_EQ(packed.out,
              "share x: 0 files, 0 bytes, 0 extents, 0 containers, 0 bytes stored, 0 skipped\n");
    ASSERT_EQ(packed.status, 0) << packed.err;
    MakeDirs(temp / "back");
    const auto unpacked = RunTool({"unpack", temp / "site", temp / "back", "--share-id", "x"});
    EXPECT_EQ(unpacked.out, "share x: 0 files, 0 bytes restored\n");
    EXPECT_EQ(unpacked.status, 0);
    EXPECT_TRUE(Snapshot(temp / "back").empty());
}

INSTANTIATE_TEST_SUITE_P(Layouts, RoundTrip, testing::Values("files", "tables"));

}  // namespace
