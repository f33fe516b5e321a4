#include <gtest/gtest.h>

#include <algorithm>

#include "tests/unit/refstore/page_sample.h"

namespace {

using namespace page_test;  // NOLINT(google-build-using-namespace): the tests' own

TEST(PageRules, FreeListsThatBreakARuleAreRefused) {
    // The only entry: node head, 8 bytes of key, the count, the pages.
    constexpr std::size_t kCount = kKey + 8;
    constexpr std::size_t kFirst = kCount + 8;
    ExpectRefused({
        {"later transaction",
         [](Sample& s) {
             s.Put<std::uint64_t>(s.NodeAt(s.freeLeaf, 0) + kKey, 3);
             return Sample::Name(s.freeLeaf) + "pages freed by a later transaction";
         }},
        {"key short",
         [](Sample& s) {
             const std::size_t node = s.NodeAt(s.freeLeaf, 0);
             s.Put<std::uint16_t>(node + kKeySize, 6);
             s.Add<std::uint32_t>(node, 2);
             return Sample::Name(s.freeLeaf) + "bad key size";
         }},
        {"size",
         [](Sample& s) {
             // The entry is made 4 bytes shorter, and the page to fit it.
             const std::size_t node = s.NodeAt(s.freeLeaf, 0);
             const std::string moved = s.bytes.substr(node, 16);
             s.bytes.replace(node + 4, moved.size(), moved);
             s.Add<std::uint32_t>(node + 4, -4);
             s.Add<std::uint16_t>(Sample::PointerTo(s.freeLeaf, 0), 4);
             s.Add<std::uint16_t>(s.freeLeaf + kUpper, 4);
             return Sample::Name(s.freeLeaf) + "bad size of a free list";
         }},
        {"no count",
         [](Sample& s) {
             // All of the value goes, and the page closes up.
             const std::size_t node = s.NodeAt(s.freeLeaf, 0);
             const auto size = s.Get<std::uint32_t>(node);
             s.bytes.replace(node + size, kKey + 8, s.bytes.substr(node, kKey + 8));
             s.Put<std::uint32_t>(node + size, 0);
             s.Add<std::uint16_t>(Sample::PointerTo(s.freeLeaf, 0), size);
             s.Add<std::uint16_t>(s.freeLeaf + kUpper, size);
             return Sample::Name(s.freeLeaf) + "bad size of a free list";
         }},
        {"count",
         [](Sample& s) {
             s.Put<std::uint64_t>(s.NodeAt(s.freeLeaf, 0) + kCount, std::uint64_t{1} << 61);
             return Sample::Name(s.freeLeaf) + "free list longer than its entry";
         }},
        {"ascending",
         [](Sample& s) {
             const std::size_t first = s.NodeAt(s.freeLeaf, 0) + kFirst;
             const auto page = s.Get<std::uint64_t>(first);
             s.Put(first, s.Get<std::uint64_t>(first + 8));
             s.Put(first + 8, page);
             return Sample::Name(s.freeLeaf) + "free pages out of order or out of range";
         }},
        {"meta page",
         [](Sample& s) {
             const std::size_t node = s.NodeAt(s.freeLeaf, 0);
             s.Put<std::uint64_t>(node + kCount + 8 * s.Get<std::uint64_t>(node + kCount), 1);
             return Sample::Name(s.freeLeaf) + "free pages out of order or out of range";
         }},
        {"behind the last page",
         [](Sample& s) {
             s.Put<std::uint64_t>(s.NodeAt(s.freeLeaf, 0) + kFirst, s.bytes.size() / Sample::kPage);
             return Sample::Name(s.freeLeaf) + "free pages out of order or out of range";
         }},
        {"in use",
         [](Sample& s) {
             const std::size_t node = s.NodeAt(s.freeLeaf, 0);
             s.Put<std::uint64_t>(node + kCount, 1);
             s.Put<std::uint64_t>(node + kFirst, Sample::Number(s.root));
             return Sample::Name(s.root) + "free and in use, or free twice";
         }},
        {"page lost",
         [](Sample& s) {
             s.Add<std::uint64_t>(s.NodeAt(s.freeLeaf, 0) + kCount, -1);
             return "pages neither in use nor free";
         }},
    });
}

TEST(PageRules, WhatLmdbLeavesToChanceIsAccepted) {
    Sample sample;
    const Records records = ReadWithPageReader(sample.bytes);
    for (const std::size_t page : {sample.root, sample.firstLeaf, sample.run, std::size_t{0}}) {
        sample.Put<std::uint16_t>(page + 8, 0xabcd);
    }
    // A small value that stays where it was when it was large.
    sample.Put<std::uint32_t>(sample.bigNode, 3);
    // The first key of a branch is never compared.
    const std::size_t first = sample.NodeAt(sample.root, 0);
    ASSERT_EQ(sample.Get<std::uint16_t>(first + kKeySize), 0);
    Records expected = records;
    const auto big = std::find_if(expected.begin(), expected.end(),
                                  [](const auto& record) { return record.second.size() == 9000; });
    big->second.resize(3);
    EXPECT_EQ(ReadWithPageReader(sample.bytes), expected);
    EXPECT_EQ(ReadWithPageReader(sample.bytes + std::string(5000, 'x')), expected);
}

}  // namespace
