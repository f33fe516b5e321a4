#include "refstore/log.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <thread>
#include <vector>

#include "storage/log.h"
#include "tests/unit/refstore/config_in_child.h"

namespace {

using refstore::LogFile;
using test_support::ReadFile;
using test_support::TempDir;

// The log's lines with the time, whose form is checked, taken away.
std::vector<std::string> Lines(const std::string& path) {
    constexpr std::size_t kTimeSize = 25;
    const std::string text = ReadFile(path);
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start);
        EXPECT_NE(end, std::string::npos) << "the last line has no end";
        const std::string line = text.substr(start, end - start);
        std::string time = line.substr(0, kTimeSize);
        std::replace_if(
            time.begin(), time.end(), [](char c) { return c >= '0' && c <= '9'; }, '0');
        EXPECT_EQ(time, "0000-00-00T00:00:00.000Z ");
        lines.push_back(line.substr(kTimeSize));
        start = end + 1;
    }
    return lines;
}

using Texts = std::vector<std::string>;

TEST(LogFile, ARecordIsALineWithTimeLevelAndText) {
    const TempDir dir;
    LogFile log(dir / "log");
    log.Write(8, "first");
    log.Write(7, "second");
    log.Write(8, "");
    EXPECT_EQ(Lines(dir / "log"), (Texts{"error first", "info second", "error "}));
}

TEST(LogFile, AnOlderLogIsContinued) {
    const TempDir dir;
    LogFile(dir / "log").Write(8, "first");
    LogFile(dir / "log").Write(8, "second");
    EXPECT_EQ(Lines(dir / "log"), (Texts{"error first", "error second"}));
}

TEST(LogFile, LineEndsInTheTextDoNotMakeLines) {
    const TempDir dir;
    LogFile(dir / "log").Write(8, "a\nb\r\nc\n");
    EXPECT_EQ(Lines(dir / "log"), (Texts{"error a b  c "}));
}

TEST(LogFile, TheTextIsNoPatternAndNoFormat) {
    const TempDir dir;
    LogFile(dir / "log").Write(8, "{} %v %s {0} \xff");
    EXPECT_EQ(Lines(dir / "log"), (Texts{"error {} %v %s {0} \xff"}));
}

TEST(LogFile, LinesOfManyThreadsDoNotMix) {
    const TempDir dir;
    {
        LogFile log(dir / "log");
        std::vector<std::jthread> threads;
        threads.reserve(4);
        for (char name = 'a'; name < 'e'; ++name) {
            threads.emplace_back([&log, name] {
                for (int i = 0; i < 200; ++i) {
                    log.Write(8, std::string(500, name));
                }
            });
        }
    }
    std::map<std::string, int> counts;
    for (const std::string& line : Lines(dir / "log")) {
        ++counts[line];
    }
    std::map<std::string, int> expected;
    for (char name = 'a'; name < 'e'; ++name) {
        expected["error " + std::string(500, name)] = 200;
    }
    EXPECT_EQ(counts, expected);
}

TEST(LogFile, OneThatCannotBeWrittenIsIgnoredWithoutAWord) {
    const TempDir dir;
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    for (const std::string& path :
         {dir / "no/such/log", dir.Path(), dir / "fifo", std::string("/dev/full"), std::string()}) {
        LogFile(path).Write(8, "lost");
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_FALSE(std::filesystem::exists(dir / "no"));
}

TEST(LogFile, ALinkIsNotFollowed) {
    const TempDir dir;
    test_support::WriteFile(dir / "share", "as it was");
    std::filesystem::create_symlink(dir / "share", dir / "log");
    std::filesystem::create_symlink(dir / "new", dir / "dangling");
    LogFile(dir / "log").Write(8, "lost");
    LogFile(dir / "dangling").Write(8, "lost");
    EXPECT_EQ(test_support::ReadFile(dir / "share"), "as it was");
    EXPECT_FALSE(std::filesystem::exists(dir / "new"));
}

TEST(JorvLog, ARecordIsFormattedIntoTheConfiguredFile) {
    refstore_test::ExpectInChild([] {
        const refstore_test::ConfiguredDir dir("log_file = 'jorv.log'\n");
        EXPECT_FALSE(std::filesystem::exists(dir / "jorv.log"));
        JORV_LOG(8, "%s must not be called from a null DCM object", "read");
        JORV_LOG(8, "%d%% of %s", 5, std::string(100000, 'x').c_str());
        EXPECT_EQ(Lines(dir / "jorv.log"),
                  (Texts{"error read must not be called from a null DCM object",
                         "error 5% of " + std::string(100000, 'x')}));
    });
}

TEST(JorvLog, AMissingDirectoryIsNotMade) {
    refstore_test::ExpectInChild([] {
        const refstore_test::ConfiguredDir dir("log_file = 'log/jorv.log'\n");
        JORV_LOG(8, "lost");
        EXPECT_FALSE(std::filesystem::exists(dir / "log"));
    });
}

}  // namespace
