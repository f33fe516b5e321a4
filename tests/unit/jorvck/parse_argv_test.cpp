#include "jorvck/parse_argv.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/support/captured_streams.h"
#include "tests/unit/jorvck/command_line.h"

namespace {

using Corvane::Kst::Marlow::JorvCk::EnvParam;
using test_support::Captured;

class ACommandLine : public testing::Test {
  protected:
    ACommandLine() { test_support::ResetEnvParam(); }

    /// Parses and expects silence: the parser prints nothing.
    static bool Parse(test_support::CommandLine line) {
        bool accepted = false;
        const Captured written = test_support::Capture(
            [&] { accepted = EnvParam::ParseArgv(line.Count(), line.Words()); });
        EXPECT_EQ(written.out, "");
        EXPECT_EQ(written.err, "");
        return accepted;
    }

    const EnvParam& params = EnvParam::GetInstance();
};

TEST_F(ACommandLine, WithoutOptionsNeedsTheUsageText) {
    EXPECT_FALSE(Parse({}));
}

TEST_F(ACommandLine, WithoutEvenTheProgramsNameNeedsTheUsageText) {
    char* nothing = nullptr;
    EXPECT_FALSE(EnvParam::ParseArgv(0, &nothing));
}

TEST_F(ACommandLine, WithASharePathIsAccepted) {
    EXPECT_TRUE(Parse({"--share_path", "/s"}));
    EXPECT_EQ(params.sharePath, "/s");
    EXPECT_EQ(params.shareId, "");
    EXPECT_FALSE(params.verifyData);
    EXPECT_EQ(params.olderThanHours, 0);
}

TEST_F(ACommandLine, WithAShareIdKeepsItAsText) {
    EXPECT_TRUE(Parse({"--share_id", "007x"}));
    EXPECT_EQ(params.shareId, "007x");
    EXPECT_EQ(params.sharePath, "");
}

TEST_F(ACommandLine, WithVerifyDataAloneNeedsTheUsageText) {
    EXPECT_FALSE(Parse({"--verify_data"}));
    EXPECT_TRUE(params.verifyData);
}

TEST_F(ACommandLine, WithVerifyDataBeforeOrBehindAShareIdIsAccepted) {
    EXPECT_TRUE(Parse({"--verify_data", "--share_id", "7"}));
    EXPECT_TRUE(params.verifyData);
    EXPECT_TRUE(Parse({"--share_id", "8", "--verify_data"}));
    EXPECT_TRUE(params.verifyData);
    EXPECT_EQ(params.shareId, "8");
}

TEST_F(ACommandLine, ParsedAgainForgetsVerifyDataAndKeepsTheRest) {
    EXPECT_TRUE(Parse({"--share_id", "7", "--verify_data", "--t", "5"}));
    EXPECT_TRUE(Parse({"--share_path", "/s"}));
    EXPECT_FALSE(params.verifyData);
    EXPECT_EQ(params.shareId, "7");
    EXPECT_EQ(params.olderThanHours, 5);
}

TEST_F(ACommandLine, WithAMissingValueAtItsEndIgnoresTheOption) {
    EXPECT_TRUE(Parse({"--share_id", "7", "--t"}));
    EXPECT_EQ(params.olderThanHours, 0);
    EXPECT_TRUE(Parse({"--share_id", "7", "--share_path"}));
    EXPECT_EQ(params.sharePath, "");
    EXPECT_TRUE(Parse({"--share_path", "/s", "--share_id"}));
    EXPECT_EQ(params.shareId, "7");
}

TEST_F(ACommandLine, OfOneOptionWithoutItsValueNeedsTheUsageText) {
    EXPECT_FALSE(Parse({"--t"}));
    EXPECT_FALSE(Parse({"--share_id"}));
    EXPECT_FALSE(Parse({"--share_path"}));
}

TEST_F(ACommandLine, TakesAnOptionsNameAsAValue) {
    EXPECT_TRUE(Parse({"--share_path", "--verify_data"}));
    EXPECT_EQ(params.sharePath, "--verify_data");
    EXPECT_FALSE(params.verifyData);
    EXPECT_TRUE(Parse({"--share_id", "--help"}));
    EXPECT_EQ(params.shareId, "--help");
    EXPECT_TRUE(Parse({"--t", "--share_id"}));
    EXPECT_EQ(params.olderThanHours, 0);
}

TEST_F(ACommandLine, TakesAnEmptyValue) {
    EXPECT_TRUE(Parse({"--share_path", ""}));
    EXPECT_EQ(params.sharePath, "");
}

TEST_F(ACommandLine, WithAnOptionGivenTwiceKeepsTheLastValue) {
    EXPECT_TRUE(Parse({"--share_path", "/a", "--share_path", "/b"}));
    EXPECT_EQ(params.sharePath, "/b");
    EXPECT_TRUE(Parse({"--share_id", "1", "--share_id", "2", "--t", "9", "--t", "-1"}));
    EXPECT_EQ(params.shareId, "2");
    EXPECT_EQ(params.olderThanHours, 0);
}

TEST_F(ACommandLine, WithBothAPathAndAnIdKeepsBoth) {
    EXPECT_TRUE(Parse({"--share_path", "/a", "--share_id", "1"}));
    EXPECT_EQ(params.sharePath, "/a");
    EXPECT_EQ(params.shareId, "1");
}

TEST_F(ACommandLine, WithHelpNeedsTheUsageTextWhateverStandsBeforeIt) {
    EXPECT_FALSE(Parse({"--help"}));
    EXPECT_FALSE(Parse({"--share_id", "7", "--help"}));
    EXPECT_EQ(params.shareId, "7");
}

TEST_F(ACommandLine, IsNotLookedAtBehindHelp) {
    EXPECT_FALSE(Parse({"--help", "--share_id", "7"}));
    EXPECT_EQ(params.shareId, "");
}

TEST_F(ACommandLine, WithAWordThatIsNoOptionNeedsTheUsageText) {
    EXPECT_FALSE(Parse({"--share_id", "7", "foo"}));
    EXPECT_FALSE(Parse({"foo", "--share_path", "/s"}));
    EXPECT_EQ(params.sharePath, "") << "words after the bad one are not looked at";
    EXPECT_FALSE(Parse({"--share_id", "7", ""}));
}

TEST_F(ACommandLine, KnowsNoOtherSpellings) {
    for (const char* const word : {"-", "--", "-t", "--T", "--tt", "--share", "--share_path=/x",
                                   "--SHARE_ID", "-share_id", "--verify_data ", "-h", "--help="}) {
        EXPECT_FALSE(Parse({"--share_id", "7", word})) << word;
        EXPECT_FALSE(Parse({"--share_id", "7", word, "--t", "3"})) << word;
    }
    EXPECT_EQ(params.olderThanHours, 0);
    EXPECT_FALSE(params.verifyData);
}

TEST_F(ACommandLine, WithHoursAloneIsAccepted) {
    EXPECT_TRUE(Parse({"--t", "24"}));
    EXPECT_EQ(params.olderThanHours, 24);
    EXPECT_EQ(params.sharePath, "");
}

TEST_F(ACommandLine, ReadsHoursAsTheLeadingNumberCutTo32Bits) {
    const std::vector<std::pair<std::string, std::int32_t>> cases = {
        {"0", 0},
        {"-5", 0},
        {"12abc", 12},
        {"abc", 0},
        {"", 0},
        {" \t+7", 7},
        {"0x10", 0},
        {"2147483647", 2147483647},
        {"2147483648", 0},  // the low 32 bits are negative
        {"4294967295", 0},  // they are -1
        {"4294967296", 0},
        {"4294967297", 1},
        {"-4294967295", 1},          // negative as a whole, but not in its low 32 bits
        {"9223372036854775807", 0},  // they are -1
        {"-9223372036854775808", 0},
        {"99999999999999999999", 0},  // beyond 64 bits: the largest number, its low bits are -1
    };
    for (const auto& [word, hours] : cases) {
        EXPECT_TRUE(Parse({"--t", "77"}));
        EXPECT_TRUE(Parse({"--t", word})) << word;
        EXPECT_EQ(params.olderThanHours, hours) << word;
    }
}

TEST(TheUsageText, IsFourLinesOnStandardError) {
    const Captured written = test_support::Capture([] { EnvParam::PrintUsage(); });
    EXPECT_EQ(written.err, test_support::kUsageText);
    EXPECT_EQ(written.out, "");
}

TEST(TheParameters, AreMadeWithTheirDefaultsOnFirstUseAndOnce) {
    EnvParam* const before = EnvParam::s_pInstance;
    EnvParam::s_pInstance = nullptr;
    EnvParam& made = EnvParam::GetInstance();
    EXPECT_EQ(EnvParam::s_pInstance, &made);
    EXPECT_EQ(&EnvParam::GetInstance(), &made);
    EXPECT_EQ(made.sharePath, "");
    EXPECT_EQ(made.shareId, "");
    EXPECT_FALSE(made.verifyData);
    EXPECT_EQ(made.olderThanHours, 0);
    EnvParam::s_pInstance = before;
    const std::unique_ptr<EnvParam> owned(&made);
}

}  // namespace
