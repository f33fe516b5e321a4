#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <set>

#include "jorvshare/pack/container_store.h"
#include "jorvshare/pack/pack_site.h"
#include "refstore/fstab/fstab_writer.h"
#include "refstore/image/image_record.h"
#include "terminal/interrupt.h"
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
        ExpectRefused("8",
                      "the " + what + " " + path + " is not inside " + directory +
                          "; a site with parts elsewhere, such as a copied site, is not changed");
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
        Site("volumes/v1") + ": listed in the table of volumes, but missing; is it mounted?";
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
        "9", Site("volumes/v1") + ": listed in the table of volumes, but missing; is it mounted?");
}

// The checker takes a .bin anywhere on a volume for a container, and one without its .bhd beside it
// for a corrupted one: on its way to its place data has another name.
TEST_F(PackSiteTest, ContainersOnTheirWayAreNoneToTheChecker) {
    ASSERT_EQ(Pack("7").status, 0);
    const auto names = [&](const std::string& directory) {
        std::set<std::string> found;
        for (const auto& entry : fs::directory_iterator(Site(directory))) {
            found.insert(entry.path().filename());
        }
        return found;
    };
    const terminal::InterruptScope scope;
    jorvshare::PackOptions options;
    options.shareId = "8";
    jorvshare::PackSite site(Site(), options);
    site.Begin();
    jorvshare::ContainerStore store(site.ContainerPlaces(), site.LastDcid(), 1 << 20,
                                    site.DataEnding());
    store.Put({}, jorvshare::BytesOf("abc"));
    store.Finish();
    EXPECT_EQ(names("volumes/v1/containers.partial"),
              (std::set<std::string>{"65.bhd", "65.bin.partial"}));
    site.Commit();
    EXPECT_EQ(names("volumes/v1"), (std::set<std::string>{"64.bhd", "64.bin", "65.bhd", "65.bin"}));
    EXPECT_EQ(ReadFile(Site("volumes/v1/65.bin")), "abc");
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

// The target of the link, a file or a directory of the right form, stays as it was.
TEST_F(PackSiteTest, NothingBehindASymbolicLinkInTheSiteIsWrittenOrRemoved) {
    ASSERT_EQ(Pack("7", {"--vcopy", "P:T:i"}).status, 0);
    MakeDirs(Site("meta/8"));
    WriteFile(Site("meta/8/8.partial/precious"), "p");
    WriteFile(Site("images/P/T/j.partial"), "p");
    for (const char* name : {"meta", "meta/8", "images", "images/P", "images/P/T", "volumes"}) {
        fs::rename(Site(name), temp_ / "aside");
        fs::create_symlink(temp_ / "aside", Site(name));
        const auto before = Snapshot(temp_.Path());
        const Ended ended = Pack("8", {"--vcopy", "P:T:j"});
        EXPECT_EQ(ended.status, 1);
        EXPECT_TRUE(
            ended.err.ends_with(": a symbolic link or \"..\" is in the path; none is followed\n"))
            << ended.err;
        EXPECT_EQ(Snapshot(temp_.Path()), before) << name;
        fs::remove(Site(name));
        fs::rename(temp_ / "aside", Site(name));
    }
    EXPECT_EQ(Pack("8", {"--vcopy", "P:T:j"}).status, 0);
}

TEST_F(PackSiteTest, WhatAKilledRunLeftBesideANewSiteIsRemoved) {
    WriteFile(temp_ / "site.partial/jorvshare-unfinished/meta/7/7/head/old", "half");
    ASSERT_EQ(Pack("7").status, 0);
    EXPECT_FALSE(fs::exists(temp_ / "site.partial"));
    EXPECT_FALSE(fs::exists(Site("meta/7/7/head/old")));
    EXPECT_TRUE(fs::exists(Site("meta/7/7/head/f")));
}

TEST_F(PackSiteTest, WhatSomebodyElsePutBesideANewSiteIsInTheWay) {
    const std::string line = temp_ /
                             "site.partial: is in the way: the run builds there, and removes only "
                             "what a killed run left";
    for (const char* name :
         {"site.partial", "site.partial/notes", "site.partial/jorvshare-unfinished-2/x"}) {
        WriteFile(temp_ / name, "p");
        ExpectRefused("7", line);
        fs::remove_all(temp_ / "site.partial");
    }
    WriteFile(temp_ / "site.partial/jorvshare-unfinished/x", "p");
    WriteFile(temp_ / "site.partial/notes", "p");
    ExpectRefused("7", line);
}

TEST_F(PackSiteTest, WhatKilledRunsLeftInASiteIsRemovedByTheNext) {
    ASSERT_EQ(Pack("7").status, 0);
    const auto leave = [this] {
        WriteFile(Site("meta/8/8.partial/head/old"), "x");
        WriteFile(Site("images/P/T/i.partial"), "half");
        WriteFile(Site("volumes/v1/containers.partial/99.bhd"), "half");
        WriteFile(Site("fstab.partial"), "half");
    };
    leave();
    ASSERT_EQ(Pack("8", {"--vcopy", "P:T:i", "--volumes", "2"}).status, 0);
    for (const auto& [path, text] : Snapshot(Site())) {
        EXPECT_EQ(path.find(".partial"), std::string::npos) << path;
        EXPECT_EQ(path.find("old"), std::string::npos) << path;
    }
    EXPECT_TRUE(fs::exists(Site("volumes/v1/65.bin")));
    EXPECT_EQ(ReadFile(Site("fstab")),
              refstore::EncodeFstab({Site("volumes/v1"), Site("volumes/v2")}));
}

TEST_F(PackSiteTest, LinesThatSomebodyWroteIntoTheTableOfVolumesStay) {
    ASSERT_EQ(Pack("7").status, 0);
    const std::string text = "# ours\nUUID=1 " + Site("volumes/v1") + " ext4 noatime 0 2";
    WriteFile(Site("fstab"), text);
    ASSERT_EQ(Pack("8", {"--volumes", "2"}).status, 0);
    EXPECT_EQ(ReadFile(Site("fstab")),
              text + "\nvolume " + Site("volumes/v2") + " none defaults 0 0\n");
}

TEST_F(PackSiteTest, ARunThatIsRefusedClearsNothing) {
    ASSERT_EQ(Pack("7").status, 0);
    WriteFile(Site("meta/7/7.partial/x"), "x");
    WriteFile(Site("volumes/v1/containers.partial/x"), "x");
    ExpectRefused("7", Site() + ": share 7 exists already");
}

// The image is put in place just before its share. A run that was killed between the two leaves an
// image that no share lists: the next run replaces it.
TEST_F(PackSiteTest, AnImageThatNoShareListsIsReplaced) {
    ASSERT_EQ(Pack("7", {"--vcopy", "P:T:i"}).status, 0);
    fs::remove_all(Site("meta/7/7"));
    WriteFile(Site("images/P/T/i"), "of a killed run");
    ASSERT_EQ(Pack("8", {"--vcopy", "P:T:i"}).status, 0);
    EXPECT_EQ(refstore::LoadImageRecord(Site("images/P/T/i")).name, "i");
    const auto before = Snapshot(Site());
    tool_test::ExpectRefused(Pack("9", {"--vcopy", "P:T:i"}),
                             Site("images/P/T/i") + ": the image exists already");
    EXPECT_EQ(Snapshot(Site()), before);
}

TEST_F(PackSiteTest, WhatSomebodyElsePutThereIsNoSite) {
    const std::string line =
        Site() + ": not a site: the directory is not empty and has no jorv.toml";
    for (const char* name : {"fstab", "volumes/v1/64.bin", ".hidden", "meta/7/7/head/f"}) {
        WriteFile(Site(name), "x");
        ExpectRefused("7", line);
        fs::remove_all(Site());
    }
}

// What is private in the source is private in the share.
TEST_F(PackSiteTest, DirectoriesAndStorageUnitsOfAShareAreTheirOwnersAlone) {
    WriteFile(temp_ / "source/d/e/f", "secret");
    fs::permissions(temp_ / "source/d", fs::perms{0700});
    fs::permissions(temp_ / "source/d/e/f", fs::perms{0644});
    const Ended ended =
        RunTool({"pack", temp_ / "source", Site(), "--share-id", "7"}, [] { ::umask(0); });
    ASSERT_EQ(ended.status, 0) << ended.err;
    int directories = 0;
    for (const auto& entry : fs::recursive_directory_iterator(Site("meta/7/7"))) {
        if (entry.is_directory()) {
            EXPECT_EQ(entry.status().permissions(), fs::perms{0700}) << entry.path();
            ++directories;
        } else if (entry.path().string().find("/stu/") != std::string::npos) {
            EXPECT_EQ(entry.status().permissions(), fs::perms{0600}) << entry.path();
        }
    }
    EXPECT_EQ(directories, 9);
    EXPECT_EQ(fs::status(Site("meta/7/7")).permissions(), fs::perms{0700});
    const Ended unpacked =
        RunTool({"unpack", Site(), temp_ / "back", "--share-id", "7"}, [] { ::umask(0); });
    ASSERT_EQ(unpacked.status, 0) << unpacked.err;
    EXPECT_EQ(fs::status(temp_ / "back").permissions(), fs::perms{0700});
    EXPECT_EQ(fs::status(temp_ / "back/d").permissions(), fs::perms{0700});
    EXPECT_EQ(fs::status(temp_ / "back/d/e/f").permissions(), fs::perms{0644});
}

}  // namespace
