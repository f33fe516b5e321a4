#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>

#include "refstore/fstab/fstab_writer.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/jorvshare/tool_run.h"

namespace {

namespace fs = std::filesystem;
using test_support::MakeDirs;
using test_support::ReadFile;
using test_support::TempDir;
using test_support::WriteFile;
using tool_test::Ended;
using tool_test::Noise;
using tool_test::RunTool;
using tool_test::Snapshot;

class PackSiteTest : public testing::Test {
  protected:
    PackSiteTest() { WriteFile(temp_ / "source/f", "x"); }

    Ended Pack(const std::string& id, const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments = {"pack", temp_ / "source", Site(),  "--share-id",
                                              id,     "--layout",       "tables"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunTool(arguments);
    }

    // The pack is refused with the line and changes nothing of the site nor of what is around it.
    void ExpectRefused(const std::string& id, const std::string& line) {
        const auto before = Snapshot(temp_.Path());
        tool_test::ExpectRefused(Pack(id), line);
        EXPECT_EQ(Snapshot(temp_.Path()), before);
    }

    [[nodiscard]] std::string Site(const std::string& relative = "") const {
        return temp_ / (relative.empty() ? "site" : "site/" + relative);
    }

    void ExpectElsewhere(const std::string& what, const std::string& path,
                         const std::string& directory) {
        ExpectRefused("8", "the " + what + " " + path + " is not inside " + directory +
                               "; a site that reaches elsewhere, as a copied one does, is not "
                               "changed");
    }

    void Replace(const std::string& relative, const std::string& from, const std::string& to) {
        std::string text = ReadFile(Site(relative));
        ASSERT_NE(text.find(from), std::string::npos) << text;
        WriteFile(Site(relative), text.replace(text.find(from), from.size(), to));
    }

    TempDir temp_;
};

TEST_F(PackSiteTest, AListedVolumeThatIsNotThereIsRefused) {
    ASSERT_EQ(Pack("7", {"--volumes", "2"}).status, 0);
    fs::rename(Site("volumes/v1"), temp_ / "unmounted");
    const std::string line =
        Site("volumes/v1") + ": listed in the table of volumes and not there; is it mounted?";
    ExpectRefused("8", line);
    fs::rename(temp_ / "unmounted", Site("volumes/v1"));
    fs::rename(Site("volumes"), temp_ / "unmounted");
    ExpectRefused("8", line);
    fs::rename(temp_ / "unmounted", Site("volumes"));
    EXPECT_EQ(Pack("8").status, 0);
    EXPECT_TRUE(fs::exists(Site("volumes/v1/65.bin")));
}

TEST_F(PackSiteTest, AVolumeMayBeASymbolicLink) {
    ASSERT_EQ(Pack("7").status, 0);
    fs::rename(Site("volumes/v1"), temp_ / "disk");
    fs::create_symlink(temp_ / "disk", Site("volumes/v1"));
    ASSERT_EQ(Pack("8").status, 0);
    EXPECT_TRUE(fs::exists(temp_ / "disk/65.bin"));
    fs::rename(temp_ / "disk", temp_ / "unmounted");
    ExpectRefused(
        "9", Site("volumes/v1") + ": listed in the table of volumes and not there; is it mounted?");
}

TEST_F(PackSiteTest, DcidsOnAVolumeThatAKilledRunDidNotListAreTaken) {
    ASSERT_EQ(Pack("7").status, 0);
    WriteFile(Site("volumes/v2/65.bin"), "");
    ASSERT_EQ(Pack("8").status, 0);
    EXPECT_TRUE(fs::exists(Site("volumes/v1/66.bin")));
}

TEST_F(PackSiteTest, ACopiedSiteIsNotPackedInto) {
    ASSERT_EQ(Pack("7").status, 0);
    fs::rename(Site(), temp_ / "original");
    fs::copy(temp_ / "original", Site(), fs::copy_options::recursive);
    WriteFile(Site("fstab"), refstore::EncodeFstab({temp_ / "original/volumes/v1"}));
    ExpectElsewhere("volume", temp_ / "original/volumes/v1", Site("volumes"));
    WriteFile(Site("fstab"), refstore::EncodeFstab({Site("volumes/../../original/volumes/v1")}));
    ExpectElsewhere("volume", Site("volumes/../../original/volumes/v1"), Site("volumes"));
    WriteFile(Site("fstab"), refstore::EncodeFstab({Site("volumes")}));
    ExpectElsewhere("volume", Site("volumes"), Site("volumes"));
    WriteFile(Site("fstab"), refstore::EncodeFstab({Site("volumes/v1")}));
    EXPECT_EQ(Pack("8").status, 0);
}

TEST_F(PackSiteTest, ASiteThatReachesElsewhereIsNotPackedIntoAndYetUnpacked) {
    ASSERT_EQ(Pack("7").status, 0);
    const std::string toml = ReadFile(Site("jorv.toml"));
    MakeDirs(temp_ / "other");
    const auto expectElsewhere = [&](const char* from, const char* to, const char* what,
                                     const std::string& path) {
        Replace("jorv.toml", from, std::string(to) + '"' + path + '"');
        ExpectElsewhere(what, path, Site());
        WriteFile(Site("jorv.toml"), toml);
    };
    expectElsewhere("meta_dir = \"meta\"", "meta_dir = ", "metadata root", temp_ / "other");
    expectElsewhere("image_root = \"images\"", "image_root = ", "image root", temp_ / "other");
    fs::copy(Site("fstab"), temp_ / "fstab");
    expectElsewhere("storage_fstab = \"fstab\"", "storage_fstab = ", "table of volumes",
                    temp_ / "fstab");
    fs::rename(Site("meta"), temp_ / "meta");
    Replace("jorv.toml", "meta_dir = \"meta\"", "meta_dir = \"" + (temp_ / "meta") + "\"");
    ExpectElsewhere("metadata root", temp_ / "meta", Site());
    EXPECT_EQ(RunTool({"unpack", Site(), temp_ / "back", "--share-id", "7"}).status, 0);
}

TEST_F(PackSiteTest, DirectoriesOfASiteThatAreSymbolicLinksAreRefused) {
    ASSERT_EQ(Pack("7").status, 0);
    for (const char* name : {"meta", "volumes", "images"}) {
        fs::rename(Site(name), temp_ / "aside");
        fs::create_symlink(temp_ / "aside", Site(name));
        ExpectRefused("8", Site(name) +
                               ": a symbolic link; a site that reaches elsewhere is "
                               "not changed");
        fs::remove(Site(name));
        fs::rename(temp_ / "aside", Site(name));
    }
    EXPECT_EQ(Pack("8").status, 0);
}

TEST_F(PackSiteTest, WhatAFirstPackLeavesWhenItIsKilledIsTakenOver) {
    const std::string fstab = refstore::EncodeFstab({Site("volumes/v1"), Site("volumes/v2")});
    MakeDirs(Site("volumes/v1"));
    MakeDirs(Site("volumes/v2"));
    WriteFile(Site("fstab"), fstab);
    WriteFile(Site(".jorv-4711-0"), "half");
    const auto volumes = Snapshot(Site("volumes"));
    // A run that fails takes back what it made and nothing else.
    WriteFile(temp_ / "source/large", Noise(100000, 1));
    const Ended failed =
        RunTool({"pack", temp_ / "source", Site(), "--share-id", "7", "--layout", "tables"}, [] {
            const struct rlimit small = {90000, 90000};
            ::setrlimit(RLIMIT_FSIZE, &small);
        });
    EXPECT_TRUE(failed.err.ends_with(": File too large (errno 27)\n")) << failed.err;
    EXPECT_EQ(failed.status, 1);
    EXPECT_FALSE(fs::exists(Site("jorv.toml")));
    EXPECT_EQ(Snapshot(Site("volumes")), volumes);
    EXPECT_EQ(ReadFile(Site("fstab")), fstab);
    ASSERT_EQ(Pack("7").status, 0);
    EXPECT_FALSE(fs::exists(Site(".jorv-4711-0")));
    EXPECT_EQ(ReadFile(Site("fstab")), refstore::EncodeFstab({Site("volumes/v1")}));
}

TEST_F(PackSiteTest, WhatSomebodyElsePutThereIsNoSite) {
    const std::string line = Site() + ": not a site: it holds other things and no jorv.toml";
    const std::vector<std::pair<std::string, std::string>> foreign = {
        {"fstab", "/dev/sda1 / ext4 defaults 0 1\n"},
        {"fstab", "no table at all"},
        {"fstab", ""},
        {"fstab", "# kept\n" + refstore::EncodeFstab({Site("volumes/v1")})},
        {"fstab", refstore::EncodeFstab({Site("volumes/v2")})},
        {"fstab/inner", "x"},
        {".jorv-notes", "x"},
        {".jorv-1-", "x"},
        {".jorv--1", "x"},
        {".jorv-1", "x"},
        {".jorv-1-2x", "x"},
        {".jorv-1-2-3", "x"},
        {".jorv-1-2/inner", "x"},
        {"volumes", "x"},
        {"volumes/v1/64.bin", "x"},
        {"volumes/w1/x", "x"},
        {"volumes/v1", "x"}};
    for (const auto& [name, text] : foreign) {
        WriteFile(Site(name), text);
        ExpectRefused("7", line);
        fs::remove_all(Site());
    }
}

}  // namespace
