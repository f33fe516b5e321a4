#include "jorvck/console.h"

#include <gtest/gtest.h>

#include <iostream>
#include <limits>
#include <streambuf>
#include <string>
#include <vector>

#include "tests/interposed/memory.h"

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

class Console : public testing::Test {
  protected:
    Recorded error{std::cerr};
    Recorded output{std::cout};
};

TEST_F(Console, ALineGoesToItsOwnStreamInOneCallAndIsFlushed) {
    Write(lines::kCorruptHeader, "/s/head/a\nb");
    EXPECT_EQ(error.buffer.calls,
              (Calls{"write [ERROR]: corrupt header file /s/head/a\nb found\n", "flush"}));
    // Standard error flushes standard output before it writes.
    EXPECT_EQ(output.buffer.calls, (Calls{"flush", "flush"}));
    error.buffer.calls.clear();
    output.buffer.calls.clear();
    Write(lines::kDone, "7");
    EXPECT_EQ(error.buffer.calls, Calls{});
    EXPECT_EQ(output.buffer.calls, (Calls{"write Check files for 7 done!\n", "flush"}));
}

TEST_F(Console, ALineWithoutAnEndIsWrittenWithoutOne) {
    Write(lines::kProgress, 10000, 25000);
    EXPECT_EQ(error.buffer.calls, (Calls{"write  10000/25000", "flush"}));
}

TEST_F(Console, ValuesTakeTheirPlacesInOrder) {
    Write(lines::kSizeMismatch, std::string("{}"), std::numeric_limits<std::int64_t>::min(),
          std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(
        error.buffer.calls,
        (Calls{"write \n[ERROR]: File size in header and extent doesn't match, file: {} header "
               "size: -9223372036854775808 extent size: 18446744073709551615\n",
               "flush"}));
}

TEST_F(Console, WithoutMemoryALineIsWrittenInPieces) {
    interposed::FailAllocations(1);
    Write(lines::kContainersFailed, "/a volume whose name does not fit into a small text");
    interposed::FailAllocations(0);
    EXPECT_EQ(error.buffer.calls,
              (Calls{"write Failed to load data containers from ", "flush",
                     "write /a volume whose name does not fit into a small text", "flush",
                     "write \n", "flush"}));
}

TEST_F(Console, AfterALineThatCouldNotBeWrittenTheNextOneIsTried) {
    error.buffer.failingWrites = 1;
    Write(lines::kHeaderLoadFailed);
    EXPECT_TRUE(std::cerr.good());
    error.buffer.calls.clear();
    Write(lines::kExtentLoadFailed);
    EXPECT_EQ(error.buffer.calls, (Calls{"write [ERROR]: extent file load failed!\n", "flush"}));
}

TEST_F(Console, AfterALineThatCouldNotBeFlushedTheNextOneIsTried) {
    output.buffer.failingFlushes = 1;
    Write(lines::kUnhandledException);
    EXPECT_TRUE(std::cout.good());
    output.buffer.calls.clear();
    Write(lines::kParsingFailed);
    EXPECT_EQ(output.buffer.calls,
              (Calls{"write [JORVCK_VCOPY] Parsing Vcopy.dat failed. WARNING OUT!\n", "flush"}));
}

}  // namespace
