#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <random>
#include <thread>

#include "tests/support/temp_dir.h"
#include "tests/unit/jorvshare/tool_run.h"

namespace {

namespace fs = std::filesystem;
using test_support::TempDir;
using test_support::WriteFile;
using tool_test::Ended;
using tool_test::Files;
using tool_test::Noise;
using tool_test::RunTool;
using tool_test::Snapshot;
using tool_test::ToolProcess;

constexpr unsigned kSeed = 20240611;

class InterruptedPack : public testing::TestWithParam<const char*> {
  protected:
    InterruptedPack() {
        for (int i = 0; i < 60; ++i) {
            const std::string name = temp_ / ("source/d" + std::to_string(i % 7) + "/f");
            WriteFile(name + std::to_string(i), Noise(100000, static_cast<std::uint64_t>(i)));
        }
        WriteFile(temp_ / "source/again", Noise(100000, 1));
    }

    std::vector<std::string> PackInto(const std::string& site, const std::string& id) {
        return {"pack",     temp_ / "source", temp_ / site,       "--share-id", id,
                "--layout", GetParam(),       "--container-size", "1",          "--volumes",
                "2",        "--vcopy",        "P:T:" + id};
    }

    TempDir temp_;
};

TEST_P(InterruptedPack, AFullFileSystemLeavesNothing) {
    // The limit on the size of a file acts as a full disk: every write after it fails.
    const std::string tooLarge = ": File too large (errno 27)\n";
    for (const rlim_t limit : {rlim_t{100}, rlim_t{600}, rlim_t{5000}, rlim_t{90000}}) {
        const Ended ended = RunTool(PackInto("site", "7"), [limit] {
            const struct rlimit small = {limit, limit};
            ::setrlimit(RLIMIT_FSIZE, &small);
        });
        EXPECT_EQ(ended.status, 1) << limit;
        EXPECT_EQ(ended.signal, 0) << limit;
        EXPECT_FALSE(fs::exists(temp_ / "site")) << limit;
        EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1);
        EXPECT_TRUE(ended.err.ends_with(tooLarge)) << limit << ended.err;
    }
}

TEST_P(InterruptedPack, NotEvenALineOfErrorHasToFit) {
    const Ended ended = RunTool(PackInto("site", "7"), [] {
        const struct rlimit none = {0, 0};
        ::setrlimit(RLIMIT_FSIZE, &none);
    });
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.err, "");
    EXPECT_FALSE(fs::exists(temp_ / "site"));
}

TEST_P(InterruptedPack, AFullFileSystemLeavesAnOldSiteAsItWas) {
    ASSERT_EQ(RunTool(PackInto("site", "7")).status, 0);
    const auto before = Snapshot(temp_ / "site");
    const auto full = [] {
        const struct rlimit small = {90000, 90000};
        ::setrlimit(RLIMIT_FSIZE, &small);
    };
    std::vector<std::string> pack = PackInto("site", "8");
    pack.insert(pack.end(), {"--volumes", "5"});
    pack.erase(pack.begin() + 9, pack.begin() + 11);
    const Ended ended = RunTool(pack, full);
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(Snapshot(temp_ / "site"), before);
}

