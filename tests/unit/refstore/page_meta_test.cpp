#include <gtest/gtest.h>

#include "tests/unit/refstore/page_sample.h"

namespace {

using namespace page_test;  // NOLINT(google-build-using-namespace): the tests' own

TEST(PageRules, MetaPagesThatBreakARuleAreRefused) {
    ExpectRefused({
        {"number",
         [](Sample& s) {
             s.Put<std::uint64_t>(0, 7);
             return "page 0: not a meta page";
         }},
        {"flags",
         [](Sample& s) {
             s.Put<std::uint16_t>(Sample::kPage + kPageFlags, 0x18);
             return "page 1: not a meta page";
         }},
        {"magic",
         [](Sample& s) {
             s.Add<std::uint32_t>(s.olderMeta, 1);
             return "page 1: bad magic number or version";
         }},
        {"version",
         [](Sample& s) {
             s.Put<std::uint32_t>(s.meta + 4, 2);
             return "page 0: bad magic number or version";
         }},
        {"one page",
         [](Sample& s) {
             s.bytes.resize(Sample::kPage);
             return "too short for its meta pages";
         }},
        {"pages larger than the file",
         [](Sample& s) {
             s.bytes.resize(std::size_t{2} * 32768 - 1);
             s.Put<std::uint32_t>(s.meta + kFreeList, 32768);
             return "too short for its meta pages";
         }},
        {"no page size",
         [](Sample& s) {
             s.Put<std::uint32_t>(s.meta + kFreeList, 0);
             return "bad page size";
         }},
        {"page size no power of two",
         [](Sample& s) {
             s.Put<std::uint32_t>(s.meta + kFreeList, 5000);
             return "bad page size";
         }},
        {"page size small",
         [](Sample& s) {
             s.Put<std::uint32_t>(s.meta + kFreeList, 2048);
             return "bad page size";
         }},
        {"page size large",
         [](Sample& s) {
             s.Put<std::uint32_t>(s.meta + kFreeList, 65536);
             return "bad page size";
         }},
        {"page sizes differ",
         [](Sample& s) {
             s.Put<std::uint32_t>(s.olderMeta + kFreeList, 8192);
             return "page 1: page sizes differ";
         }},
        {"address",
         [](Sample& s) {
             s.Put<std::uint64_t>(s.meta + kAddress, 4096);
             return "page 0: fixed address";
         }},
        {"free list not by integers",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.meta + kFreeList + kFlags, 0);
             return "page 0: unknown flags of the free list";
         }},
        {"duplicates",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.meta + kMain + kFlags, 4);
             return "page 0: not a plain database";
         }},
        {"last page",
         [](Sample& s) {
             s.Put<std::uint64_t>(s.olderMeta + kLastPage, 0);
             return "page 1: last page is a meta page";
         }},
        {"map no multiple",
         [](Sample& s) {
             s.Add<std::uint64_t>(s.meta + kMapSize, 8);
             return "page 0: map size does not fit";
         }},
        {"map small",
         [](Sample& s) {
             const auto last = s.Get<std::uint64_t>(s.meta + kLastPage);
             s.Put<std::uint64_t>(s.meta + kMapSize, last * Sample::kPage);
             return "page 0: map size does not fit";
         }},
        {"parity",
         [](Sample& s) {
             s.Put<std::uint64_t>(s.meta + kTransaction, 1);
             s.Put<std::uint64_t>(s.olderMeta + kTransaction, 2);
             return "transaction numbers of the meta pages do not fit";
         }},
        {"transactions apart",
         [](Sample& s) {
             s.Put<std::uint64_t>(s.meta + kTransaction, 4);
             return "transaction numbers of the meta pages do not fit";
         }},
        {"pages without end",
         [](Sample& s) {
             s.Put<std::uint64_t>(s.meta + kMapSize, std::uint64_t{1} << 62);
             s.Put<std::uint64_t>(s.meta + kLastPage, std::uint64_t{1} << 48);
             return "more pages than the file accounts for";
         }},
        {"depth without root",
         [](Sample& s) {
             s.Put<std::uint64_t>(s.meta + kMain + kRoot, refstore::kNoPage);
             return "page 0: depth and root disagree";
         }},
        {"root without depth",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.meta + kFreeList + kDepth, 0);
             return "page 0: depth and root disagree";
         }},
        {"empty with entries",
         [](Sample& s) {
             s.Put<std::uint64_t>(s.meta + kMain + kRoot, refstore::kNoPage);
             s.Put<std::uint16_t>(s.meta + kMain + kDepth, 0);
             return "page 0: an empty database with pages or entries";
         }},
    });
}

}  // namespace
