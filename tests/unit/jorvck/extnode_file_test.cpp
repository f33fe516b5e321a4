#include <gtest/gtest.h>
#include <sys/stat.h>

#include <boost/filesystem/exception.hpp>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <utility>

#include "storage/exception.h"
#include "tests/interposed/directories.h"
#include "tests/unit/jorvck/extnode_fixture.h"

namespace extnode {

namespace {

using Corvane::Kst::Marlow::Jorv::SysException;
using test_support::Capture;
using test_support::kGiB;
using test_support::MakeDirs;
using test_support::StoredExtent;
using test_support::Throws;
using test_support::WriteFile;

/// An extent whose checksum cannot match "A", the contents of its storage unit.
constexpr StoredExtent kBad = {.end = 1, .dcid = 1, .cksum = 0};
/// One that matches.
constexpr StoredExtent kGood = {.end = 1, .dcid = 1, .cksum = 'A'};

/// Checks one file directly.
class FileCksum : public ShareTest {
  protected:
    /// Walks the whole map tree; returns what was printed.
    std::string Walk() {
        int result = 77;
        const auto captured = Capture([&] {
            ExtNodeCheck check(Root());
            result = check.ExtNodeCheck_Cksum((dir / "map").c_str(), (dir / "stu").c_str());
        });
        EXPECT_EQ(result, 0);
        return captured.err;
    }

    std::string Check(const std::string& mapPath) {
        const auto captured = Capture([&] {
            ExtNodeCheck check(Root());
            check.ExtNodeCheck_Cksum_File(mapPath, Stu("f"));
        });
        EXPECT_EQ(captured.out, "");
        return captured.err;
    }

    /// As Check, for a check that an exception leaves.
    template <typename E>
    std::string CheckThrows(const std::string& mapPath) {
        bool thrown = false;
        const auto captured = Capture([&] {
            ExtNodeCheck check(Root());
            thrown = Throws<E>([&] { check.ExtNodeCheck_Cksum_File(mapPath, Stu("f")); });
        });
        EXPECT_TRUE(thrown);
        return captured.err;
    }
};

using ExtentFileLayout = FileCksum;

TEST_F(ExtentFileLayout, TheTableIsMadeLoadedAnnouncedCheckedAndReleased) {
    script.extentFiles["/s/map/f"] = {};
    EXPECT_EQ(Check("/s/map/f"), "Verify file /s/map/f\n");
    EXPECT_EQ(script.Calls(),
              (Lines{"JorvConfig::GetInstance", "CreateMappingTable \"\"", "ExtentFile::ExtentFile",
                     "ExtentFile::Load /s/map/f", "CMappingTable::begin /s/map/f",
                     "CMappingTable::end /s/map/f", "MappingCursor::Equals /s/map/f#0",
                     "MappingCursor::Destroy /s/map/f#0", "MappingCursor::Destroy /s/map/f#0",
                     "ExtentFile::~ExtentFile", "CMappingTable::~CMappingTable /s/map/f"}));
}

TEST_F(ExtentFileLayout, TheAnnouncementComesBeforeTheFindings) {
    WriteFile(Stu("f"), "A");
    script.extentFiles["/s/map/f"].extents = {kGood, kBad, kBad};
    EXPECT_EQ(Check("/s/map/f"),
              "Verify file /s/map/f\n[ERROR]: extent file cksum failed /s/map/f\n");
}

TEST_F(ExtentFileLayout, AFileThatDoesNotLoadIsNotAnnouncedAndItsTableIsReleased) {
    script.ThrowSys("ExtentFile::Load", 74);
    EXPECT_EQ(CheckThrows<SysException>("/s/map/f"), "");
    EXPECT_EQ(script.Calls({"CMappingTable::~CMappingTable"}).size(), 1U);
    EXPECT_EQ(script.Calls({"CMappingTable::begin"}), Lines{});
}

TEST_F(ExtentFileLayout, ATableThatCannotBeMadeLeavesAtOnce) {
    script.ThrowSys("CreateMappingTable", 12);
    EXPECT_EQ(CheckThrows<SysException>("/s/map/f"), "");
    EXPECT_EQ(script.Calls({"ExtentFile::ExtentFile"}), Lines{});
}

TEST_F(ExtentFileLayout, AnExtentFileThatCannotBeMadeReleasesTheTable) {
    script.ThrowSys("ExtentFile::ExtentFile", 12);
    EXPECT_EQ(CheckThrows<SysException>("/s/map/f"), "");
    EXPECT_EQ(script.Calls({"CMappingTable::~CMappingTable"}).size(), 1U);
}

TEST_F(ExtentFileLayout, AnotherExceptionPassesAndReleasesEverything) {
    script.extentFiles["/s/map/f"].extents = {kGood};
    script.Throw("MappingCursor::Current", std::runtime_error("no record"));
    EXPECT_EQ(CheckThrows<std::runtime_error>("/s/map/f"), "Verify file /s/map/f\n");
    EXPECT_EQ(script.Calls({"CMappingTable::~CMappingTable"}).size(), 1U);
}

TEST_F(ExtentFileLayout, ALibraryThatHandsOutNoTableFailsToLoad) {
    script.noTable = true;
    EXPECT_EQ(CheckThrows<SysException>("/s/map/f"), "");
}

TEST_F(ExtentFileLayout, ItIsChosenByZeroAlone) {
    for (const std::int32_t setting : {1, 2, -1, std::numeric_limits<std::int32_t>::min()}) {
        script.UseFileExtMap(setting);
        EXPECT_EQ(Check("/s/map/f"), "") << setting;
    }
    EXPECT_EQ(script.Calls({"CreateMappingTable"}), Lines{});
    EXPECT_EQ(script.Calls({"FileExtMapMgr::FileExtMapMgr"}).size(), 4U);
}

/// A file whose extent-map directory and header are there, until a test takes them away.
class ExtentMapLayout : public FileCksum {
  protected:
    void SetUp() override {
        script.UseFileExtMap(1);
        MakeDirs(Map("f"));
        WriteFile(Head("f"), "");
        WriteFile(Stu("f"), "A");
    }