TEST_P(InterruptedPack, ASignalAtAnyMomentLeavesTheWholeShareOrNothing) {
    ASSERT_EQ(RunTool(PackInto("site", "1")).status, 0);
    const auto began = std::chrono::steady_clock::now();
    ASSERT_EQ(RunTool(PackInto("other", "1")).status, 0);
    const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - began);
    std::cout << "seed " << kSeed << "\n";
    std::mt19937 random(kSeed);
    auto before = Snapshot(temp_ / "site");
    int stopped = 0;
    for (int round = 0; round < 12; ++round) {
        const std::string id = std::to_string(10 * round + 20);
        const int signal = round % 2 == 0 ? SIGTERM : SIGINT;
        ToolProcess process(PackInto("site", id));
        std::this_thread::sleep_for(whole * static_cast<int>(random() % 1000) / 1000);
        ::kill(process.Pid(), signal);
        const Ended ended = process.Wait();
        if (ended.signal != 0 && ended.out.empty()) {
            EXPECT_EQ(ended.signal, signal);
            EXPECT_EQ(Snapshot(temp_ / "site"), before) << "round " << round;
            stopped += ended.err.empty() ? 0 : 1;
            EXPECT_TRUE(ended.err.empty() || ended.err ==
                                                 "jorvshare: stopping: removing what was written\n"
                                                 "jorvshare: stopped by signal " +
                                                     std::to_string(signal) +
                                                     "; nothing was kept\n")
                << ended.err;
        } else {
            // A signal that comes after the result finds the share whole.
            EXPECT_TRUE(ended.status == 0 || ended.signal == signal) << ended.err;
            EXPECT_EQ(ended.err, "");
            const std::string back = temp_ / ("back" + id);
            EXPECT_EQ(RunTool({"unpack", temp_ / "site", back, "--share-id", id}).status, 0);
            EXPECT_EQ(Files(back), Files(temp_ / "source"));
            before = Snapshot(temp_ / "site");
        }
    }
    EXPECT_GT(stopped, 0);
}

TEST_P(InterruptedPack, AfterARunThatWasKilledOutrightTheSameShareCanBePacked) {
    const auto began = std::chrono::steady_clock::now();
    ASSERT_EQ(RunTool(PackInto("other", "1")).status, 0);
    const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - began);
    std::cout << "seed " << kSeed + 1 << "\n";
    std::mt19937 random(kSeed + 1);
    for (int round = 0; round < 8; ++round) {
        const std::string site = "site" + std::to_string(round);
        ToolProcess process(PackInto(site, "7"));
        std::this_thread::sleep_for(whole * static_cast<int>(random() % 1000) / 1000);
        ::kill(process.Pid(), SIGKILL);
        // The whole site, or none; what is unfinished is not in its place.
        if (process.Wait().signal == SIGKILL && !fs::exists(temp_ / site)) {
            const Ended again = RunTool(PackInto(site, "7"));
            EXPECT_EQ(again.status, 0) << again.err;
            EXPECT_FALSE(fs::exists(temp_ / (site + ".partial")));
        }
        const std::string back = temp_ / ("back" + std::to_string(round));
        EXPECT_EQ(RunTool({"unpack", temp_ / site, back, "--share-id", "7"}).status, 0);
        EXPECT_EQ(Files(back), Files(temp_ / "source"));
        EXPECT_TRUE(fs::exists(temp_ / (site + "/images/P/T/7")));
    }
}

TEST_P(InterruptedPack, AShareOfAnOldSiteThatWasKilledOutrightCanBePackedAgain) {
    ASSERT_EQ(RunTool(PackInto("site", "1")).status, 0);
    const auto began = std::chrono::steady_clock::now();
    ASSERT_EQ(RunTool(PackInto("site", "2")).status, 0);
    const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - began);
    std::cout << "seed " << kSeed + 2 << "\n";
    std::mt19937 random(kSeed + 2);
    for (int round = 0; round < 8; ++round) {
        const std::string id = std::to_string(round + 10);
        ToolProcess process(PackInto("site", id));
        std::this_thread::sleep_for(whole * static_cast<int>(random() % 1000) / 1000);
        ::kill(process.Pid(), SIGKILL);
        const std::string share = temp_ / ("site/meta/" + id.substr(1) + "/" + id);
        if (process.Wait().signal == SIGKILL && !fs::exists(share)) {
            const Ended again = RunTool(PackInto("site", id));
            EXPECT_EQ(again.status, 0) << again.err;
        }
        EXPECT_TRUE(fs::exists(temp_ / ("site/images/P/T/" + id)));
        for (const std::string& one : {id, std::string("1")}) {
            std::string back = temp_ / "back";
            back.append(id).append("-").append(one);
            EXPECT_EQ(RunTool({"unpack", temp_ / "site", back, "--share-id", one}).status, 0);
            EXPECT_EQ(Files(back), Files(temp_ / "source"));
        }
    }
}

