#include <sys/resource.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <climits>
#include <cstdlib>
#include <new>
#include <stdexcept>

#include "jorvck/extnode_check.h"
#include "tests/fake/fake_storage_test.h"
#include "tests/interposed/directories.h"
#include "tests/interposed/files.h"
#include "tests/interposed/memory.h"
#include "tests/support/captured_streams.h"
#include "tests/support/jorvck_main.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/jorvck/command_line.h"

namespace {

using Corvane::Kst::Marlow::JorvCk::kReadBufferSize;
using Strings = std::vector<std::string>;

constexpr const char* kUnhandled = "unhandled exception caught.\n";

/// One share of one sound file, in the layout of one extent file per user file.
class ARun : public storage_fake::FakeStorageTest {
  protected:
    ARun() {
        test_support::ResetEnvParam();
        test_support::WriteFile(share / "head/f", "");
        test_support::WriteFile(share / "map/f", "");
        test_support::WriteFile(share / "vcopy.dat", "");
        script.headers[share / "head/f"] = {.transId = 5};
        script.extentFiles[share / "map/f"] = {.transId = 5};
    }

    void Run(test_support::CommandLine line) {
        written = test_support::Capture([&] { status = JorvckMain(line.Count(), line.Words()); });
    }

    /// What the virtual-copy check writes for the sound share given as `path`.
    static std::string VcopyText(const std::string& path) {
        return "checking sharePath " + path + "\n[JORVCK_VCOPY] validating vcopy for " + path +
               "successfully! \n";
    }

    /// The calls that tell which check ran, in order.
    [[nodiscard]] Strings Milestones() const {
        return script.Calls({"HeaderFile::Load", "ExtentFile::Load", "KovfsInit", "KovfsUmount",
                             "FileSystemDaemonConfig::GetMetaDirPath", "JorvUtils::GetShareDir",
                             "VolMgr::GetStorageFstabPath"});
    }

