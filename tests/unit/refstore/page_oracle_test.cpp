#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <string>

#include "storage/exception.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/refstore/page_environments.h"

namespace {

using Corvane::Kst::Marlow::Jorv::SysException;

// What must have come up among the environments for the comparison to mean something.
struct Seen {
    bool noTransaction = false;
    bool threeLevels = false;
    bool deepFreeList = false;
    bool overflowingFreeList = false;
    bool longerRun = false;
    bool pagesBehindTheFile = false;
    bool entriesOutOfOrder = false;
};

void Note(const std::string& bytes, Seen& seen) {
    const auto exact = test_support::Bytes(bytes);
    const std::string path = "/x/data.mdb";
    const refstore::PageReader reader(exact, path);
    const refstore::MetaRecord& meta = reader.Meta();
    seen.noTransaction |= meta.transaction == 0;
    seen.threeLevels |= meta.main.depth >= 3;
    seen.deepFreeList |= meta.freeList.depth >= 2;
    seen.overflowingFreeList |= meta.freeList.overflowPages > 0;
    seen.pagesBehindTheFile |= meta.lastPage >= exact.size() / meta.PageSize();
    const refstore::PageBytes pages(exact, meta.PageSize());
    for (refstore::RecordWalk walk(reader); !walk.AtEnd(); walk.Next()) {
        const refstore::Node node = walk.Current();
        seen.longerRun |= node.IsBig() && pages.At(node.RunPage()).RunLength() >
                                              (15 + node.ValueSize()) / meta.PageSize() + 1;
    }
    for (std::size_t i = 0; i < reader.LeafCount(); ++i) {
        const refstore::Page leaf = reader.Leaf(i);
        seen.entriesOutOfOrder |=
            leaf.NodeCount() > 1 && leaf.NodeOffset(0) < leaf.NodeOffset(leaf.NodeCount() - 1);
    }
}

// LMDB is the oracle: whatever it makes must be read, and as it reads it.
void ExpectSameRecords(std::uint32_t first, std::uint32_t count, bool small, Seen& seen) {
    for (std::uint32_t seed = first; seed < first + count; ++seed) {
        const auto made = page_test::MakeRandomEnvironment(seed, small);
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + made.what + ", " +
                     std::to_string(made.bytes.size()) + " bytes");
        try {
            ASSERT_EQ(page_test::ReadWithPageReader(made.bytes), made.records);
            Note(made.bytes, seen);
        } catch (const SysException& refused) {
            FAIL() << refused.what();
        }
    }
}

// JORV_ENVIRONMENTS asks for more of them, by hand.
std::uint32_t Environments() {
    constexpr std::uint32_t kDefault = 420;
    const char* const asked = std::getenv("JORV_ENVIRONMENTS");
    return asked == nullptr ? kDefault : static_cast<std::uint32_t>(std::stoul(asked));
}

TEST(PageOracle, RandomEnvironmentsReadAsLmdbReadsThem) {
    Seen seen;
    const std::uint32_t count = Environments();
    std::cout << count << " environments\n";
    ExpectSameRecords(1, count - count * 2 / 7, true, seen);
    ExpectSameRecords(1000001, count * 2 / 7, false, seen);
    EXPECT_TRUE(seen.noTransaction);
    EXPECT_TRUE(seen.threeLevels);
    EXPECT_TRUE(seen.deepFreeList);
    EXPECT_TRUE(seen.overflowingFreeList);
    EXPECT_TRUE(seen.longerRun);
    EXPECT_TRUE(seen.pagesBehindTheFile);
    EXPECT_TRUE(seen.entriesOutOfOrder);
}

}  // namespace
