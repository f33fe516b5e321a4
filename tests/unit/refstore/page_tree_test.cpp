#include <gtest/gtest.h>

#include "storage/exception.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/refstore/page_sample.h"

namespace {

using namespace page_test;  // NOLINT(google-build-using-namespace): the tests' own

TEST(PageRules, TreesThatBreakARuleAreRefused) {
    ExpectRefused({
        {"depth without end",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.meta + kMain + kDepth, 32);
             return "depth of a tree is out of range";
         }},
        {"leaf too high",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.meta + kMain + kDepth, 3);
             return Sample::Name(s.firstLeaf) + "wrong type of page";
         }},
        {"branch too low",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.meta + kMain + kDepth, 1);
             return Sample::Name(s.root) + "wrong type of page";
         }},
        {"branch count",
         [](Sample& s) {
             s.Add<std::uint64_t>(s.meta + kMain + kBranchPages, 1);
             return "counts of pages or entries do not fit";
         }},
        {"leaf count",
         [](Sample& s) {
             s.Add<std::uint64_t>(s.meta + kMain + kLeafPages, 1);
             return "counts of pages or entries do not fit";
         }},
        {"overflow count",
         [](Sample& s) {
             s.Add<std::uint64_t>(s.meta + kMain + kOverflowPages, 1);
             return "counts of pages or entries do not fit";
         }},
        {"entry count",
         [](Sample& s) {
             s.Add<std::uint64_t>(s.meta + kFreeList + kEntries, 1);
             return "counts of pages or entries do not fit";
         }},
        {"root is a meta page",
         [](Sample& s) {
             s.Put<std::uint64_t>(s.meta + kMain + kRoot, 1);
             return "page 1: outside the file";
         }},
        {"child behind the last page",
         [](Sample& s) {
             s.Put<std::uint32_t>(s.NodeAt(s.root, 1), 1000);
             return "page 1000: outside the file";
         }},
        {"child in the high bits",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.NodeAt(s.root, 0) + kNodeFlags, 1);
             return "page " +
                    std::to_string(Sample::Number(s.firstLeaf) + (std::uint64_t{1} << 32)) +
                    ": outside the file";
         }},
        {"child in pages that are not in the file",
         [](Sample& s) {
             s.bytes.resize(s.bytes.size() - Sample::kPage);
             return Sample::Name(s.bytes.size()) + "outside the file";
         }},
        {"subtree shared",
         [](Sample& s) {
             const auto child = static_cast<std::uint32_t>(Sample::Number(s.firstLeaf));
             s.Put<std::uint32_t>(s.NodeAt(s.root, 1), child);
             return Sample::Name(s.firstLeaf) + "used twice";
         }},
        {"subtree of itself",
         [](Sample& s) {
             const auto child = static_cast<std::uint32_t>(Sample::Number(s.root));
             s.Put<std::uint32_t>(s.NodeAt(s.root, 0), child);
             return Sample::Name(s.root) + "used twice";
         }},
        {"keys exchanged",
         [](Sample& s) {
             const auto first = Sample::PointerTo(s.secondLeaf, 0);
             const auto pointer = s.Get<std::uint16_t>(first);
             s.Put(first, s.Get<std::uint16_t>(first + 2));
             s.Put(first + 2, pointer);
             return Sample::Name(s.secondLeaf) + "keys out of order";
         }},
        {"key twice",
         [](Sample& s) {
             s.Put<std::uint8_t>(s.NodeAt(s.secondLeaf, 0) + kKey + 6,
                                 s.Get<std::uint8_t>(s.NodeAt(s.secondLeaf, 1) + kKey + 6));
             return Sample::Name(s.secondLeaf) + "keys out of order";
         }},
        {"no key",
         [](Sample& s) {
             // One byte of key becomes one of value.
             const std::size_t node = s.NodeAt(s.secondLeaf, 0);
             s.Add<std::uint32_t>(node, s.Get<std::uint16_t>(node + kKeySize));
             s.Put<std::uint16_t>(node + kKeySize, 0);
             return Sample::Name(s.secondLeaf) + "bad key size";
         }},
        {"below the separator",
         [](Sample& s) {
             s.Put<char>(s.NodeAt(s.secondLeaf, 0) + kKey, 'a');
             return Sample::Name(s.secondLeaf) + "keys below their separator";
         }},
        {"above the next separator",
         [](Sample& s) {
             s.Put<char>(s.LastNodeAt(s.firstLeaf) + kKey, 'z');
             return Sample::Name(s.firstLeaf) + "keys above their separator";
         }},
        {"equal to the next separator",
         [](Sample& s) {
             s.bytes.replace(s.LastNodeAt(s.firstLeaf) + kKey, 7, s.bytes,
                             s.NodeAt(s.root, 1) + kKey, 7);
             return Sample::Name(s.firstLeaf) + "keys above their separator";
         }},
        {"child between the last page and the end of the file",
         [](Sample& s) {
             const std::size_t behind = s.bytes.size();
             s.bytes += s.bytes.substr(s.secondLeaf, Sample::kPage) + s.bytes;
             s.Put(behind, Sample::Number(behind));
             s.Put(s.NodeAt(s.root, 1), static_cast<std::uint32_t>(Sample::Number(behind)));
             return Sample::Name(behind) + "outside the file";
         }},
        {"separators exchanged",
         [](Sample& s) {
             s.Put<char>(s.NodeAt(s.root, 1) + kKey, 'z');
             return Sample::Name(s.root) + "keys out of order";
         }},
        {"run of another type",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.run + kPageFlags, refstore::kLeafPage);
             return Sample::Name(s.run) + "not the overflow page of an entry";
         }},
        {"run of another number",
         [](Sample& s) {
             s.Add<std::uint64_t>(s.run, 1);
             return Sample::Name(s.run) + "not the overflow page of an entry";
         }},
        {"branch key without bytes",
         [](Sample& s) {
             // The last entry, which stands lowest, loses its key, and the page closes up.
             const std::size_t last = s.PageAt(s.root).NodeCount() - 1;
             const std::size_t node = s.NodeAt(s.root, last);
             const auto room =
                 static_cast<long>((s.Get<std::uint16_t>(node + kKeySize) + 1U) & ~1U);
             s.Put<std::uint16_t>(node + kKeySize, 0);
             s.bytes.replace(node + static_cast<std::size_t>(room), kKey,
                             s.bytes.substr(node, kKey));
             s.Add<std::uint16_t>(Sample::PointerTo(s.root, last), room);
             s.Add<std::uint16_t>(s.root + kUpper, room);
             return Sample::Name(s.root) + "bad key size";
         }},
        {"run of no length",
         [](Sample& s) {
             s.Put<std::uint32_t>(s.run + kLower, 0);
             return Sample::Name(s.firstLeaf) + "overflow run shorter than its value";
         }},
        {"run short",
         [](Sample& s) {
             s.Add<std::uint32_t>(s.run + kLower, -1);
             return Sample::Name(s.firstLeaf) + "overflow run shorter than its value";
         }},
        {"value one byte over the run",
         [](Sample& s) {
             s.Put<std::uint32_t>(s.bigNode, 3 * Sample::kPage - 15);
             return Sample::Name(s.firstLeaf) + "overflow run shorter than its value";
         }},
        {"run out of the file",
         [](Sample& s) {
             s.Put<std::uint32_t>(s.run + kLower, 0xffffffff);
             // Every page behind it is of the run, until one is known already or not in the file.
             for (std::size_t page = s.run; page < s.bytes.size(); page += Sample::kPage) {
                 if (page == s.root || page == s.firstLeaf) {
                     return Sample::Name(page) + "used twice";
                 }
             }
             return Sample::Name(s.bytes.size()) + "outside the file";
         }},
    });
}

