#include "jorvaudit/volumes.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/support/temp_dir.h"

namespace {

using namespace jorvaudit;  // NOLINT(google-build-using-namespace)
using test_support::MakeDirs;
using test_support::TempDir;
using test_support::WriteFile;
using testing::ElementsAre;
using testing::IsEmpty;

class VolumesTest : public testing::Test {
  protected:
    VolumesTest() { MakeDirs(temp_ / "v"); }

    [[nodiscard]] VolumeSearch Search(const std::string& source = "volume") const {
        // Through its bytes, as the audit gets it.
        return DecodeSearch(Encode(SearchVolumes({{.source = source, .path = temp_ / "v"}})));
    }
    void Put(const std::string& name) const { WriteFile(temp_ / ("v/" + name), ""); }
    static std::vector<std::string_view> Ids(const VolumeSearch& search) {
        std::vector<std::string_view> ids;
        for (const Finding& finding : search.findings) {
            ids.push_back(finding.kind->id);
        }
        return ids;
    }

    TempDir temp_;
};

TEST_F(VolumesTest, AContainerIsDataWithAnIndexInAnyDirectory) {
    for (const char* const name :
         {"70.bin", "70.bhd", "a/b/81.bin", "a/b/81.bhd", "81.bin", "81.bhd", "82.bhd",
          "83.bin.new", "84.BIN", ".bin", "note.txt"}) {
        Put(name);
    }
    MakeDirs(temp_ / "v/85.bin");
    const VolumeSearch search = Search();
    EXPECT_THAT(search.containers, ElementsAre(70, 81));
    EXPECT_THAT(search.findings, IsEmpty());
    ASSERT_EQ(search.volumes.size(), 1U);
    EXPECT_EQ(search.volumes[0].containers, 3U);
    EXPECT_TRUE(search.volumes[0].whole);
}

TEST_F(VolumesTest, DataWithoutAnIndexIsNoContainer) {
    Put("70.bin");
    const VolumeSearch search = Search();
    EXPECT_THAT(search.containers, IsEmpty());
    EXPECT_THAT(Ids(search), ElementsAre("container-index-missing"));
    EXPECT_EQ(search.findings[0].name, temp_ / "v/70.bhd");
}

TEST_F(VolumesTest, WhatTheStorageLibraryDoesNotOpenIsNoContainer) {
    Put("70.bin");
    MakeDirs(temp_ / "v/70.bhd");
    Put("71.bin");
    ::mkfifo((temp_ / "v/71.bhd").c_str(), S_IRWXU);
    for (const char* const name : {"064", "+65", "-5"}) {
        Put(std::string(name) + ".bin");
        Put(std::string(name) + ".bhd");
    }
    const VolumeSearch search = Search();
    EXPECT_THAT(search.containers, IsEmpty());
    EXPECT_EQ(search.volumes[0].containers, 0U);
    EXPECT_THAT(Ids(search), ElementsAre("container-index-missing", "container-index-missing"));
    EXPECT_EQ(search.findings[0].detail, "not a regular file");
}

TEST_F(VolumesTest, WhatEndsTheCheckersSearchDoesNotEndThisOne) {
    Put("x.bin");
    Put("x.bhd");
    Put("70.bin");
    Put("70.bhd");
    std::filesystem::create_symlink("loop.bin", temp_ / "v/loop.bin");
    std::filesystem::create_symlink("nowhere", temp_ / "v/broken.bin");
    const VolumeSearch search = Search();
    EXPECT_THAT(search.containers, ElementsAre(70));
    EXPECT_THAT(Ids(search), ElementsAre("loading-containers-failed", "loading-containers-failed"));
}

TEST_F(VolumesTest, AVolumeThatIsNotThereIsNotWhole) {
    std::filesystem::remove(temp_ / "v");
    EXPECT_THAT(Ids(Search()), ElementsAre("volume-missing"));
    EXPECT_FALSE(Search().volumes[0].whole);
    WriteFile(temp_ / "v", "");
    EXPECT_THAT(Ids(Search()), ElementsAre("volume-missing"));
}

TEST_F(VolumesTest, ADeviceMustBeMounted) {
    for (const char* const source : {"/dev/sdb1", "UUID=1", "server:/export", "//server/share"}) {
        EXPECT_THAT(Ids(Search(source)), ElementsAre("volume-not-mounted")) << source;
    }
    for (const char* const source : {"volume", "none", "/srv/x"}) {
        EXPECT_THAT(Ids(Search(source)), IsEmpty()) << source;
    }
}

}  // namespace
