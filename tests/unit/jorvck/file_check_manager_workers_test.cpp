#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <filesystem>
#include <iostream>
#include <set>
#include <stdexcept>
#include <streambuf>
#include <system_error>
#include <thread>

#include "tests/fake/gate.h"
#include "tests/interposed/clock.h"
#include "tests/interposed/directories.h"
#include "tests/interposed/memory.h"
#include "tests/interposed/threads.h"
#include "tests/unit/jorvck/file_check_manager_fixture.h"

namespace file_checker {

namespace {

using storage_fake::Gate;
using test_support::Capture;
using test_support::WriteFile;

/// Files that are skipped for their age, so that a run prints its progress and nothing else.
class Progress : public RunTest {
  protected:
    void AddSkippedFiles(int count) {
        for (int file = 0; file < count; ++file) {
            const std::string header = HeaderPath("/" + std::to_string(file));
            WriteFile(header, "");
            script.headers[header].mtime = 1600000000;
        }
    }

    std::string RunSkipping() {
        const interposed::FixedTime time(1600000000);
        Run("12", 1);
        EXPECT_EQ(captured.out, Phases("12", "1"));
        return captured.err;
    }
};

TEST_F(Progress, TheLastFileClosesTheLine) {
    AddVolumes(1);
    AddSkippedFiles(1);
    EXPECT_EQ(RunSkipping(), "Total number of file: 1\n 1/1\n");
    AddSkippedFiles(3);
    EXPECT_EQ(RunSkipping(), "Total number of file: 3\n 3/3\n");
}

TEST_F(Progress, Every10000thFileIsToldOnTheSameLine) {
    AddVolumes(1);
    AddSkippedFiles(25000);
    EXPECT_EQ(RunSkipping(), "Total number of file: 25000\n 10000/25000 20000/25000 25000/25000\n");
}

TEST_F(Progress, AMultipleOf10000LeavesItsLineOpen) {
    AddVolumes(2);
    AddSkippedFiles(9999);
    EXPECT_EQ(RunSkipping(), "Total number of file: 9999\n 9999/9999\n");
    AddSkippedFiles(10000);
    EXPECT_EQ(RunSkipping(), "Total number of file: 10000\n 10000/10000");
    AddSkippedFiles(10001);
    EXPECT_EQ(RunSkipping(), "Total number of file: 10001\n 10000/10001 10001/10001\n");
}

/// A header directory whose walk fails after `files`, so that the total stays 0.
class FailedWalk : public Progress {
  protected:
    void WalkFailsBehind(int files) {
        AddSkippedFiles(files);
        std::vector<interposed::Directories::Entry> entries;
        entries.reserve(static_cast<std::size_t>(files) + 1);
        for (int file = 0; file < files; ++file) {
            entries.push_back({std::to_string(file)});
        }
        std::filesystem::create_symlink("loop", HeaderPath("/loop"));
        entries.push_back({"loop", DT_LNK});
        directories.List(MetaDir() + "/head", entries);
    }

    [[nodiscard]] std::string HeadersFailed() const {
        return "Failed to load headers from " + MetaDir() + "/head\n";
    }