TEST_P(InterruptedPack, UnpackingThatFailsLeavesNothing) {
    ASSERT_EQ(RunTool(PackInto("site", "7")).status, 0);
    const Ended ended = RunTool({"unpack", temp_ / "site", temp_ / "back", "--share-id", "7"}, [] {
        const struct rlimit small = {90000, 90000};
        ::setrlimit(RLIMIT_FSIZE, &small);
    });
    EXPECT_EQ(ended.err, "jorvshare: " + (temp_ / "back.partial/jorvshare-unfinished/again") +
                             ": File too large (errno 27)\n");
    EXPECT_EQ(ended.status, 1);
    EXPECT_FALSE(fs::exists(temp_ / "back"));
    EXPECT_FALSE(fs::exists(temp_ / "back.partial"));
}

// Makes `to` the end of a pipe that nobody reads.
void CloseReader(int to) {
    ::signal(SIGPIPE, SIG_DFL);
    std::array<int, 2> ends = {};
    if (::pipe(ends.data()) != 0 || ::close(ends[0]) != 0 || ::dup2(ends[1], to) != to) {
        ::_exit(99);
    }
}

TEST_P(InterruptedPack, AReaderOfTheWarningsThatHasGoneDoesNotStopTheRun) {
    fs::create_symlink("/etc", temp_ / "source/link");
    WriteFile(temp_ / "source/head/f", "warned of");
    const Ended ended = RunTool(PackInto("site", "7"), [] { CloseReader(STDERR_FILENO); });
    EXPECT_EQ(ended.signal, 0);
    EXPECT_EQ(ended.status, 0);
    EXPECT_TRUE(ended.out.starts_with("share 7: 62 files, ")) << ended.out;
    EXPECT_NE(ended.out.find(" 1 skipped\n"), std::string::npos) << ended.out;
    EXPECT_EQ(RunTool({"unpack", temp_ / "site", temp_ / "back", "--share-id", "7"}).status, 0);
}

TEST_P(InterruptedPack, AReaderOfTheResultThatHasGoneEndsTheRunAndTheShareIsWhole) {
    const Ended ended = RunTool(PackInto("site", "7"), [] { CloseReader(STDOUT_FILENO); });
    EXPECT_EQ(ended.signal, SIGPIPE);
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(RunTool({"unpack", temp_ / "site", temp_ / "back", "--share-id", "7"}).status, 0);
    EXPECT_EQ(Files(temp_ / "back"), Files(temp_ / "source"));
    const std::string header = temp_ / "site/meta/7/7/head/again";
    const Ended show = RunTool({"show", header}, [] { CloseReader(STDOUT_FILENO); });
    EXPECT_EQ(show.signal, SIGPIPE);
    EXPECT_EQ(show.err, "");
}

TEST_P(InterruptedPack, AFailureThatNobodyReadsOfIsTakenBackAsWell) {
    const Ended ended = RunTool(PackInto("site", "7"), [] {
        CloseReader(STDERR_FILENO);
        const struct rlimit small = {90000, 90000};
        ::setrlimit(RLIMIT_FSIZE, &small);
    });
    EXPECT_EQ(ended.signal, 0);
    EXPECT_EQ(ended.status, 1);
    EXPECT_FALSE(fs::exists(temp_ / "site"));
    EXPECT_EQ(RunTool({"bake"}, [] { CloseReader(STDERR_FILENO); }).status, 2);
}

INSTANTIATE_TEST_SUITE_P(Layouts, InterruptedPack, testing::Values("files", "tables"));

}  // namespace