// In a tree of three levels and more the last key of an inner branch must stay below the next one
// of the root.
TEST(PageRules, ABranchThatReachesIntoTheNextIsRefused) {
    const test_support::TempDir directory;
    const std::string file = directory / "data.mdb";
    {
        const Environment environment =
            OpenEnvironment(file, MDB_NOSUBDIR | MDB_NOLOCK, std::size_t{4096} * Sample::kPage);
        MDB_txn* transaction = nullptr;
        MDB_dbi database = 0;
        Require(mdb_txn_begin(environment.get(), nullptr, 0, &transaction));
        Require(mdb_dbi_open(transaction, nullptr, 0, &database));
        for (int i = 0; i < 3000; ++i) {
            std::string key = std::to_string(10000 + i) + std::string(200, 'k');
            MDB_val name = {key.size(), key.data()};
            Require(mdb_put(transaction, database, &name, &name, 0));
        }
        Require(mdb_txn_commit(transaction));
    }
    std::string bytes = test_support::ReadFile(file);
    ASSERT_EQ(ReadWithPageReader(bytes).size(), 3000U);
    const auto pageAt = [&bytes](std::uint64_t number) {
        return refstore::Page(reinterpret_cast<const std::byte*>(bytes.data()) +
                              number * Sample::kPage);
    };
    // The only transaction is described by meta page 1.
    const auto meta = refstore::LoadAs<refstore::MetaRecord>(pageAt(1).Body());
    ASSERT_GE(meta.main.depth, 3);
    const std::uint64_t inner = pageAt(meta.main.root).NodeAt(0).Child();
    const refstore::Page branch = pageAt(inner);
    const std::size_t last = inner * Sample::kPage + branch.NodeOffset(branch.NodeCount() - 1);
    bytes[last + kKey] = '\xff';
    try {
        ReadWithPageReader(bytes);
        FAIL() << "accepted";
    } catch (const Corvane::Kst::Marlow::Jorv::SysException& refused) {
        EXPECT_EQ(refused.what(), "mapping table /x/data.mdb: page " + std::to_string(inner) +
                                      ": keys out of order (errno 74)");
    }
}

}  // namespace
