// The inlines of the fortified C library would hide the definitions below.
#undef _FORTIFY_SOURCE

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "refstore/container/container_record.h"
#include "refstore/container/container_writer.h"
#include "tests/interposed/next_definition.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/jorvshare/tool_run.h"

namespace {

// Not negative: this byte of the data of container 64 cannot be read.
off_t g_badOffset = -1;

}  // namespace

extern "C" ssize_t pread64(int file, void* out, std::size_t size, off_t offset) {
    static interposed::NextDefinition<ssize_t(int, void*, std::size_t, off_t)> next("pread64");
    if (offset <= g_badOffset && g_badOffset < offset + static_cast<off_t>(size)) {
        std::error_code none;
        const auto path =
            std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file), none);
        if (path.filename() == "64.bin") {
            errno = EIO;
            return -1;
        }
    }
    return next(file, out, size, offset);
}

namespace {

namespace fs = std::filesystem;
using test_support::ReadFile;
using test_support::TempDir;
using test_support::WriteFile;
using tool_test::Ended;
using tool_test::ExpectRefused;
using tool_test::RunTool;
using tool_test::Snapshot;

// A share in either layout. Container 64 holds the data of "one" and the first two pieces of "two",
// container 65 the others of "two" and, in the layout with tables, "z/local"; in the other layout
// that has a storage unit.
class VerifyTest : public testing::TestWithParam<const char*> {
  protected:
    VerifyTest() {
        WriteFile(temp_ / "source/one", tool_test::Noise(700000, 1));
        WriteFile(temp_ / "source/one again", tool_test::Noise(700000, 1));
        WriteFile(temp_ / "source/two", tool_test::Noise(700000, 2));
        WriteFile(temp_ / "source/two again", tool_test::Noise(700000, 2));
        WriteFile(temp_ / "source/z/local", tool_test::Noise(300000, 3));
        WriteFile(temp_ / "source/empty", std::string_view());
        EXPECT_EQ(RunTool({"pack", temp_ / "source", site_, "--share-id", "7", "--layout",
                           GetParam(), "--container-size", "1"})
                      .status,
                  0);
    }