    /// A table over `spans` GiB from `offset` GiB on.
    void Table(std::uint64_t offset, std::uint64_t spans, std::vector<StoredExtent> extents) {
        script.tableDirectories[Map("f")].tables.push_back({.offset = offset * kGiB,
                                                            .end = (offset + spans) * kGiB,
                                                            .extents = std::move(extents)});
    }

    /// Offsets that the manager was asked for, in GiB.
    [[nodiscard]] std::vector<std::uint64_t> Asked() const {
        std::vector<std::uint64_t> offsets;
        const std::string prefix = "BaseFileExtMapMgr::GetTableForRead " + Map("f") + " ";
        for (const std::string& line : script.Calls({"BaseFileExtMapMgr::GetTableForRead"})) {
            offsets.push_back(std::stoull(line.substr(prefix.size())) / kGiB);
        }
        return offsets;
    }

    /// The manager is made and freed, and nothing else is asked of the library.
    void ExpectSkipped() {
        EXPECT_EQ(Check(Map("f")), "");
        EXPECT_EQ(script.Calls(),
                  (Lines{"JorvConfig::GetInstance",
                         "FileExtMapMgr::FileExtMapMgr " + Map("f") + " name=\"\" table=null",
                         "FileExtMapMgr::~FileExtMapMgr " + Map("f")}));
    }

