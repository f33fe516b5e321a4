#include <gtest/gtest.h>

#include <boost/filesystem/exception.hpp>
#include <filesystem>
#include <iostream>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <type_traits>

#include "storage/exception.h"
#include "tests/interposed/clock.h"
#include "tests/interposed/directories.h"
#include "tests/unit/jorvck/file_check_manager_fixture.h"

namespace file_checker {

namespace {

using Corvane::Kst::Marlow::Jorv::Exception;
using Corvane::Kst::Marlow::Jorv::SysException;
using test_support::MakeDirs;
using test_support::WriteFile;

using ShareRun = RunTest;

TEST_F(ShareRun, AMissingShareGivesOneLineWithItsQuotedDirectoryAndNoPhase) {
    std::filesystem::remove_all(MetaDir());
    Run();
    EXPECT_EQ(captured.err, "The share ID 12 doesn't exist, meta_dir: \"" + MetaDir() + "\"\n");
    EXPECT_EQ(captured.out, "");
    EXPECT_EQ(script.Calls(),
              (Lines{"FileSystemDaemonConfig::GetInstance",
                     "FileSystemDaemonConfig::GetMetaDirPath", "JorvUtils::GetShareDir 12"}));
}

TEST_F(ShareRun, QuotesAndAmpersandsOfTheDirectoryAreEscapedAndThoseOfTheIdAreNot) {
    Run("a\"b&c");
    EXPECT_EQ(captured.err, "The share ID a\"b&c doesn't exist, meta_dir: \"" + dir.Path() +
                                "/meta/0/a&\"b&&c\"\n");
    script.metaDir = "/no \\such\"";
    Run("\"");
    EXPECT_EQ(captured.err, "The share ID \" doesn't exist, meta_dir: \"/no \\such&\"/0/&\"\"\n");
}

TEST_F(ShareRun, AMissingShareOfAnEmptyIdOrOneThatEndsInASlash) {
    Run("");
    EXPECT_EQ(captured.err,
              "The share ID  doesn't exist, meta_dir: \"" + dir.Path() + "/meta/0\"\n");
    Run("13/");
    EXPECT_EQ(captured.err,
              "The share ID 13/ doesn't exist, meta_dir: \"" + dir.Path() + "/meta/0/13/\"\n");
}

TEST_F(ShareRun, AMissingShareOf300Characters) {
    // One name cannot be that long; its status is an error then, and not that it is missing.
    MakeDirs(dir / "meta/0");
    ExpectRunThrows<boost::filesystem::filesystem_error>(std::string(300, 'i'));
    EXPECT_EQ(captured.out + captured.err, "");
    const std::string id = std::string(150, 'i') + "/" + std::string(149, 'j');
    Run(id);
    EXPECT_EQ(captured.err, "The share ID " + id + " doesn't exist, meta_dir: \"" + dir.Path() +
                                "/meta/0/" + id + "\"\n");
    MakeDirs(dir / ("meta/0/" + id));
    Run(id);
    EXPECT_EQ(captured.out, Phases(id));
}

TEST_F(ShareRun, AnEmptyIdIsTheShareDirectoryItself) {
    MakeDirs(dir / "meta/0");
    Run("");
    EXPECT_EQ(captured.out, Phases(""));
    EXPECT_EQ(captured.err, "Total number of file: 0\n");
}

TEST_F(ShareRun, AnIdThatEndsInASlashKeepsItInEveryPath) {
    script.shareDirs["12/"] = "2";
    AddVolumes(1);
    WriteFile(HeaderPath("/f"), "");
    Run("12/");
    EXPECT_EQ(captured.out, Phases("12/"));
    EXPECT_EQ(captured.err,
              "Total number of file: 1\n 1/1\n"
              "\n[ERROR]: header file load failed! " +
                  HeaderPath("/f") +
                  ": No such file or directory (errno 2)\n"
                  "\n[ERROR]: file meta load failed! /mnt/jorv/2/12//f\n");
}

TEST_F(ShareRun, QuotesInTheIdOfAShareThatIsThere) {
    const std::string id = "a\"b&c";
    MakeDirs(dir / ("meta/0/" + id));
    Run(id);
    EXPECT_EQ(captured.out, Phases(id));
}

TEST_F(ShareRun, TheRootOfTheMetadataMayEndInASlash) {
    script.metaDir += "/";
    AddVolumes(1);
    AddFile("/f");
    Run();
    EXPECT_EQ(script.Calls({"HeaderFile::Load"}), Lines{"HeaderFile::Load " + HeaderPath("/f")});
}

TEST_F(ShareRun, APathThatIsAFileExistsAndHasNoFiles) {
    std::filesystem::remove_all(MetaDir());
    WriteFile(MetaDir(), "");
    Run();
    EXPECT_EQ(captured.out, Phases());
    EXPECT_EQ(captured.err, "Total number of file: 0\n");
}

TEST_F(ShareRun, AStatusThatCannotBeReadLeavesByException) {
    std::filesystem::remove_all(MetaDir());
    std::filesystem::create_symlink("12", MetaDir());
    ExpectRunThrows<boost::filesystem::filesystem_error>();
    EXPECT_EQ(captured.out + captured.err, "");
}

TEST_F(ShareRun, EveryPhaseIsToldInOrder) {
    AddVolumes(1);
    Run();
    EXPECT_EQ(captured.out,
              "Checking files which are created before 0 hours in 12\n"
              "Loading volumes for 12\n"
              "Loading data containers for 12\n"
              "Loading headers for 12\n"
              "Checking files for 12\n"
              "Check files for 12 done!\n");
    EXPECT_EQ(captured.err, "Total number of file: 0\n");
    EXPECT_EQ(script.Calls(),
              (Lines{"FileSystemDaemonConfig::GetInstance",
                     "FileSystemDaemonConfig::GetMetaDirPath", "JorvUtils::GetShareDir 12",
                     "VolMgr::GetStorageFstabPath", "VolMgr::LoadGlobalFstab /fake/fstab"}));
}

TEST_F(ShareRun, APhaseIsToldBeforeItBegins) {
    AddVolumes(1);
    AddFile("/f");
    std::ostringstream out;
    std::vector<std::string> lastLines;
    const auto keepLastLine = [&] {
        const std::string text = out.str();
        lastLines.push_back(text.substr(text.rfind('\n', text.size() - 2) + 1));
    };
    script.On("VolMgr::GetStorageFstabPath", keepLastLine);
    script.On("HeaderFile::Load", keepLastLine);
    interposed::Directories directories;
    directories.OnOpen([&](const std::string& /*path*/) { keepLastLine(); });
    std::streambuf* const before = std::cout.rdbuf(out.rdbuf());
    Run();
    std::cout.rdbuf(before);
    EXPECT_EQ(lastLines, (Lines{"Loading volumes for 12\n", "Loading data containers for 12\n",
                                "Loading headers for 12\n", "Checking files for 12\n"}));
    EXPECT_EQ(out.str(), Phases());
}

TEST_F(ShareRun, WithoutAVolumeNothingIsCheckedAndTheRunIsDone) {
    AddFile("/f");
    Run();
    EXPECT_EQ(captured.out, Phases());
    EXPECT_EQ(captured.err, "Total number of file: 1\n");
    EXPECT_EQ(script.Calls({"HeaderFile::Load"}), Lines{});
}

TEST_F(ShareRun, WithAnUnreadableVolumeTableNothingIsCheckedAndTheRunIsDone) {
    AddVolumes(2);
    AddFile("/f");
    script.Result("VolMgr::LoadGlobalFstab", {2});
    Run();
    EXPECT_EQ(captured.out, Phases());
    EXPECT_EQ(captured.err, "Total number of file: 1\n");
}

TEST_F(ShareRun, FilesAreCheckedAgainstTheContainersOfAllVolumes) {
    AddVolumes(2);
    for (const char* const name : {"v1/64", "v2/sub/65", "v2/64"}) {
        WriteFile(dir / (std::string(name) + ".bin"), "");
        WriteFile(dir / (std::string(name) + ".bhd"), "");
    }
    AddFile("/f");
    script.tableDirectories[ExtentPath("/f")].tables = {
        {.offset = 0, .end = 1, .extents = {{.dcid = 64}, {.dcid = 65}, {.dcid = 66}}}};
    Run();
    EXPECT_EQ(captured.err,
              "Total number of file: 1\n 1/1\n"
              "\n[ERROR]: Cannot find dcid: 66 file: /mnt/jorv/2/12/f\n" +
                  Summary("/f", 7));
}

TEST_F(ShareRun, ContainersFoundBeforeAVolumeFailedAreKnown) {
    AddVolumes(2);
    for (const char* const name : {"v1/abc", "v2/64"}) {
        WriteFile(dir / (std::string(name) + ".bin"), "");
        WriteFile(dir / (std::string(name) + ".bhd"), "");
    }
    AddFile("/f");
    script.tableDirectories[ExtentPath("/f")].tables = {
        {.offset = 0, .end = 1, .extents = {{.dcid = 64}}}};
    Run();
    EXPECT_EQ(captured.err, "Failed to load data containers from " + (dir / "v1") +
                                "\nTotal number of file: 1\n 1/1\n");
    EXPECT_EQ(captured.out, Phases());
}

TEST_F(ShareRun, HoursAreSecondsTimes3600) {
    AddVolumes(1);
    AddFile("/f");
    script.ThrowSys("FileExtMapMgr::newFileExtMapMgr", 5);
    const std::string checked =
        "Total number of file: 1\n 1/1\n\n[ERROR]: Failed to check data for file: /f\n";
    const std::string skipped = "Total number of file: 1\n 1/1\n";
    const auto runAt = [&](long age, long hours) {
        const interposed::FixedTime time(1600000000 + age);
        Run("12", hours);
        EXPECT_EQ(captured.out, Phases("12", std::to_string(hours)));
        return captured.err;
    };
    EXPECT_EQ(runAt(0, 0), checked);
    EXPECT_EQ(runAt(-1000, 0), checked);
    EXPECT_EQ(runAt(3600, 1), checked);
    EXPECT_EQ(runAt(3599, 1), skipped);
    EXPECT_EQ(runAt(48L * 3600, 48), checked);
    EXPECT_EQ(runAt(48L * 3600 - 1, 48), skipped);
    constexpr long kMost = std::numeric_limits<std::int32_t>::max();
    EXPECT_EQ(runAt(kMost * 3600, kMost), checked);
    EXPECT_EQ(runAt(kMost * 3600 - 1, kMost), skipped);
}

TEST_F(ShareRun, AnExceptionOfAnyKindInAFileIsToldAndTheNextFileFollows) {
    AddVolumes(1);
    for (const char* const file : {"/a", "/b", "/c", "/d", "/e", "/f", "/g"}) {
        AddFile(file);
    }
    const auto key = [&](const char* file) {
        return "FileExtMapMgr::newFileExtMapMgr " + ExtentPath(file);
    };
    script.ThrowSys(key("/a"), 74);
    script.Throw(key("/b"), Exception("configuration"));
    script.Throw(key("/c"), std::runtime_error("other"));
    script.Throw(key("/d"), std::bad_alloc());
    script.Throw(key("/e"), 5);
    std::filesystem::remove_all(ExtentPath("/f"));
    std::filesystem::create_symlink("f", ExtentPath("/f"));
    script.tableDirectories[ExtentPath("/g")].fileSize = 1;
    Run();
    std::string expected = "Total number of file: 7\n";
    for (const char* const file : {"/a", "/b", "/c", "/d", "/e", "/f"}) {
        expected += std::string("\n[ERROR]: Failed to check data for file: ") + file + "\n";
    }
    expected +=
        " 7/7\n"
        "\n[ERROR]: File size in header and extent doesn't match, file: /mnt/jorv/2/12/g "
        "header size: 4096 extent size: 1\n" +
        Summary("/g", 6);
    EXPECT_EQ(captured.err, expected);
    EXPECT_EQ(captured.out, Phases());
}

TEST_F(ShareRun, ExceptionsOutsideAFileLeaveTheRunWhereTheyAre) {
    AddVolumes(1);
    AddFile("/f");
    for (const std::string key :
         {"FileSystemDaemonConfig::GetInstance", "FileSystemDaemonConfig::GetMetaDirPath",
          "JorvUtils::GetShareDir"}) {
        script.ThrowSys(key, 5);
        ExpectRunThrows<SysException>();
        EXPECT_EQ(captured.out + captured.err, "") << key;
        script.On(key, [] {});
    }
    for (const std::string key : {"VolMgr::GetStorageFstabPath", "VolMgr::LoadGlobalFstab"}) {
        script.Throw(key, std::runtime_error("other"));
        ExpectRunThrows<std::runtime_error>();
        EXPECT_EQ(captured.out,
                  "Checking files which are created before 0 hours in 12\n"
                  "Loading volumes for 12\n")
            << key;
        EXPECT_EQ(captured.err, "");
        script.On(key, [] {});
    }
}

TEST(FileCheckManagerClass, ItsDestructorIsVirtual) {
    EXPECT_TRUE(std::has_virtual_destructor_v<FileCheckManager>);
    EXPECT_FALSE(std::is_copy_constructible_v<FileCheckManager>);
}

}  // namespace

}  // namespace file_checker
