#include "jorvck/console/console.h"

#include <gtest/gtest.h>

#include <iostream>
#include <streambuf>
#include <string>
#include <vector>

namespace {

using namespace Corvane::Kst::Marlow::JorvCk;
using Calls = std::vector<std::string>;

/// Keeps a record of what a stream does to its buffer, and fails the first few writes or flushes.
class RecordingBuffer : public std::streambuf {
  public:
    Calls calls;
    int failingWrites = 0;
    int failingFlushes = 0;

  protected:
    std::streamsize xsputn(const char* text, std::streamsize size) override {
        calls.push_back("write " + std::string(text, static_cast<std::size_t>(size)));
        return failingWrites-- > 0 ? 0 : size;
    }
    int_type overflow(int_type character) override {
        calls.push_back("character " + std::to_string(character));
        return character;
    }
    int sync() override {
        calls.emplace_back("flush");
        return failingFlushes-- > 0 ? -1 : 0;
    }
};

/// One of the standard streams with a recording buffer, and with no flush but those asked for.
class Recorded {
  public:
    explicit Recorded(std::ostream& stream)
        : stream_(stream), flags_(stream.flags()), before_(stream.rdbuf(&buffer)) {
        stream.unsetf(std::ios::unitbuf);
    }
    ~Recorded() {
        stream_.rdbuf(before_);
        stream_.flags(flags_);
    }
    Recorded(const Recorded&) = delete;
    Recorded& operator=(const Recorded&) = delete;

    RecordingBuffer buffer;

  private:
    std::ostream& stream_;
    std::ios::fmtflags flags_;
    std::streambuf* before_;
};

struct Stream {
    const char* name;
    std::ostream& stream;
    void (*text)(std::string_view);
    void (*line)(std::string_view);
};

void PrintTo(const Stream& stream, std::ostream* out) {
    *out << stream.name;
}

class OnEachStream : public testing::TestWithParam<Stream> {
  protected:
    Recorded recorded{GetParam().stream};
    Calls& calls = recorded.buffer.calls;
};

INSTANTIATE_TEST_SUITE_P(Console, OnEachStream,
                         testing::Values(Stream{"Error", std::cerr, WriteError, WriteErrorLine},
                                         Stream{"Output", std::cout, WriteOutput, WriteOutputLine}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST_P(OnEachStream, ALineIsWrittenWithItsEndInOneCallAndFlushed) {
    GetParam().line("[ERROR]: a line\nof two");
    EXPECT_EQ(calls, (Calls{"write [ERROR]: a line\nof two\n", "flush"}));
}

TEST_P(OnEachStream, ATextIsWrittenAsItStandsInOneCallAndFlushed) {
    GetParam().text(" 10000/25000");
    EXPECT_EQ(calls, (Calls{"write  10000/25000", "flush"}));
}

TEST_P(OnEachStream, AnEmptyLineIsItsEndAlone) {
    GetParam().line("");
    EXPECT_EQ(calls, (Calls{"write \n", "flush"}));
}

TEST_P(OnEachStream, BehindATextThatCouldNotBeWrittenTheNextOneIsTried) {
    recorded.buffer.failingWrites = 1;
    GetParam().line("lost");
    EXPECT_TRUE(GetParam().stream.good());
    calls.clear();
    GetParam().line("told");
    EXPECT_EQ(calls, (Calls{"write told\n", "flush"}));
}

TEST_P(OnEachStream, BehindATextThatCouldNotBeFlushedTheNextOneIsTried) {
    recorded.buffer.failingFlushes = 1;
    GetParam().line("lost");
    EXPECT_TRUE(GetParam().stream.good());
    calls.clear();
    GetParam().line("told");
    EXPECT_EQ(calls, (Calls{"write told\n", "flush"}));
}

TEST(TheStreams, AreThoseThatTheNamesSay) {
    const Recorded error(std::cerr);
    const Recorded output(std::cout);
    WriteErrorLine("e");
    EXPECT_EQ(error.buffer.calls, (Calls{"write e\n", "flush"}));
    WriteOutputLine("o");
    EXPECT_EQ(error.buffer.calls.size(), 2U);
    EXPECT_EQ(output.buffer.calls.back(), "flush");
    EXPECT_EQ(output.buffer.calls[output.buffer.calls.size() - 2], "write o\n");
}

}  // namespace