    interposed::Directories directories;
};

TEST_F(FailedWalk, EveryFileFoundIsCheckedAndToldAs0Of0) {
    AddVolumes(1);
    WalkFailsBehind(3);
    EXPECT_EQ(RunSkipping(), HeadersFailed() + " 0/0\n 0/0\n 0/0\n");
    EXPECT_EQ(script.Calls({"HeaderFile::Load"}).size(), 3U);
}

TEST_F(FailedWalk, AMultipleOf10000IsToldAsSuch) {
    AddVolumes(1);
    WalkFailsBehind(10001);
    std::string expected = HeadersFailed();
    for (int file = 1; file < 10000; ++file) {
        expected += " 0/0\n";
    }
    EXPECT_EQ(RunSkipping(), expected + " 10000/0 0/0\n");
}

using Workers = RunTest;

TEST_F(Workers, FilesAreTakenInTheOrderOfTheirBytes) {
    AddVolumes(1);
    const Lines files = {"/A", "/a!", "/a-b", "/a.b", "/a/b", "/a/b.c", "/a0", "/b", "/\xC3\xA4"};
    for (const std::string& file : files) {
        AddFile(file);
    }
    Run();
    Lines loads;
    for (const std::string& file : files) {
        loads.push_back("HeaderFile::Load " + HeaderPath(file));
    }
    EXPECT_EQ(script.Calls({"HeaderFile::Load"}), loads);
    EXPECT_EQ(captured.err, "Total number of file: 9\n 9/9\n");
}

TEST_F(Workers, TwoAreInsideTheirChecksAtTheSameTime) {
    AddVolumes(2);
    AddFile("/a");
    AddFile("/b");
    Gate gate;
    script.On("HeaderFile::Load", [&] { gate.Pass(); });
    std::thread run([&] { Run(); });
    const bool both = gate.WaitUntilReached(2);
    gate.Open();
    run.join();
    EXPECT_TRUE(both) << "one check kept the other from starting";
    const auto threads = script.Threads("HeaderFile::Load");
    ASSERT_EQ(threads.size(), 2U);
    EXPECT_NE(threads[0], threads[1]);
    EXPECT_EQ(captured.err, "Total number of file: 2\n 2/2\n");
}

TEST_F(Workers, WhileOneIsHeldUpTheOtherTakesTheRest) {
    AddVolumes(2);
    for (const char* const file : {"/a", "/b", "/c", "/d"}) {
        AddFile(file);
    }
    Gate gate;
    script.On("HeaderFile::Load " + HeaderPath("/a"), [&] { gate.Pass(); });
    script.On("HeaderFile::Load " + HeaderPath("/d"), [&] { gate.Open(); });
    Run();
    EXPECT_EQ(script.Calls({"HeaderFile::Load"}).size(), 4U);
    EXPECT_EQ(captured.err, "Total number of file: 4\n 4/4\n");
}

TEST_F(Workers, ThereIsOneWorkerPerVolumeAndNoneIsTheCaller) {
    AddVolumes(3);
    for (const char* const file : {"/a", "/b", "/c", "/d"}) {
        AddFile(file);
    }
    Gate gate;
    script.On("HeaderFile::Load", [&] { gate.Pass(); });
    std::thread run([&] { Run(); });
    const bool three = gate.WaitUntilReached(3);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const std::size_t inside = script.Calls({"HeaderFile::Load"}).size();
    const std::thread::id caller = run.get_id();
    gate.Open();
    run.join();
    EXPECT_TRUE(three);
    EXPECT_EQ(inside, 3U) << "a fourth file was taken by somebody";
    const auto threads = script.Threads("HeaderFile::Load");
    EXPECT_EQ(std::count(threads.begin(), threads.end(), caller), 0);
}

TEST_F(Workers, ManyFilesAreEachCheckedOnce) {
    AddVolumes(4);
    WriteFile(dir / "v1/64.bin", "");
    WriteFile(dir / "v1/64.bhd", "");
    Lines expected;
    for (int file = 100; file < 300; ++file) {
        const std::string path = "/" + std::to_string(file);
        AddFile(path);
        script.tableDirectories[ExtentPath(path)].tables = {
            {.offset = 0, .end = 1, .extents = {{.dcid = 64}}}};
        expected.push_back("HeaderFile::Load " + HeaderPath(path));
    }
    Run();
    Lines loads = script.Calls({"HeaderFile::Load"});
    std::sort(loads.begin(), loads.end());
    EXPECT_EQ(loads, expected);
    EXPECT_EQ(captured.err, "Total number of file: 200\n 200/200\n");
}

TEST_F(Workers, AReportOfAFileStandsOnLinesOfItsOwnBehindProgress) {
    AddVolumes(1);
    AddFile("/f");
    std::filesystem::remove(ExtentPath("/f") + "/data.mdb");
    Run();
    EXPECT_EQ(captured.err,
              "Total number of file: 1\n 1/1\n"
              "\n[ERROR]: invalid lmdb data path: '/mnt/jorv/2/12/f' -22\n" +
                  Summary("/f", 4));
}

TEST_F(Workers, AFileThatIsGoneWhenItsTurnComesIsToldAndTheNextFollows) {
    AddVolumes(1);
    AddFile("/a");
    AddFile("/b");
    AddFile("/c");
    script.On("HeaderFile::Load " + HeaderPath("/a"),
              [&] { std::filesystem::remove(HeaderPath("/b")); });
    Run();
    EXPECT_EQ(captured.err, "Total number of file: 3\n\n[ERROR]: header " + HeaderPath("/b") +
                                " doesn't exist!\n"
                                "\n[ERROR]: file meta load failed! /mnt/jorv/2/12/b\n 3/3\n");
}

using RunThreads = RunTest;

TEST_F(RunThreads, LoadersAreAllJoinedInOrderBeforeTheFirstWorkerStarts) {
    AddVolumes(3);
    AddFile("/f");
    const interposed::Threads threads;
    Run();
    EXPECT_EQ(threads.Calls(),
              (Lines{"start 1", "start 2", "start 3", "join 1", "join 2", "join 3", "start 4",
                     "start 5", "start 6", "join 4", "join 5", "join 6"}));
}

TEST_F(RunThreads, WithoutVolumesNoThreadIsStarted) {
    AddFile("/f");
    const interposed::Threads threads;
    Run();
    EXPECT_EQ(threads.Calls(), Lines{});
}

TEST_F(RunThreads, EveryVolumeIsWalkedAtTheSameTimeAsTheOthers) {
    AddVolumes(2);
    Gate gate;
    interposed::Directories directories;
    directories.OnOpen([&](const std::string& path) {
        if (path == dir / "v1" || path == dir / "v2") {
            gate.Pass();
        }
    });
    std::thread run([&] { Run(); });
    const bool both = gate.WaitUntilReached(2);
    gate.Open();
    run.join();
    EXPECT_TRUE(both);
    EXPECT_EQ(captured.out, Phases());
}

TEST_F(RunThreads, ALoaderThatCannotBeStartedLeavesBehindThoseThatWere) {
    AddVolumes(3);
    AddFile("/f");
    WriteFile(dir / "v1/18.bin", "");
    const interposed::Threads threads(2);
    ExpectRunThrows<std::system_error>();
    EXPECT_EQ(threads.Calls(), (Lines{"start 1", "start 2 failed", "join 1"}));
    EXPECT_EQ(captured.err, "[ERROR] bhd 18 corrupted\n") << "the first had its volume walked";
    EXPECT_EQ(captured.out,
              "Checking files which are created before 0 hours in 12\nLoading volumes for 12\n"
              "Loading data containers for 12\n");
}

TEST_F(RunThreads, AWorkerThatCannotBeStartedLeavesBehindThoseThatWere) {
    AddVolumes(2);
    AddFile("/a");
    AddFile("/b");
    const interposed::Threads threads(4);
    ExpectRunThrows<std::system_error>();
    EXPECT_EQ(threads.Calls(), (Lines{"start 1", "start 2", "join 1", "join 2", "start 3",
                                      "start 4 failed", "join 3"}));
    EXPECT_EQ(captured.err, "Total number of file: 2\n 2/2\n") << "the first checked all files";
    EXPECT_EQ(captured.out.find("done!"), std::string::npos);
}

TEST_F(RunThreads, AFirstThreadThatCannotBeStartedLeavesAtOnce) {
    AddVolumes(1);
    const interposed::Threads threads(1);
    ExpectRunThrows<std::system_error>();
    EXPECT_EQ(threads.Calls(), Lines{"start 1 failed"});
}

/// Failures that are none of a file's check.
class WorkerFailures : public RunTest {
  protected:
    void TearDown() override {
        EXPECT_EQ(interposed::FailuresLeft(), 0U) << "fewer allocations were made than to fail";
        interposed::FailAllocationsOfSize(0, 0);
        RunTest::TearDown();
    }
};

TEST_F(WorkerFailures, ACheckerThatCannotBeMadeIsToldAndTheNextFileFollows) {
    const std::string id(250, 'i');
    AddVolumes(1);
    for (const char* const file : {"/a", "/b"}) {
        WriteFile(dir / ("meta/0/" + id + "/head" + file), "");
    }
    // A copy of the identifier is what a checker begins with.
    script.On("VolMgr::GetStorageFstabPath", [] { interposed::FailAllocationsOfSize(251, 1); });
    Run(id);
    const std::string header = dir / ("meta/0/" + id + "/head/b");
    EXPECT_EQ(captured.err,
              "Total number of file: 2\n\nCheck file got error, path /a\n 2/2\n"
              "\n[ERROR]: header file load failed! " +
                  header +
                  ": No such file or directory (errno 2)\n"
                  "\n[ERROR]: file meta load failed! /mnt/jorv/0/" +
                  id + "/b\n");
    EXPECT_EQ(captured.out, Phases(id));
}

/// A stream buffer whose first flush fails; it is tied to standard error only until then.
class FailingOnce : public std::streambuf {
  protected:
    int sync() override {
        std::cerr.tie(nullptr);
        throw std::runtime_error("cannot be written");
    }
};

TEST_F(WorkerFailures, ProgressThatCannotBeWrittenIsToldAndTheNextFileFollows) {
    // The walk fails after two files, so that each prints progress.
    WriteFile(dir / "head/a", "");
    WriteFile(dir / "head/b", "");
    std::filesystem::create_symlink("loop", dir / "head/loop");
    interposed::Directories directories;
    directories.List(dir / "head", {{"a"}, {"b"}, {"loop", DT_LNK}});
    FileCheckManager manager;
    Capture([&] { manager.LoadHeaders(dir / "head"); });

    FailingOnce buffer;
    std::ostream failing(&buffer);
    failing.exceptions(std::ios::badbit);
    std::ostream* const tied = std::cerr.tie(&failing);
    captured = Capture([&] { manager.CheckTask(); });
    std::cerr.tie(tied);
    EXPECT_EQ(captured.err,
              "\nCheck file got error, path /a\n 0/0\n"
              "\n[ERROR]: header head/b doesn't exist!\n"
              "\n[ERROR]: file meta load failed! /mnt/jorv/0/b\n");
}

/// Streams whose flush throws a number. Each is tied to standard error in turn, so that as many
/// writes to it throw.
class ThrowingFlushes {
  public:
    explicit ThrowingFlushes(std::size_t count) : streams_(count), before_(std::cerr.tie()) {
        for (std::size_t i = 0; i < count; ++i) {
            streams_[i].behind = i + 1 < count ? &streams_[i + 1].stream : nullptr;
        }
    }
    ~ThrowingFlushes() { std::cerr.tie(before_); }
    ThrowingFlushes(const ThrowingFlushes&) = delete;
    ThrowingFlushes& operator=(const ThrowingFlushes&) = delete;

