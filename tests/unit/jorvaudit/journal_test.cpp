#include "jorvaudit/journal.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>

#include "terminal/interrupt.h"
#include "terminal/tool_error.h"
#include "tests/support/temp_dir.h"

namespace {

using namespace jorvaudit;  // NOLINT(google-build-using-namespace)
using test_support::ReadFile;
using test_support::TempDir;
using test_support::WriteFile;

const nlohmann::ordered_json kIdentity = {{"share", "/s"}};

class JournalTest : public testing::Test {
  protected:
    static void AddStep(Journal* journal, const std::string& step, std::uint64_t files) {
        Tally tally;
        tally[What::kFiles] = {.lookedAt = files, .thereAre = files};
        journal->Add(step, tally, {{.kind = &kinds::kCorruptHeader, .name = step + "/f\xff"}},
                     "# " + step + "\n");
    }

    TempDir directory_;
};

TEST_F(JournalTest, GoesOnWhereItEnded) {
    std::int64_t started = 0;
    {
        Journal journal(directory_.Path(), kIdentity, false);
        AddStep(&journal, "/a", 3);
        AddStep(&journal, "/b\n", 4);
        started = journal.Started();
    }
    Journal journal(directory_.Path(), kIdentity, true);
    EXPECT_EQ(journal.Started(), started);
    EXPECT_TRUE(journal.HasStep("/a"));
    EXPECT_TRUE(journal.HasStep("/b\n"));
    EXPECT_FALSE(journal.HasStep("/c"));
    EXPECT_EQ(journal.Sums()[What::kFiles].thereAre, 7U);
    ASSERT_EQ(journal.Findings().size(), 2U);
    EXPECT_EQ(journal.Findings()[1].name, "/b\n/f\xff");
}

TEST_F(JournalTest, TwoAuditsDoNotShareADirectory) {
    const Journal journal(directory_.Path(), kIdentity, false);
    try {
        const Journal second(directory_.Path(), kIdentity, true);
        FAIL();
    } catch (const terminal::ToolError& error) {
        EXPECT_EQ(error.Message(),
                  (directory_ / "journal") + ": another audit is at work in this directory");
    }
}

// The children of an audit that was killed outlive it for a moment.
TEST_F(JournalTest, ALockThatIsLetGoSoonIsWaitedFor) {
    auto journal = std::make_unique<Journal>(directory_.Path(), kIdentity, false);
    std::thread end([&journal] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        journal.reset();
    });
    EXPECT_NO_THROW(Journal(directory_.Path(), kIdentity, true));
    end.join();
}

// Two audits at once: the second waited for the lock of a file that the first removed at its end.
TEST_F(JournalTest, AnAuditThatEndsWhileItsLockIsWaitedForLeavesNothing) {
    auto journal = std::make_unique<Journal>(directory_.Path(), kIdentity, false);
    AddStep(journal.get(), "/a", 3);
    const std::jthread end([&journal] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        journal->Remove();
        journal.reset();
    });
    Journal second(directory_.Path(), kIdentity, false);
    EXPECT_FALSE(second.HasStep("/a"));
    AddStep(&second, "/b", 4);
    EXPECT_NO_THROW(second.Remove());
}

// At any byte that the run was killed at, what is whole counts and nothing else.
TEST_F(JournalTest, EveryTruncationLosesTheLastStepAlone) {
    {
        Journal journal(directory_.Path(), kIdentity, false);
        AddStep(&journal, "/a", 3);
        AddStep(&journal, "/b", 4);
    }
    const std::string whole = ReadFile(directory_ / "journal");
    const std::string raw = ReadFile(directory_ / "raw/views.txt");
    const std::size_t first = whole.find('\n');
    const std::size_t second = whole.find('\n', first + 1);
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        WriteFile(directory_ / "journal", whole.substr(0, length));
        WriteFile(directory_ / "raw/views.txt", raw);
        {
            Journal journal(directory_.Path(), kIdentity, true);
            EXPECT_EQ(journal.HasStep("/a"), length > second) << length;
            EXPECT_EQ(journal.HasStep("/b"), length == whole.size()) << length;
            if (!journal.HasStep("/a")) {
                AddStep(&journal, "/a", 3);
            }
            if (!journal.HasStep("/b")) {
                AddStep(&journal, "/b", 4);
            }
            EXPECT_EQ(journal.Sums()[What::kFiles].thereAre, 7U) << length;
        }
        EXPECT_EQ(ReadFile(directory_ / "raw/views.txt"), raw) << length;
    }
}

TEST_F(JournalTest, AnInterruptedAuditIsNotOverwritten) {
    { const Journal journal(directory_.Path(), kIdentity, false); }
    EXPECT_THROW(Journal(directory_.Path(), kIdentity, false), terminal::ToolError);
    EXPECT_THROW(Journal(directory_.Path(), {{"share", "/t"}}, true), terminal::ToolError);
    const Journal journal(directory_.Path(), kIdentity, true);
    EXPECT_THROW(Journal(directory_.Path(), kIdentity, true), terminal::ToolError) << "two at once";
}

TEST_F(JournalTest, WhatIsNoJournalIsRefusedByItsPath) {
    { const Journal journal(directory_.Path(), kIdentity, false); }
    const std::string first = ReadFile(directory_ / "journal");
    for (const std::string& text :
         {std::string("5\n"), std::string("{}\n"), first + "5\n", first + "{}\n"}) {
        WriteFile(directory_ / "journal", text);
        try {
            const Journal journal(directory_.Path(), kIdentity, true);
            ADD_FAILURE() << text;
        } catch (const terminal::ToolError& error) {
            EXPECT_EQ(error.Message(), (directory_ / "journal") + ": not the journal of an audit");
        }
    }
}

// A line that does not fit is written in part, and the part is no failure of its own.
TEST_F(JournalTest, ALineThatDoesNotFitTellsWhy) {
    Journal journal(directory_.Path(), kIdentity, false);
    const terminal::InterruptScope scope;
    struct rlimit former = {};
    ::getrlimit(RLIMIT_FSIZE, &former);
    struct rlimit limit = former;
    limit.rlim_cur = ReadFile(directory_ / "journal").size() + 10;
    ::setrlimit(RLIMIT_FSIZE, &limit);
    errno = ESRCH;
    std::string message;
    try {
        journal.Add("/a", {}, {}, "");
    } catch (const terminal::ToolError& error) {
        message = error.Message();
    }
    ::setrlimit(RLIMIT_FSIZE, &former);
    EXPECT_EQ(message, terminal::Errno(directory_ / "journal", EFBIG));
}

TEST_F(JournalTest, IsGoneWhenTheReportIsWritten) {
    {
        Journal journal(directory_.Path(), kIdentity, true);
        AddStep(&journal, "/a", 1);
        journal.Remove();
    }
    const Journal journal(directory_.Path(), kIdentity, false);
    EXPECT_FALSE(journal.HasStep("/a"));
    EXPECT_EQ(ReadFile(directory_ / "raw/views.txt"), "");
}

}  // namespace