    Ended Verify(const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments = {"verify", site_, "--share-id", "7"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const auto before = Snapshot(temp_.Path());
        Ended ended = RunTool(arguments);
        EXPECT_EQ(Snapshot(temp_.Path()), before);
        return ended;
    }

    // Verifies the share and unpacks it past what is damaged: both name the same files, and the
    // others come back.
    void ExpectDamage(const std::vector<std::string>& files,
                      const std::vector<std::string>& containers) {
        const Ended ended = Verify();
        EXPECT_EQ(ended.status, files.empty() && containers.empty() ? 0 : 1);
        std::set<std::string> lines;
        std::istringstream errors(ended.err);
        for (std::string line; std::getline(errors, line);) {
            lines.insert(line.substr(0, line.find(": ", line.find(" damaged ") + 1)));
        }
        std::set<std::string> expected;
        for (const std::string& file : files) {
            expected.insert("jorvshare: damaged file " + file);
        }
        for (const std::string& container : containers) {
            expected.insert("jorvshare: damaged container " + container);
        }
        EXPECT_EQ(lines, expected) << ended.err;
        const auto count = [](std::size_t number, const std::string& what) {
            return std::to_string(number) + " damaged " + what + (number == 1 ? "" : "s");
        };
        EXPECT_TRUE(ended.out.ends_with(" read, " + count(files.size(), "file") + ", " +
                                        count(containers.size(), "container") + "\n"))
            << ended.out;

        fs::remove_all(temp_ / "back");
        const Ended unpacked =
            RunTool({"unpack", site_, temp_ / "back", "--share-id", "7", "--keep-going"});
        EXPECT_EQ(unpacked.status, files.empty() ? 0 : 1) << unpacked.err;
        auto sound = tool_test::Files(temp_ / "source");
        for (const std::string& file : files) {
            sound.erase(file);
            EXPECT_NE(unpacked.err.find("jorvshare: damaged file " + file + ": "),
                      std::string::npos)
                << unpacked.err;
        }
        EXPECT_EQ(tool_test::Files(temp_ / "back"), sound);
    }

    void Change(const std::string& path, std::size_t offset) {
        std::string bytes = ReadFile(site_ + path);
        bytes.at(offset) = static_cast<char>(~bytes.at(offset));
        WriteFile(site_ + path, bytes);
    }

    [[nodiscard]] static bool InFiles() { return std::string(GetParam()) == "files"; }

    TempDir temp_;
    std::string site_ = temp_ / "site";
};

TEST_P(VerifyTest, ASoundShare) {
    const Ended ended = Verify();
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(ended.out,
              "share 7: 6 files, 1700000 bytes read, 0 damaged files, 0 damaged containers\n");
    EXPECT_EQ(ended.status, 0);
    ExpectDamage({}, {});
}

TEST_P(VerifyTest, AByteOfAContainerCostsTheFilesThatUseIt) {
    Change("/volumes/v1/64.bin", 5);
    ExpectDamage({"one", "one again"}, {"64"});
}

TEST_P(VerifyTest, AContainerThatIsCutStillHoldsWhatIsInItsFirstPart) {
    const std::string path = "/volumes/v1/64.bin";
    fs::resize_file(site_ + path, fs::file_size(site_ + path) - 1);
    ExpectDamage({"two", "two again"}, {"64"});
}

TEST_P(VerifyTest, BytesAfterAllDataAreDamageOfTheContainerAlone) {
    WriteFile(site_ + "/volumes/v1/64.bin", ReadFile(site_ + "/volumes/v1/64.bin") + "x");
    ExpectDamage({}, {"64"});
}

TEST_P(VerifyTest, ASealThatDoesNotFitIsDamageOfTheContainerAlone) {
    const std::string path = site_ + "/volumes/v1/64.bhd";
    refstore::ContainerIndex index = refstore::LoadContainerIndex(path);
    index.binSeal ^= 1U;
    WriteFile(path, refstore::EncodeContainerIndex(index));
    ExpectDamage({}, {"64"});
}

TEST_P(VerifyTest, AnIndexOfAnotherContainerIsOfNoUse) {
    const std::string path = site_ + "/volumes/v1/64.bhd";
    refstore::ContainerIndex index = refstore::LoadContainerIndex(path);
    index.dcid = 65;
    WriteFile(path, refstore::EncodeContainerIndex(index));
    ExpectDamage({"one", "one again", "two", "two again"}, {"64"});
    EXPECT_NE(Verify().err.find("damaged container 64: " + path + ": names another container\n"),
              std::string::npos);
}

TEST_P(VerifyTest, AnEntryWithoutDataIsDamageOfTheContainerAlone) {
    const std::string path = site_ + "/volumes/v1/64.bhd";
    refstore::ContainerIndex index = refstore::LoadContainerIndex(path);
    index.entries.push_back({.fp = {}, .offset = 0, .length = 1});
    WriteFile(path, refstore::EncodeContainerIndex(index));
    ExpectDamage({}, {"64"});
    EXPECT_EQ(Verify().err, "jorvshare: damaged container 64: container data " + site_ +
                                "/volumes/v1/64.bin: index does not match the data\n");
}

TEST_P(VerifyTest, ABadSectorCostsTheFilesThatUseIt) {
    g_badOffset = 5;
    const Ended ended = Verify();
    ExpectDamage({"one", "one again"}, {"64"});
    g_badOffset = -1;
    EXPECT_NE(ended.err.find("damaged container 64: container data " + site_ +
                             "/volumes/v1/64.bin: Input/output error (errno 5)\n"),
              std::string::npos)
        << ended.err;
}

TEST_P(VerifyTest, AContainerWithoutItsIndexOrWithADamagedOne) {
    const std::string index = ReadFile(site_ + "/volumes/v1/65.bhd");
    const std::vector<std::string> files =
        InFiles() ? std::vector<std::string>{"two", "two again"}
                  : std::vector<std::string>{"two", "two again", "z/local"};
    Change("/volumes/v1/65.bhd", 40);
    ExpectDamage(files, {"65"});
    fs::remove(site_ + "/volumes/v1/65.bhd");
    ExpectDamage(files, {"65"});
    WriteFile(site_ + "/volumes/v1/65.bhd", index);
    ExpectDamage({}, {});
}

TEST_P(VerifyTest, ADamagedHeaderAndMissingExtents) {
    Change("/meta/7/7/head/empty", 20);
    fs::remove_all(site_ + "/meta/7/7/map/one");
    ExpectDamage({"empty", "one"}, {});
}

TEST_P(VerifyTest, ExtentsWithoutAHeaderAreADamagedFile) {
    fs::remove(site_ + "/meta/7/7/head/one");
    ExpectDamage({"one"}, {});
    // Without --keep-going what has no header is no file.
    fs::remove_all(temp_ / "back");
    const Ended ended = RunTool({"unpack", site_, temp_ / "back", "--share-id", "7"});
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(ended.status, 0);
}

TEST_P(VerifyTest, AFolderThatCannotBeLookedIntoCostsNothingOutsideOfIt) {
    fs::create_directory(site_ + "/meta/7/7/head/deep");
    fs::create_directory(site_ + "/meta/7/7/head/deep/er");
    fs::create_directory_symlink("z", site_ + "/meta/7/7/map/deep");
    const std::string line =
        "jorvshare: " + site_ +
        "/meta/7/7/map/deep/er: a symbolic link or \"..\" is in the path; none is followed\n";
    const Ended ended = Verify();
    EXPECT_EQ(ended.err, line);
    EXPECT_EQ(ended.out,
              "share 7: 6 files, 1700000 bytes read, 1 damaged file, 0 damaged containers\n");
    EXPECT_EQ(ended.status, 1);
    const Ended unpacked =
        RunTool({"unpack", site_, temp_ / "back", "--share-id", "7", "--keep-going"});
    EXPECT_EQ(unpacked.err, line);
    EXPECT_EQ(unpacked.status, 1);
    EXPECT_EQ(tool_test::Files(temp_ / "back"), tool_test::Files(temp_ / "source"));
}

// A folder of headers that may be listed and not be entered.
TEST_P(VerifyTest, AFolderThatCannotBeEnteredCostsNothingOutsideOfIt) {
    for (const auto& entry : fs::recursive_directory_iterator(temp_.Path())) {
        fs::permissions(entry, fs::perms{0755});
    }
    fs::permissions(temp_.Path(), fs::perms{0755});
    fs::create_directory(site_ + "/meta/7/7/head/a");
    fs::create_directory(site_ + "/meta/7/7/head/a/b");
    fs::permissions(site_ + "/meta/7/7/head/a", fs::perms{0744});
    const Ended ended = RunTool({"verify", site_, "--share-id", "7"}, tool_test::BecomeNobody);
    EXPECT_EQ(ended.err,
              "jorvshare: " + site_ + "/meta/7/7/head/a/b: Permission denied (errno 13)\n");
    EXPECT_EQ(ended.out,
              "share 7: 6 files, 1700000 bytes read, 1 damaged file, 0 damaged containers\n");
    EXPECT_EQ(ended.status, 1);
}

TEST_P(VerifyTest, AStorageUnitThatIsCut) {
    if (InFiles()) {
        fs::resize_file(site_ + "/meta/7/7/stu/z/local", 299999);
        ExpectDamage({"z/local"}, {});
    }
}

TEST_P(VerifyTest, AVolumeThatIsGoneIsWarnedOf) {
    fs::rename(site_ + "/volumes/v1", temp_ / "unmounted");
    const Ended ended = Verify({"--path", "two"});
    EXPECT_TRUE(ended.err.starts_with(
        "jorvshare: warning: " + site_ +
        "/volumes/v1: listed in the table of volumes, but missing; is it mounted?\n"))
        << ended.err;
    EXPECT_EQ(ended.status, 1);
}

TEST_P(VerifyTest, OneFileOrFolder) {
    Change("/volumes/v1/64.bin", 5);
    EXPECT_EQ(Verify({"--path", "z"}).status, 0);
    EXPECT_EQ(Verify({"--path", "z/local"}).out.substr(0, 16), "share 7: 1 file,");
    EXPECT_EQ(Verify({"--path", "one"}).status, 1);
    const auto unpack = [&](const std::string& path, const std::string& to) {
        return RunTool({"unpack", site_, temp_ / to, "--share-id", "7", "--path", path});
    };
    ASSERT_EQ(unpack("z", "folder").status, 0);
    ASSERT_EQ(unpack("z/local", "file").status, 0);
    for (const char* back : {"folder", "file"}) {
        EXPECT_EQ(Snapshot(temp_ / back).size(), 2U);
        EXPECT_EQ(ReadFile(temp_ / back + "/z/local"), ReadFile(temp_ / "source/z/local"));
    }
    EXPECT_EQ(unpack("one", "damaged").status, 1);
    EXPECT_FALSE(fs::exists(temp_ / "damaged"));
    for (const std::string path : {"none", "z/none", "one/x", "/one", "../head/one", "z/", "."}) {
        const std::string line = "share 7: no file or folder \"" + path + "\"";
        ExpectRefused(Verify({"--path", path}), line);
        ExpectRefused(unpack(path, "none"), line);
        EXPECT_FALSE(fs::exists(temp_ / "none"));
    }
}

INSTANTIATE_TEST_SUITE_P(Layouts, VerifyTest, testing::Values("files", "tables"),
                         [](const auto& layout) { return std::string(layout.param); });

}  // namespace