    void MakeHeadLoop() {
        std::filesystem::remove(Head("f"));
        std::filesystem::create_symlink("f", Head("f"));
    }
};

TEST_F(ExtentMapLayout, TablesAreAskedForInStepsOfTheSpanUntilThereIsNone) {
    Table(0, 1, {});
    Table(1, 1, {});
    EXPECT_EQ(Check(Map("f")), "") << "no file is announced in this layout";
    const std::string map = Map("f");
    const std::string ask = "BaseFileExtMapMgr::GetTableForRead " + map;
    const auto table = [&](const std::string& label) {
        return Lines{"FileSystemDaemonConfig::GetInstance",
                     "configLock.lock_shared",
                     "configLock.unlock_shared",
                     "CMappingTable::begin " + label,
                     "CMappingTable::end " + label,
                     "MappingCursor::Equals " + label + "#0",
                     "MappingCursor::Destroy " + label + "#0",
                     "MappingCursor::Destroy " + label + "#0"};
    };
    Lines expected = {"JorvConfig::GetInstance",
                      "FileExtMapMgr::FileExtMapMgr " + map + " name=\"\" table=null",
                      "BaseFileExtMapMgr::LoadTables " + map, ask + " 0"};
    const Lines first = table(map + "@0");
    const Lines second = table(map + "@1073741824");
    expected.insert(expected.end(), first.begin(), first.end());
    expected.push_back(ask + " 1073741824");
    expected.insert(expected.end(), second.begin(), second.end());
    expected.push_back(ask + " 2147483648");
    expected.push_back("FileExtMapMgr::~FileExtMapMgr " + map);
    expected.push_back("CMappingTable::~CMappingTable " + map + "@0");
    expected.push_back("CMappingTable::~CMappingTable " + map + "@1073741824");
    EXPECT_EQ(script.Calls(), expected);
}

TEST_F(ExtentMapLayout, TheSpanIsReadAfreshForEveryTable) {
    script.TableSpanGiBPerHold({1, 2, 5});
    Table(0, 8, {});
    EXPECT_EQ(Check(Map("f")), "");
    EXPECT_EQ(Asked(), (std::vector<std::uint64_t>{0, 1, 3, 8}));
}

TEST_F(ExtentMapLayout, TheLargestSpanRunsIntoNegativeOffsetsAndStops) {
    script.TableSpanGiB(std::numeric_limits<std::uint32_t>::max());
    script.tableDirectories[Map("f")].tables = {
        {.offset = 0, .end = std::numeric_limits<std::uint64_t>::max()}};
    EXPECT_EQ(Check(Map("f")), "");
    const std::string ask = "BaseFileExtMapMgr::GetTableForRead " + Map("f");
    EXPECT_EQ(script.Calls({"BaseFileExtMapMgr::GetTableForRead"}),
              (Lines{ask + " 0", ask + " 4611686017353646080", ask + " 9223372034707292160",
                     ask + " -4611686021648613376"}));
}

TEST_F(ExtentMapLayout, WithASpanOfZeroTheSameTableIsAskedForAgainAndAgain) {
    script.TableSpanGiB(0);
    Table(0, 1, {kGood});
    script.Result("BaseFileExtMapMgr::GetTableForRead", {0, 0, 0, 0, 1});
    EXPECT_EQ(Check(Map("f")), "");
    EXPECT_EQ(Asked(), std::vector<std::uint64_t>(5, 0));
}

TEST_F(ExtentMapLayout, TheFirstTableThatFailsEndsTheFile) {
    Table(0, 1, {kGood});
    Table(1, 1, {kBad, kGood});
    Table(2, 1, {kBad});
    EXPECT_EQ(Check(Map("f")), "[ERROR]: extent file cksum failed " + Map("f") + "\n");
    EXPECT_EQ(Asked(), (std::vector<std::uint64_t>{0, 1}));
}

TEST_F(ExtentMapLayout, ASilentFailureEndsTheFileToo) {
    std::filesystem::remove(Stu("f"));
    Table(0, 1, {kGood});
    Table(1, 1, {kGood});
    EXPECT_EQ(Check(Map("f")), "");
    EXPECT_EQ(Asked(), std::vector<std::uint64_t>{0});
}

TEST_F(ExtentMapLayout, AFileWithoutATableAtOffset0IsNotChecked) {
    Table(1, 1, {kBad});
    EXPECT_EQ(Check(Map("f")), "");
    EXPECT_EQ(Asked(), std::vector<std::uint64_t>{0});
}

TEST_F(ExtentMapLayout, AnyResultButZeroMeansNoTable) {
    Table(0, 1, {kBad});
    for (const std::int64_t result : {1, -1, 2, 22}) {
        script.Result("BaseFileExtMapMgr::GetTableForRead", {result});
        EXPECT_EQ(Check(Map("f")), "") << result;
    }
    EXPECT_EQ(script.Calls({"CMappingTable::begin"}), Lines{});
}

TEST_F(ExtentMapLayout, TheDirectoryMayBeReachedThroughALinkAndSoMayTheHeader) {
    std::filesystem::rename(Head("f"), dir / "header");
    std::filesystem::create_symlink(dir / "header", Head("f"));
    std::filesystem::rename(Map("f"), dir / "tables");
    std::filesystem::create_symlink(dir / "tables", Map("f"));
    Table(0, 1, {kBad});
    EXPECT_EQ(Check(Map("f")), "[ERROR]: extent file cksum failed " + Map("f") + "\n");
}

TEST_F(ExtentMapLayout, TheWalkReachesALinkToAnExtentMapDirectory) {
    std::filesystem::rename(Map("f"), dir / "tables");
    std::filesystem::create_symlink(dir / "tables", Map("f"));
    Table(0, 1, {kBad});
    EXPECT_EQ(Walk(), "[ERROR]: extent file cksum failed " + Map("f") + "\n");
}

TEST_F(ExtentMapLayout, TheWalkReachesADirectoryWhoseTypeIsNotListed) {
    interposed::Directories directories;
    directories.List(dir / "map", {{"f", DT_UNKNOWN}});
    Table(0, 1, {kBad});
    EXPECT_EQ(Walk(), "[ERROR]: extent file cksum failed " + Map("f") + "\n");
}

TEST_F(ExtentMapLayout, AFifoForItsHeaderIsAHeader) {
    std::filesystem::remove(Head("f"));
    ASSERT_EQ(::mkfifo(Head("f").c_str(), 0600), 0);
    Table(0, 1, {kBad});
    EXPECT_EQ(Check(Map("f")), "[ERROR]: extent file cksum failed " + Map("f") + "\n");
}

TEST_F(ExtentMapLayout, WithoutItsDirectoryAFileIsSkipped) {
    std::filesystem::remove(Map("f"));
    ExpectSkipped();
}

TEST_F(ExtentMapLayout, WithAFileForItsDirectoryAFileIsSkipped) {
    std::filesystem::remove(Map("f"));
    WriteFile(Map("f"), "");
    ExpectSkipped();
}

TEST_F(ExtentMapLayout, WithABrokenLinkForItsDirectoryAFileIsSkipped) {
    std::filesystem::remove(Map("f"));
    std::filesystem::create_symlink(dir / "nowhere", Map("f"));
    ExpectSkipped();
}

TEST_F(ExtentMapLayout, WithoutItsHeaderAFileIsSkipped) {
    std::filesystem::remove(Head("f"));
    ExpectSkipped();
}

TEST_F(ExtentMapLayout, WithADirectoryForItsHeaderAFileIsSkipped) {
    std::filesystem::remove(Head("f"));
    MakeDirs(Head("f"));
    ExpectSkipped();
}

TEST_F(ExtentMapLayout, TheHeaderIsNotLookedAtWhenTheDirectoryIsMissing) {
    MakeHeadLoop();
    std::filesystem::remove(Map("f"));
    ExpectSkipped();
}

TEST_F(ExtentMapLayout, AHeaderWhoseStatusCannotBeReadEndsTheCheck) {
    MakeHeadLoop();
    EXPECT_EQ(CheckThrows<boost::filesystem::filesystem_error>(Map("f")), "");
    EXPECT_EQ(script.Calls({"BaseFileExtMapMgr::LoadTables"}), Lines{});
}

TEST_F(ExtentMapLayout, ADirectoryWhoseStatusCannotBeReadEndsTheCheck) {
    std::filesystem::remove(Map("f"));
    std::filesystem::create_symlink("f", Map("f"));
    EXPECT_EQ(CheckThrows<boost::filesystem::filesystem_error>(Map("f")), "");
    EXPECT_EQ(script.Calls({"BaseFileExtMapMgr::LoadTables"}), Lines{});
}

TEST_F(ExtentMapLayout, FailuresOfTheManagerPassAndReleaseIt) {
    Table(0, 1, {kGood});
    for (const std::string key :
         {"FileExtMapMgr::FileExtMapMgr", "BaseFileExtMapMgr::LoadTables",
          "BaseFileExtMapMgr::GetTableForRead", "CMappingTable::begin", "MappingCursor::Next"}) {
        script.ThrowSys(key, 5);
        EXPECT_EQ(CheckThrows<SysException>(Map("f")), "") << key;
        EXPECT_EQ(script.Alive("FileExtMapMgr"), 0) << key;
        script.On(key, [] {});
    }
}

TEST_F(ExtentMapLayout, ADamagedDirectoryIsTheWalksErrorLine) {
    std::filesystem::rename(Map("f"), dir / "tables");
    std::filesystem::create_symlink(dir / "tables", Map("f"));
    script.ThrowSys("BaseFileExtMapMgr::LoadTables", 74);
    EXPECT_EQ(Walk(), "[ERROR]: extent file process failed74\n");
}

}  // namespace

}  // namespace extnode