    void Begin() { std::cerr.tie(&streams_.front().stream); }

  private:
    struct Throwing : std::streambuf {
        Throwing() { stream.exceptions(std::ios::badbit); }
        int sync() override {
            std::cerr.tie(behind);
            throw 5;
        }
        std::ostream* behind = nullptr;
        std::ostream stream{this};
    };
    std::deque<Throwing> streams_;
    std::ostream* before_;
};

/// What is thrown need not be an exception object: a number passes through every handler.
class ThrownNumbers : public WorkerFailures {
  protected:
    /// Checks "/a" and "/b". The check of "/a" throws, and so do the next writes.
    void RunWithFailingWrites(std::size_t count) {
        AddVolumes(1);
        AddFile("/a");
        AddFile("/b");
        ThrowingFlushes flushes(count);
        script.On("FileExtMapMgr::newFileExtMapMgr " + ExtentPath("/a"), [&] {
            if (count > 0) {
                flushes.Begin();
            }
            throw 5;
        });
        Run();
        EXPECT_EQ(captured.out, Phases());
    }
};

TEST_F(ThrownNumbers, OutOfACheckIsToldAndTheNextFileFollows) {
    RunWithFailingWrites(0);
    EXPECT_EQ(captured.err,
              "Total number of file: 2\n\n[ERROR]: Failed to check data for file: /a\n 2/2\n");
}

TEST_F(ThrownNumbers, OutOfTheMessageAboutACheckIsToldAndTheNextFileFollows) {
    RunWithFailingWrites(1);
    EXPECT_EQ(captured.err, "Total number of file: 2\n\nCheck file got error, path /a\n 2/2\n");
}

TEST_F(ThrownNumbers, OutOfBothMessagesEndsTheWorkerAndTheRunIsDone) {
    RunWithFailingWrites(2);
    EXPECT_EQ(captured.err, "Total number of file: 2\nTask got error!\n");
}

TEST_F(ThrownNumbers, OutOfTheProgressIsToldAndTheQueueIsEmptied) {
    WriteFile(dir / "head/a", "");
    FileCheckManager manager;
    Capture([&] { manager.LoadHeaders(dir / "head"); });
    ThrowingFlushes flushes(1);
    captured = Capture([&] {
        flushes.Begin();
        manager.CheckTask();
    });
    EXPECT_EQ(captured.err, "\nCheck file got error, path /a\n");
}

TEST_F(WorkerFailures, AMessageThatFindsNoMemoryIsPrintedAllTheSame) {
    AddVolumes(1);
    AddFile("/a");
    AddFile("/b");
    int calls = 0;
    script.On("JorvUtils::GetShareDir", [&calls] {
        // First the share's own directory, then the name for the message about "/a".
        if (++calls == 2) {
            interposed::FailAllocations(1);
            throw 5;
        }
    });
    script.ThrowSys("HeaderFile::HeaderFile", 12, "no header");
    Run();
    EXPECT_EQ(interposed::FailuresLeft(), 0U);
    EXPECT_EQ(captured.err,
              "Total number of file: 2\n"
              "\n[ERROR]: header file load failed! no header\n"
              "\n[ERROR]: Failed to check data for file: /a\n 2/2\n"
              "\n[ERROR]: header file load failed! no header\n"
              "\n[ERROR]: file meta load failed! /mnt/jorv/2/12/b\n");
    EXPECT_EQ(captured.out, Phases());
}

}  // namespace

}  // namespace file_checker