    test_support::TempDir share;
    test_support::Captured written;
    int status = 1234;
};

TEST_F(ARun, WithoutOptionsPrintsTheUsageText) {
    Run({});
    EXPECT_EQ(status, -1);
    EXPECT_EQ(written.err, test_support::kUsageText);
    EXPECT_EQ(written.out, "");
    EXPECT_EQ(script.Calls(), Strings{});
}

TEST_F(ARun, WithHelpPrintsTheUsageTextAndChecksNothing) {
    Run({"--share_path", share.Path(), "--help"});
    EXPECT_EQ(status, -1);
    EXPECT_EQ(written.err, test_support::kUsageText);
    EXPECT_EQ(written.out, "");
    EXPECT_EQ(script.Calls(), Strings{});
}

TEST_F(ARun, WithABadWordPrintsTheUsageTextAndChecksNothing) {
    Run({"--share_id", "7", "--verify_data", "foo"});
    EXPECT_EQ(status, -1);
    EXPECT_EQ(written.err, test_support::kUsageText);
    EXPECT_EQ(script.Calls(), Strings{});
}

TEST_F(ARun, OnASharePathRunsTheThreeMetadataChecksInOrder) {
    Run({"--share_path", share.Path()});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(written.out, VcopyText(share.Path()));
    EXPECT_EQ(written.err, "Verify file " + share.Path() + "/map/f\n");
    EXPECT_EQ(Milestones(), (Strings{"HeaderFile::Load " + share.Path() + "/head/f",
                                     "ExtentFile::Load " + share.Path() + "/map/f",
                                     "ExtentFile::Load " + share.Path() + "/map/f",
                                     "KovfsInit 0 null 7", "KovfsUmount KOVFS"}));
}

TEST_F(ARun, OnASharePathThatEndsInASlashDoublesNone) {
    const std::string path = share.Path() + "/";
    Run({"--share_path", path});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(written.out, VcopyText(path));
    EXPECT_EQ(written.err, "Verify file " + share.Path() + "/map/f\n");
    EXPECT_EQ(Milestones(), (Strings{"HeaderFile::Load " + share.Path() + "/head/f",
                                     "ExtentFile::Load " + share.Path() + "/map/f",
                                     "ExtentFile::Load " + share.Path() + "/map/f",
                                     "KovfsInit 0 null 7", "KovfsUmount KOVFS"}));
}

TEST_F(ARun, ReadsTheStorageUnitsOfTheShareWhetherOrNotItsPathEndsInASlash) {
    test_support::WriteFile(share / "stu/f", "A");
    script.extentFiles[share / "map/f"].extents = {{.end = 1, .dcid = 1, .cksum = 'B'}};
    const std::string map = share / "map/f";
    std::string expected = "Verify file " + map;
    expected += "\n[ERROR]: extent file cksum failed " + map + "\n";
    for (const char* const slash : {"", "/"}) {
        SCOPED_TRACE(slash);
        const interposed::Files files(share.Path(), kReadBufferSize);
        Run({"--share_path", share.Path() + slash});
        EXPECT_EQ(written.err, expected);
        EXPECT_EQ(std::ranges::count(files.Calls(), "fopen64 /stu/f rb"), 1);
    }
}

TEST_F(ARun, GivesTheExtentCheckTheShareRootThatHeadPathsAreFormedFrom) {
    // Only with the root "<share>/" does the head path of map/d name the directory head/d, so that
    // the link map/d is walked rather than taken for an extent file.
    for (const char* const slash : {"", "/"}) {
        test_support::TempDir other;
        test_support::MakeDirs(other / "head/d");
        test_support::MakeDirs(other / "elsewhere");
        test_support::MakeDirs(other / "map");
        boost::filesystem::create_directory_symlink(other / "elsewhere", other / "map/d");
        test_support::WriteFile(other / "vcopy.dat", "");
        Run({"--share_path", other.Path() + slash});
        EXPECT_EQ(status, 0);
        EXPECT_EQ(written.err, "") << "with \"" << slash << "\" after the path";
    }
}

TEST_F(ARun, WithVerifyDataButNoShareIdRunsTheMetadataChecks) {
    Run({"--share_path", share.Path(), "--verify_data"});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(written.out, VcopyText(share.Path()));
    EXPECT_EQ(written.err, "Verify file " + share.Path() + "/map/f\n");
}

TEST_F(ARun, WithAnEmptyShareIdAndVerifyDataRunsTheMetadataChecks) {
    Run({"--share_id", "", "--verify_data", "--share_path", share.Path()});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(written.out, VcopyText(share.Path()));
}

TEST_F(ARun, WithAShareIdButNoVerifyDataRunsTheMetadataChecksOnThePath) {
    Run({"--share_id", "5", "--share_path", share.Path()});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(written.out, VcopyText(share.Path()));
    EXPECT_EQ(written.err, "Verify file " + share.Path() + "/map/f\n");
    EXPECT_EQ(script.Calls({"JorvUtils::GetShareDir"}), Strings{});
}

TEST_F(ARun, WithoutASharePathChecksTheEmptyPath) {
    ASSERT_FALSE(boost::filesystem::exists("/map")) << "this machine has a share at its root";
    ASSERT_FALSE(boost::filesystem::exists("/vcopy.dat")) << "this machine has a share at its root";
    for (const test_support::CommandLine& line :
         {test_support::CommandLine{"--share_id", "5"}, test_support::CommandLine{"--t", "24"}}) {
        test_support::ResetEnvParam();
        Run(line);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(written.out,
                  "checking sharePath \n"
                  "[JORVCK_VCOPY] Parsing Vcopy.dat failed. WARNING OUT!\n");
        EXPECT_EQ(written.err,
                  "[ERROR]: extent file cksum failed \n"
                  "[JORVCK_VCOPY] Vcopy file not found!\n");
        EXPECT_EQ(script.Calls(), Strings{});
    }
}

TEST_F(ARun, WithoutASharePathTakesTheTreesOfTheRoot) {
    interposed::Directories directories;
    directories.List("/map", {{"x"}});
    script.extentFiles["/map/x"].extents = {{.end = 1, .dcid = 1}};
    const interposed::Files files("/stu", kReadBufferSize);
    Run({"--share_id", "5"});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(written.err, "Verify file /map/x\n[JORVCK_VCOPY] Vcopy file not found!\n");
    EXPECT_EQ(files.Calls(), (Strings{"stat64 /x", "fopen64 /x rb"}));
}

TEST_F(ARun, WithAShareIdAndVerifyDataChecksFileDataAndNothingElse) {
    script.metaDir = share / "meta";
    script.shareDirs["5"] = "2";
    Run({"--share_id", "5", "--verify_data", "--share_path", share.Path()});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(written.out, "");
    EXPECT_EQ(written.err,
              "The share ID 5 doesn't exist, meta_dir: \"" + share.Path() + "/meta/2/5\"\n");
    EXPECT_EQ(Milestones(),
              (Strings{"FileSystemDaemonConfig::GetMetaDirPath", "JorvUtils::GetShareDir 5"}));
}

TEST_F(ARun, HandsTheHoursToTheFileDataCheck) {
    script.metaDir = share / "meta";
    test_support::MakeDirs(share / "meta/0/5/head");
    for (const auto& [word, hours] :
         {std::pair<const char*, const char*>{"48", "48"}, {"2147483647", "2147483647"}}) {
        Run({"--share_id", "5", "--verify_data", "--t", word});
        EXPECT_EQ(status, 0);
        EXPECT_EQ(written.out, std::string("Checking files which are created before ") + hours +
                                   " hours in 5\n"
                                   "Loading volumes for 5\n"
                                   "Loading data containers for 5\n"
                                   "Loading headers for 5\n"
                                   "Checking files for 5\n"
                                   "Check files for 5 done!\n");
        EXPECT_EQ(written.err, "Total number of file: 0\n");
    }
}

TEST_F(ARun, WithoutHoursHandsZeroToTheFileDataCheck) {
    script.metaDir = share / "meta";
    test_support::MakeDirs(share / "meta/0/5");
    Run({"--share_id", "5", "--verify_data"});
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(written.out.starts_with("Checking files which are created before 0 hours in 5\n"))
        << written.out;
}

TEST_F(ARun, WithFindingsInEveryCheckGoesOnAndEndsWithStatusZero) {
    script.ThrowSys("HeaderFile::Load", 74);
    script.ThrowSys("ExtentFile::Load", 74);
    script.Result("KovfsInit", {-1});
    Run({"--share_path", share.Path()});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(written.out, "checking sharePath " + share.Path() + "\n");
    EXPECT_EQ(written.err,
              "[ERROR]: header file load failed!\n"
              "[ERROR]: corrupt header file " +
                  share.Path() +
                  "/head/f found\n"
                  "[ERROR]: extent file process failed74\n"
                  "[JORVCK_VCOPY] failed to mount kovfs.\n");
}

TEST_F(ARun, OnAMissingShareEndsWithTheUnhandledException) {
    Run({"--share_path", share / "missing"});
    EXPECT_EQ(status, -1);
    EXPECT_EQ(written.out, kUnhandled);
    EXPECT_EQ(written.err, "");
    EXPECT_EQ(script.Calls(), Strings{});
}

TEST_F(ARun, EndedByTheShareMetadataCheckSkipsTheOtherTwo) {
    script.Throw("HeaderFile::Load", std::runtime_error("detail"));
    Run({"--share_path", share.Path()});
    EXPECT_EQ(status, -1);
    EXPECT_EQ(written.out, kUnhandled);
    EXPECT_EQ(written.err, "");
    EXPECT_EQ(Milestones(), (Strings{"HeaderFile::Load " + share.Path() + "/head/f"}));
}

TEST_F(ARun, ReportsTheHeadersBeforeItTakesTheMemoryOfTheExtentChecksumCheck) {
    script.ThrowSys("HeaderFile::Load", 74);
    interposed::FailAllocationsOfSize(kReadBufferSize, 1);
    Run({"--share_path", share.Path()});
    EXPECT_EQ(interposed::FailuresLeft(), 0U);
    interposed::FailAllocationsOfSize(0, 0);
    EXPECT_EQ(status, -1);
    EXPECT_EQ(written.out, kUnhandled);
    EXPECT_EQ(written.err, "[ERROR]: header file load failed!\n[ERROR]: corrupt header file " +
                               share.Path() + "/head/f found\n");
}

TEST_F(ARun, OnAFileSystemWithoutEntryTypesGoesIntoTheDotUntilThePathIsTooLong) {
    interposed::Directories directories;
    std::string path = share / "map";
    while (path.size() < PATH_MAX) {
        directories.List(path, {{".", DT_UNKNOWN}});
        path += "/.";
    }
    Run({"--share_path", share.Path()});
    EXPECT_EQ(status, -1);
    EXPECT_EQ(written.out, kUnhandled);
    EXPECT_EQ(written.err, "");
    // The head path is one character longer and is asked for first.
    EXPECT_GE(directories.Opened().back().size(), std::size_t{PATH_MAX - 4});
    EXPECT_EQ(directories.Open(), 0U);
}

TEST_F(ARun, EndedByTheExtentChecksumCheckSkipsTheVirtualCopyCheck) {
    script.On("ExtentFile::Load", [calls = 0]() mutable {
        if (++calls == 2) {
            throw std::runtime_error("the second load is the checksum check's");
        }
    });
    Run({"--share_path", share.Path()});
    EXPECT_EQ(status, -1);
    EXPECT_EQ(written.out, kUnhandled);
    EXPECT_EQ(written.err, "");
    EXPECT_EQ(script.Calls({"KovfsInit"}), Strings{});
}

TEST_F(ARun, EndedByTheVirtualCopyCheckKeepsWhatWasWritten) {
    script.Throw("KovfsInit", std::bad_alloc());
    Run({"--share_path", share.Path()});
    EXPECT_EQ(status, -1);
    EXPECT_EQ(written.out, "checking sharePath " + share.Path() + "\n" + kUnhandled);
    EXPECT_EQ(written.err, "Verify file " + share.Path() + "/map/f\n");
}

TEST_F(ARun, EndedByTheFileDataCheckSaysNoMore) {
    script.ThrowSys("JorvUtils::GetShareDir", 5, "detail");
    Run({"--share_id", "5", "--verify_data"});
    EXPECT_EQ(status, -1);
    EXPECT_EQ(written.out, kUnhandled);
    EXPECT_EQ(written.err, "");
}

/// Runs in a process of its own, since a hard limit cannot be taken back.
class ARunDeathTest : public ARun {
  protected:
    /// Expects that a run changes these limits of open files to `expected` and `hard`.
    static void ExpectLimit(rlim_t soft, rlim_t hard, rlim_t expected) {
        const auto run = [&] {
            rlimit limit = {soft, hard};
            bool isSet = ::setrlimit(RLIMIT_NOFILE, &limit) == 0;
            test_support::CommandLine line{};
            JorvckMain(line.Count(), line.Words());
            isSet = isSet && ::getrlimit(RLIMIT_NOFILE, &limit) == 0;
            std::_Exit(isSet && limit.rlim_cur == expected && limit.rlim_max == hard ? 0 : 1);
        };
        EXPECT_EXIT(run(), testing::ExitedWithCode(0), "^USAGE") << soft << " " << hard;
    }
};

TEST_F(ARunDeathTest, RaisesTheLimitOfOpenFilesFirstOfAllTo4096OrTheHardOne) {
    rlimit limit = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    ExpectLimit(100, 200, 200);
    ExpectLimit(200, 200, 200);
    // As far as this process may go itself.
    const rlim_t most = std::min<rlim_t>(4096, limit.rlim_max);
    const rlim_t above = std::min<rlim_t>(5000, limit.rlim_max);
    ExpectLimit(100, most, most);
    ExpectLimit(100, above, most);
    ExpectLimit(above, above, above);
}

TEST_F(ARun, CatchesAnExceptionOfAnyType) {
    script.Throw("HeaderFile::Load", 42);
    Run({"--share_path", share.Path()});
    EXPECT_EQ(status, -1);
    EXPECT_EQ(written.out, kUnhandled);
    EXPECT_EQ(written.err, "");
}

}  // namespace
