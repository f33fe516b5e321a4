#include <gtest/gtest.h>

#include <filesystem>

#include "refstore/extent/extent_record.h"
#include "refstore/header/header_record.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/jorvshare/tool_run.h"

namespace {

namespace fs = std::filesystem;
using test_support::MakeDirs;
using test_support::ReadFile;
using test_support::TempDir;
using test_support::WriteFile;
using tool_test::Ended;
using tool_test::RunTool;

constexpr const char* kShare = "site/meta/7/7/";

// A share with the file d/f in a storage unit, and a, b with one piece of data in a container.
class UnpackTest : public testing::Test {
  protected:
    UnpackTest() {
        WriteFile(temp_ / "source/d/f", "local data");
        WriteFile(temp_ / "source/a", "common data");
        WriteFile(temp_ / "source/b", "common data");
        EXPECT_EQ(RunTool({"pack", temp_ / "source", temp_ / "site", "--share-id", "7"}).status, 0);
    }

    Ended Unpack(const std::string& id = "7", const std::string& destination = "back") {
        return RunTool({"unpack", temp_ / "site", temp_ / destination, "--share-id", id});
    }

    void ExpectRefused(const Ended& ended, const std::string& line) {
        tool_test::ExpectRefused(ended, line);
        EXPECT_FALSE(fs::exists(temp_ / "back"));
        EXPECT_FALSE(fs::exists(temp_ / "back.partial"));
    }

    [[nodiscard]] std::string Share(const std::string& relative) const {
        return temp_ / (kShare + relative);
    }

    // Replaces the header and the extent file of d/f.
    void Rewrite(const refstore::HeaderRecord& header, std::int64_t transId,
                 const std::vector<refstore::Extent>& extents) {
        WriteFile(Share("head/d/f"), refstore::EncodeHeader(header));
        WriteFile(Share("map/d/f"), refstore::EncodeExtents(transId, extents));
    }

