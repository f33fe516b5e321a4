#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "tests/unit/jorvshare/tool_run.h"

namespace {

using tool_test::Ended;
using tool_test::ExpectMisused;
using tool_test::RunTool;

TEST(CommandLine, EveryWrongOneIsOneLineAndStatusTwo) {
    const std::vector<std::string> pack = {"pack", "a", "b", "--share-id", "7"};
    const auto with = [](std::vector<std::string> words, const std::vector<std::string>& more) {
        words.insert(words.end(), more.begin(), more.end());
        return words;
    };
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {},
             {"pack"},
             {"pack", "a", "b"},
             {"pack", "a", "b", "--share-id"},
             with(pack, {"--layout", "lists"}),
             with(pack, {"--volumes", "0"}),
             with(pack, {"--volumes", "ten"}),
             with(pack, {"--table-span", "0"}),
             with(pack, {"--table-span", "4294967296"}),
             with(pack, {"--container-size", "0"}),
             with(pack, {"--container-size", "1025"}),
             with(pack, {"--share-id", "8"}),
             with(pack, {"--vcopy", "P"}),
             with(pack, {"c"}),
             {"unpack", "a", "b", "--share-id", ".."},
             {"verify", "a", "--share-id", "a/b"},
             {"verify", "a"},
             {"damage", "a", "--share-id", "", "--kind", "header-cut"},
             {"make", "a"},
             {"show", "a", "b"},
             {"show"},
             {"--no-such"}}) {
        const Ended ended = RunTool(arguments);
        EXPECT_EQ(ended.status, 2) << testing::PrintToString(arguments);
        EXPECT_TRUE(ended.err.starts_with("jorvshare: ")) << ended.err;
        EXPECT_TRUE(ended.err.ends_with("; see jorvshare --help\n")) << ended.err;
        EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
        EXPECT_EQ(ended.out, "");
    }
}

TEST(CommandLine, AnUnknownCommandIsNamed) {
    ExpectMisused(RunTool({"bake", "a"}), "unknown command \"bake\"");
    ExpectMisused(RunTool({"ba\nke"}), R"(unknown command "ba\nke")");
    ExpectMisused(RunTool({""}), "unknown command \"\"");
}

TEST(CommandLine, WhatIsMissingIsNamed) {
    ExpectMisused(RunTool({"unpack", "a", "b"}), "--share-id is required");
    ExpectMisused(RunTool({"pack", "a", "--share-id", "7"}), "SITE is required");
}

TEST(CommandLine, HelpGoesToStandardOutput) {
    const Ended help = RunTool({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
    EXPECT_TRUE(help.out.starts_with("Makes shares and looks into them.\n"));
    EXPECT_NE(RunTool({"damage", "--help"}).out.find("for testing only"), std::string::npos);
}

}  // namespace
