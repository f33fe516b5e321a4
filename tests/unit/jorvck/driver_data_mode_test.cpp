#include <gtest/gtest.h>

#include <stdexcept>

#include "storage/exception.h"
#include "tests/interposed/clock.h"
#include "tests/interposed/threads.h"
#include "tests/support/jorvck_main.h"
#include "tests/unit/jorvck/command_line.h"
#include "tests/unit/jorvck/file_check_manager_fixture.h"

namespace file_checker {

namespace {

using test_support::Capture;
using test_support::CommandLine;

constexpr const char* kUnhandled = "unhandled exception caught.\n";

/// The program in file data check mode.
class DataMode : public RunTest {
  protected:
    void SetUp() override { test_support::ResetEnvParam(); }
    void TearDown() override {
        test_support::ResetEnvParam();
        RunTest::TearDown();
    }

    int Program(std::initializer_list<std::string> words) {
        CommandLine line(words);
        int status = 77;
        captured = Capture([&] { status = JorvckMain(line.Count(), line.Words()); });
        return status;
    }
};

TEST_F(DataMode, AShareIsCheckedAndNothingElse) {
    AddVolumes(1);
    AddFile("/f");
    script.Forbid("JorvConfig::GetInstance");
    script.Forbid("KovfsInit");
    EXPECT_EQ(Program({"--share_id", "12", "--verify_data"}), 0);
    EXPECT_EQ(captured.out, Phases());
    EXPECT_EQ(captured.err, "Total number of file: 1\n 1/1\n");
}

TEST_F(DataMode, ASharePathBesideItIsIgnored) {
    EXPECT_EQ(Program({"--share_id", "12", "--verify_data", "--share_path", "/no such share"}), 0);
    EXPECT_EQ(captured.out, Phases());
    EXPECT_EQ(captured.err, "Total number of file: 0\n");
}

TEST_F(DataMode, HoursReachTheRun) {
    AddVolumes(1);
    AddFile("/f");
    script.ThrowSys("FileExtMapMgr::newFileExtMapMgr", 5);
    const interposed::FixedTime time(1600000000 + 48 * 3600 - 1);
    EXPECT_EQ(Program({"--share_id", "12", "--verify_data", "--t", "48"}), 0);
    EXPECT_EQ(captured.out, Phases("12", "48"));
    EXPECT_EQ(captured.err, "Total number of file: 1\n 1/1\n");
    EXPECT_EQ(Program({"--share_id", "12", "--verify_data", "--t", "47"}), 0);
    EXPECT_EQ(captured.err,
              "Total number of file: 1\n 1/1\n\n[ERROR]: Failed to check data for file: /f\n");
}

TEST_F(DataMode, FindingsDoNotChangeTheStatus) {
    AddVolumes(1);
    AddFile("/f");
    script.ThrowSys("HeaderFile::Load", 74, "damaged");
    EXPECT_EQ(Program({"--verify_data", "--share_id", "12"}), 0);
    EXPECT_EQ(captured.err,
              "Total number of file: 1\n 1/1\n\n[ERROR]: header file load failed! damaged\n"
              "\n[ERROR]: file meta load failed! /mnt/jorv/2/12/f\n");
}

TEST_F(DataMode, AMissingShareIsStatus0) {
    EXPECT_EQ(Program({"--share_id", "no&where", "--verify_data"}), 0);
    EXPECT_EQ(captured.out, "");
    EXPECT_EQ(captured.err, "The share ID no&where doesn't exist, meta_dir: \"" + dir.Path() +
                                "/meta/0/no&&where\"\n");
}

TEST_F(DataMode, AnExceptionEndsTheRunWithOneLineOnStandardOutput) {
    script.Throw("VolMgr::GetStorageFstabPath", std::runtime_error("not shown"));
    EXPECT_EQ(Program({"--share_id", "12", "--verify_data"}), -1);
    EXPECT_EQ(captured.out, std::string("Checking files which are created before 0 hours in 12\n"
                                        "Loading volumes for 12\n") +
                                kUnhandled);
    EXPECT_EQ(captured.err, "");
}

TEST_F(DataMode, AConfigurationThatCannotBeUsedEndsTheRun) {
    using Corvane::Kst::Marlow::Jorv::Exception;
    script.Throw("FileSystemDaemonConfig::GetInstance", Exception("unusable"));
    EXPECT_EQ(Program({"--share_id", "12", "--verify_data"}), -1);
    EXPECT_EQ(captured.out, kUnhandled);
    EXPECT_EQ(captured.err, "");
}

TEST_F(DataMode, AnIdTooLongForADirectoryEndsTheRun) {
    test_support::MakeDirs(dir / "meta/0");
    EXPECT_EQ(Program({"--share_id", std::string(300, 'i'), "--verify_data"}), -1);
    EXPECT_EQ(captured.out, kUnhandled);
}

TEST_F(DataMode, ALoaderThatCannotBeStartedEndsTheRunBehindTheOthers) {
    AddVolumes(2);
    const interposed::Threads threads(2);
    EXPECT_EQ(Program({"--share_id", "12", "--verify_data"}), -1);
    EXPECT_EQ(threads.Calls(), (Lines{"start 1", "start 2 failed", "join 1"}));
    EXPECT_EQ(captured.out,
              std::string("Checking files which are created before 0 hours in 12\n"
                          "Loading volumes for 12\nLoading data containers for 12\n") +
                  kUnhandled);
}

TEST_F(DataMode, AWorkerThatCannotBeStartedEndsTheRunBehindTheOthers) {
    AddVolumes(2);
    AddFile("/f");
    const interposed::Threads threads(4);
    EXPECT_EQ(Program({"--share_id", "12", "--verify_data"}), -1);
    EXPECT_EQ(threads.Calls().back(), "join 3");
    EXPECT_EQ(captured.err, "Total number of file: 1\n 1/1\n");
    EXPECT_TRUE(captured.out.ends_with(std::string("Checking files for 12\n") + kUnhandled));
}

}  // namespace

}  // namespace file_checker
