#include "storage/backtrace.h"

#include <execinfo.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tests/interposed/backtrace.h"

namespace {

std::string Format(const std::string& line) {
    jorv::NameBuffer names;
    return jorv::FormatFrame(line, names);
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(AFrameLine, WithAMangledNameShowsItDemangledWithoutModuleAndAddress) {
    EXPECT_EQ(Format("./prog(_ZN3foo3barEv+0x1f) [0x401136]"), "  foo::bar()+0x1f\n");
}

TEST(AFrameLine, WithANameThatCannotBeDemangledShowsItAsItStands) {
    EXPECT_EQ(Format("./prog(main+0x1f) [0x401136]"), "  main+0x1f\n");
}

TEST(AFrameLine, WithAnOffsetAloneShowsAnEmptyName) {
    EXPECT_EQ(Format("./prog(+0x1234) [0x401136]"), "  +0x1234\n");
}

TEST(AFrameLine, WithoutAPlusIsCopiedWhole) {
    EXPECT_EQ(Format("./prog() [0x401136]"), "  ./prog() [0x401136]\n");
    EXPECT_EQ(Format("[0x401136]"), "  [0x401136]\n");
    EXPECT_EQ(Format(""), "  \n");
}

TEST(AFrameLine, WithAClosingBracketBeforeThePlusPassesOverIt) {
    EXPECT_EQ(Format("a)b(_ZN3foo3barEv+0x1) [0x2]"), "  foo::bar()+0x1\n");
    EXPECT_EQ(Format("prog (1)(main+0x1) [0x2]"), "  main+0x1\n");
}

TEST(AFrameLine, WithAnOpeningBracketBehindThePlusIsCopiedWhole) {
    EXPECT_EQ(Format("a+b(main) [0x2]"), "  a+b(main) [0x2]\n");
}

TEST(AFrameLine, WithAPlusInTheModuleIsCutAtTheLastOne) {
    EXPECT_EQ(Format("c++/prog(main+0x5) [0x2]"), "  main+0x5\n");
}

TEST(AFrameLine, WithSeveralOpeningBracketsIsCutAtTheLastOne) {
    EXPECT_EQ(Format("prog(a(main+0x5) [0x2]"), "  main+0x5\n");
}

TEST(AFrameLine, WithoutAnOpeningBracketIsCopiedWhole) {
    EXPECT_EQ(Format("main+0x5) [0x2]"), "  main+0x5) [0x2]\n");
}

TEST(AFrameLine, WithoutAClosingBracketIsCopiedWhole) {
    EXPECT_EQ(Format("prog(main+0x5 [0x2]"), "  prog(main+0x5 [0x2]\n");
}

TEST(AFrameLine, EndsAtTheFirstClosingBracketBehindThePlus) {
    EXPECT_EQ(Format("prog(main+0x5) (x+1) [0x2]"), "  main+0x5\n");
}

TEST(ANameBuffer, GrowsForALongNameAndServesTheNextOnes) {
    jorv::NameBuffer names;
    std::string mangled = "_ZN";
    std::string demangled;
    for (int i = 0; i < 60; ++i) {
        mangled += "10abcdefghij";
        demangled += "abcdefghij::";
    }
    mangled += "3barEv";
    demangled += "bar()";
    ASSERT_GT(demangled.size(), 256U);
    EXPECT_EQ(jorv::FormatFrame("p(_ZN1a1bEv+0x1) []", names), "  a::b()+0x1\n");
    EXPECT_EQ(jorv::FormatFrame("p(" + mangled + "+0x2) []", names), "  " + demangled + "+0x2\n");
    EXPECT_EQ(jorv::FormatFrame("p(plain name+0x3) []", names), "  plain name+0x3\n");
    EXPECT_EQ(jorv::FormatFrame("p(" + mangled + "+0x4) []", names), "  " + demangled + "+0x4\n");
    EXPECT_EQ(jorv::FormatFrame("p(_ZN1a1bEv+0x5) []", names), "  a::b()+0x5\n");
}

/// The trace, and what a capture of our own gives in the same function.
struct TwoCaptures {
    std::vector<std::string> trace;
    std::vector<std::string> own;
};

[[gnu::noinline]] TwoCaptures CaptureTwice(unsigned int maxFrames) {
    TwoCaptures captures;
    captures.trace = Lines(jorv::get_backtrace(maxFrames));
    std::array<void*, 200> addresses = {};
    const int count = ::backtrace(addresses.data(), static_cast<int>(addresses.size()));
    char** const symbols = ::backtrace_symbols(addresses.data(), count);
    for (int i = 0; i < count; ++i) {
        captures.own.push_back(Format(symbols[i]));
        captures.own.back().pop_back();
    }
    std::free(static_cast<void*>(symbols));
    return captures;
}

TEST(AStackTrace, BeginsWithTheCallersFrameAndLeavesOutItsOwn) {
    const TwoCaptures captures = CaptureTwice(63);
    ASSERT_GT(captures.own.size(), 2U);
    ASSERT_EQ(captures.trace.size(), captures.own.size() + 1);
    EXPECT_EQ(captures.trace[0], "stack trace:");
    // The frame of CaptureTwice differs by the place in the function; those above it are the same.
    // It is the second one where a sanitizer's own comes first.
    for (std::size_t i = 2; i < captures.own.size(); ++i) {
        EXPECT_EQ(captures.trace[i + 1], captures.own[i]);
    }
}

TEST(AStackTrace, ThatCapturesNothingSaysSo) {
    const interposed::NoFrames none;
    EXPECT_EQ(jorv::get_backtrace(63), "stack trace:\n  <empty, possibly corrupt>\n");
}

TEST(AStackTrace, ListsAsManyFramesAsItMay) {
    EXPECT_EQ(jorv::get_backtrace(0), "stack trace:\n");
    EXPECT_EQ(Lines(jorv::get_backtrace(1)).size(), 2U);
    EXPECT_EQ(Lines(jorv::get_backtrace(2)).size(), 3U);
}

[[gnu::noinline]] std::string TraceAtDepth(int depth) {
    std::string text = depth == 0 ? jorv::get_backtrace(63) : TraceAtDepth(depth - 1);
    // Work after the call keeps it from becoming a jump.
    text += depth == 0 ? "bottom\n" : "";
    return text;
}

TEST(AStackTrace, OfADeepStackIsCutAt63Frames) {
    const std::vector<std::string> lines = Lines(TraceAtDepth(100));
    ASSERT_EQ(lines.size(), 65U);
    EXPECT_EQ(lines.front(), "stack trace:");
    EXPECT_EQ(lines.back(), "bottom");
    for (std::size_t i = 1; i < 64; ++i) {
        EXPECT_TRUE(lines[i].starts_with("  ")) << lines[i];
    }
}

}  // namespace