    TempDir temp_;
};

TEST_F(UnpackTest, ChangedDataInAStorageUnitIsDamage) {
    WriteFile(Share("stu/d/f"), "local Data");
    ExpectRefused(Unpack(), "damaged file d/f: extent at 0: fingerprint mismatch");
}

TEST_F(UnpackTest, AStorageUnitCutShortIsDamage) {
    WriteFile(Share("stu/d/f"), "local dat");
    ExpectRefused(Unpack(),
                  "damaged file d/f: extent at 0: its data lies outside of the storage unit");
}

TEST_F(UnpackTest, AMissingStorageUnitIsDamage) {
    fs::remove(Share("stu/d/f"));
    ExpectRefused(Unpack(), "damaged file d/f: extent at 0: " + Share("stu/d/f") +
                                ": No such file or directory (errno 2)");
}

TEST_F(UnpackTest, ChangedDataInAContainerIsDamage) {
    WriteFile(temp_ / "site/volumes/v1/64.bin", "common Data");
    const Ended ended = Unpack();
    EXPECT_TRUE(ended.err.starts_with("jorvshare: damaged file a: extent at 0: ")) << ended.err;
    EXPECT_TRUE(ended.err.ends_with(" (errno 74)\n")) << ended.err;
    ExpectRefused(ended, ended.err.substr(11, ended.err.size() - 12));
}

TEST_F(UnpackTest, AMissingContainerIsDamage) {
    fs::remove(temp_ / "site/volumes/v1/64.bhd");
    const Ended ended = Unpack();
    EXPECT_TRUE(ended.err.starts_with("jorvshare: damaged file a: extent at 0: ")) << ended.err;
    EXPECT_TRUE(ended.err.ends_with(" (errno 2)\n")) << ended.err;
    ExpectRefused(ended, ended.err.substr(11, ended.err.size() - 12));
}

TEST_F(UnpackTest, AVolumeThatIsNotThereMattersOnlyToItsData) {
    const std::string v1 = temp_ / "site/volumes/v1";
    const std::string warning = "jorvshare: warning: " + v1 +
                                ": listed in the table of volumes, but missing; is it mounted?\n";
    WriteFile(temp_ / "local/f", "only local data");
    ASSERT_EQ(RunTool({"pack", temp_ / "local", temp_ / "site", "--share-id", "8"}).status, 0);
    fs::rename(v1, temp_ / "unmounted");
    const Ended ended = Unpack();
    EXPECT_EQ(ended.err, warning +
                             "jorvshare: damaged file a: extent at 0: container 64: not on any "
                             "volume (errno 2)\n");
    EXPECT_EQ(ended.status, 1);
    EXPECT_FALSE(fs::exists(temp_ / "back"));
    const Ended local = Unpack("8");
    EXPECT_EQ(local.err, warning);
    EXPECT_EQ(local.status, 0);
    EXPECT_EQ(ReadFile(temp_ / "back/f"), "only local data");
}

TEST_F(UnpackTest, AContainerInASubdirectoryIsFound) {
    MakeDirs(temp_ / "site/volumes/v1/sub");
    fs::rename(temp_ / "site/volumes/v1/64.bhd", temp_ / "site/volumes/v1/sub/64.bhd");
    fs::rename(temp_ / "site/volumes/v1/64.bin", temp_ / "site/volumes/v1/sub/64.bin");
    EXPECT_EQ(Unpack().status, 0);
    EXPECT_EQ(ReadFile(temp_ / "back/a"), "common data");
}

TEST_F(UnpackTest, ADamagedHeaderOrExtentFileIsNamed) {
    const std::string header = ReadFile(Share("head/d/f"));
    WriteFile(Share("head/d/f"), header.substr(0, header.size() - 1));
    ExpectRefused(Unpack(), "damaged file d/f: header file " + Share("head/d/f") +
                                ": length mismatch (errno 74)");
    WriteFile(Share("head/d/f"), header);
    fs::remove(Share("map/d/f"));
    ExpectRefused(Unpack(), "damaged file d/f: " + Share("map/d/f") +
                                ": No such file or directory (errno 2)");
}

TEST_F(UnpackTest, HeadersAndExtentsThatDoNotFitAreDamage) {
    refstore::HeaderRecord header;
    header.size = 10;
    const auto damaged = [](const std::string& why) { return "damaged file d/f: " + why; };
    Rewrite(header, 2, {});
    ExpectRefused(Unpack(), damaged("header and extent file have different transaction ids"));
    refstore::Extent extent;
    extent.dcid = 1;
    extent.start = 5;
    extent.end = 11;
    Rewrite(header, 1, {extent});
    ExpectRefused(Unpack(), damaged("extent at 5: it ends after the end of the file"));
    extent.end = 5;
    Rewrite(header, 1, {extent});
    ExpectRefused(Unpack(), damaged("extent at 5: its length is not possible"));
    extent.end = 6;
    extent.dataOffset = -1;
    Rewrite(header, 1, {extent});
    ExpectRefused(Unpack(), damaged("extent at 5: its data lies outside of the storage unit"));
    header.size = std::int64_t{1} << 40U;
    extent.dataOffset = 0;
    extent.end = extent.start + (std::uint64_t{64} << 20U) + 1;
    Rewrite(header, 1, {extent});
    ExpectRefused(Unpack(), damaged("extent at 5: its length is not possible"));
    header.size = -1;
    Rewrite(header, 1, {});
    ExpectRefused(Unpack(), damaged("its header holds an impossible size or time"));
    header.size = 0;
    header.mtimeNsec = 1000000000;
    Rewrite(header, 1, {});
    ExpectRefused(Unpack(), damaged("its header holds an impossible size or time"));
    header.mtimeNsec = 999999999;
    Rewrite(header, 1, {});
    EXPECT_EQ(Unpack().status, 0);
}

TEST_F(UnpackTest, SetIdBitsAreNotGivenToAnotherOwner) {
    refstore::HeaderRecord header;
    header.mode = 06755;
    Rewrite(header, 1, {});
    ASSERT_EQ(Unpack().status, 0);
    EXPECT_EQ(fs::status(temp_ / "back/d/f").permissions(), fs::perms{0755});
}

TEST_F(UnpackTest, SymbolicLinksInTheShareLeadNowhere) {
    WriteFile(temp_ / "outside/x", "outside");
    const auto plant = [&](const std::string& relative, const std::string& target) {
        fs::rename(Share(relative), temp_ / "aside");
        fs::create_symlink(temp_ / target, Share(relative));
    };
    const auto heal = [&](const std::string& relative) {
        fs::remove(Share(relative));
        fs::rename(temp_ / "aside", Share(relative));
    };
    const auto link = [this](const std::string& relative) {
        return Share(relative) + ": a symbolic link or \"..\" is in the path; none is followed";
    };
    plant("head/d/f", "outside/x");
    ExpectRefused(Unpack(), "damaged file d/f: " + link("head/d/f"));
    heal("head/d/f");
    plant("head/d", "outside");
    ExpectRefused(Unpack(), "damaged file d: " + link("head/d"));
    heal("head/d");
    plant("head", "outside");
    ExpectRefused(Unpack(), link("head"));
    heal("head");
    plant("map/d", "outside");
    ExpectRefused(Unpack(), "damaged file d/f: " + link("map/d/f"));
    heal("map/d");
    plant("map/d/f", "outside/x");
    ExpectRefused(Unpack(), "damaged file d/f: " + link("map/d/f"));
    heal("map/d/f");
    plant("stu", "outside");
    ExpectRefused(Unpack(), "damaged file d/f: extent at 0: " + link("stu/d/f"));
    heal("stu");
    plant("stu/d/f", "outside/x");
    ExpectRefused(Unpack(), "damaged file d/f: extent at 0: " + link("stu/d/f"));
    heal("stu/d/f");
    EXPECT_EQ(Unpack().status, 0);
    EXPECT_EQ(std::distance(fs::directory_iterator(temp_ / "outside"), {}), 1);
}

TEST_F(UnpackTest, DestinationsThatHoldSomethingAreRefused) {
    WriteFile(temp_ / "full/x", "x");
    ExpectRefused(Unpack("7", "full"), temp_ / "full: exists and is not an empty directory");
    ExpectRefused(Unpack("7", "full/x"), temp_ / "full/x: exists and is not an empty directory");
    WriteFile(temp_ / "new.partial/x", "x");
    ExpectRefused(Unpack("7", "new"), temp_ /
                                          "new.partial: is in the way: the run builds there, and "
                                          "removes only what a killed run left");
    ExpectRefused(Unpack("7", "none/new"), temp_ / "none/new: No such file or directory (errno 2)");
    ExpectRefused(Unpack("7", "site/new"), "the destination " + (temp_ / "site/new") +
                                               " lies inside the site " + (temp_ / "site"));
    EXPECT_TRUE(fs::exists(temp_ / "full/x"));
    EXPECT_TRUE(fs::exists(temp_ / "new.partial"));
}

TEST_F(UnpackTest, SharesAndSitesThatAreNotThereAreNamed) {
    ExpectRefused(Unpack("8"), temp_ / "site: no share 8");
    fs::remove(temp_ / "site/fstab");
    ExpectRefused(Unpack(), "table of volumes " + (temp_ / "site/fstab") +
                                ": No such file or directory (errno 2)");
    fs::remove(temp_ / "site/jorv.toml");
    ExpectRefused(Unpack(), temp_ / "site: not a site: no jorv.toml in it");
}

TEST_F(UnpackTest, TheLayoutIsTheSitesOwnWhateverTheEnvironmentSays) {
    WriteFile(temp_ / "other.toml", "use_file_ext_map = 1\n");
    const Ended ended = RunTool({"unpack", temp_ / "site", temp_ / "back", "--share-id", "7"}, [&] {
        ::setenv("JORV_CONFIG", (temp_ / "other.toml").c_str(), 1);
    });
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(ended.out, "share 7: 3 files, 32 bytes restored\n");
}

}  // namespace
