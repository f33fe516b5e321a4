#include <gtest/gtest.h>

#include "tests/unit/refstore/page_sample.h"

namespace {

using namespace page_test;  // NOLINT(google-build-using-namespace): the tests' own

TEST(PageRules, PagesThatBreakARuleAreRefused) {
    ExpectRefused({
        {"number",
         [](Sample& s) {
             s.Add<std::uint64_t>(s.firstLeaf, 1);
             return Sample::Name(s.firstLeaf) + "bears another number";
         }},
        {"dirty",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.firstLeaf + kPageFlags, 0x12);
             return Sample::Name(s.firstLeaf) + "wrong type of page";
         }},
        {"page of duplicates",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.firstLeaf + kPageFlags, 0x22);
             return Sample::Name(s.firstLeaf) + "wrong type of page";
         }},
        {"lower odd",
         [](Sample& s) {
             s.Add<std::uint16_t>(s.firstLeaf + kLower, 1);
             return Sample::Name(s.firstLeaf) + "bounds of its free space do not fit";
         }},
        {"lower in the head",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.firstLeaf + kLower, 14);
             return Sample::Name(s.firstLeaf) + "bounds of its free space do not fit";
         }},
        {"lower above upper",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.firstLeaf + kLower,
                                  static_cast<std::uint16_t>(s.PageAt(s.firstLeaf).Upper() + 2));
             return Sample::Name(s.firstLeaf) + "bounds of its free space do not fit";
         }},
        {"upper odd",
         [](Sample& s) {
             s.Add<std::uint16_t>(s.firstLeaf + kUpper, -1);
             return Sample::Name(s.firstLeaf) + "bounds of its free space do not fit";
         }},
        {"upper behind the page",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.firstLeaf + kUpper, 4098);
             return Sample::Name(s.firstLeaf) + "bounds of its free space do not fit";
         }},
        {"leaf without entries",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.firstLeaf + kLower, 16);
             return Sample::Name(s.firstLeaf) + "too few entries";
         }},
        {"branch of one",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.root + kLower, 18);
             return Sample::Name(s.root) + "too few entries";
         }},
        {"entry at an odd offset",
         [](Sample& s) {
             s.Add<std::uint16_t>(Sample::PointerTo(s.firstLeaf, 0), 1);
             return Sample::Name(s.firstLeaf) + "entry outside its space";
         }},
        {"entry in the free space",
         [](Sample& s) {
             s.Put<std::uint16_t>(Sample::PointerTo(s.firstLeaf, 0),
                                  static_cast<std::uint16_t>(s.PageAt(s.firstLeaf).Upper() - 2));
             return Sample::Name(s.firstLeaf) + "entry outside its space";
         }},
        {"entry at the page's end",
         [](Sample& s) {
             s.Put<std::uint16_t>(Sample::PointerTo(s.firstLeaf, 0), 4090);
             return Sample::Name(s.firstLeaf) + "entry outside its space";
         }},
        {"key long",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.NodeAt(s.firstLeaf, 0) + kKeySize, 512);
             return Sample::Name(s.firstLeaf) + "key too long";
         }},
        {"named database",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.NodeAt(s.firstLeaf, 0) + kNodeFlags, 2);
             return Sample::Name(s.firstLeaf) + "unknown flags of an entry";
         }},
        {"duplicates",
         [](Sample& s) {
             s.Put<std::uint16_t>(s.NodeAt(s.firstLeaf, 0) + kNodeFlags, 4);
             return Sample::Name(s.firstLeaf) + "unknown flags of an entry";
         }},
        {"value over the page's end",
         [](Sample& s) {
             s.Put<std::uint32_t>(s.NodeAt(s.firstLeaf, 0), 0xfffffff0);
             return Sample::Name(s.firstLeaf) + "entry runs over the page's end";
         }},
        {"gap",
         [](Sample& s) {
             s.Add<std::uint32_t>(s.NodeAt(s.firstLeaf, 1), -2);
             return Sample::Name(s.firstLeaf) + "gap between entries";
         }},
        {"overlap",
         [](Sample& s) {
             s.Add<std::uint32_t>(s.NodeAt(s.firstLeaf, 1), 2);
             return Sample::Name(s.firstLeaf) + "gap between entries";
         }},
        {"entry twice",
         [](Sample& s) {
             s.Put(Sample::PointerTo(s.firstLeaf, 1),
                   s.Get<std::uint16_t>(Sample::PointerTo(s.firstLeaf, 0)));
             return Sample::Name(s.firstLeaf) + "entries overlap";
         }},
        {"entry inside the value of another",
         [](Sample& s) {
             // A head with a key and no value, and one more pointer.
             const std::size_t count = s.PageAt(s.firstLeaf).NodeCount();
             const std::size_t inner = (s.NodeAt(s.firstLeaf, 0) + kKey + 7 + 1) & ~std::size_t{1};
             s.Put<std::uint64_t>(inner, std::uint64_t{7} << 48);
             s.Put(Sample::PointerTo(s.firstLeaf, count),
                   static_cast<std::uint16_t>(inner - s.firstLeaf));
             s.Add<std::uint16_t>(s.firstLeaf + kLower, 2);
             return Sample::Name(s.firstLeaf) + "entries overlap";
         }},
        {"space above the entries of a page in order",
         [](Sample& s) {
             const std::size_t last = s.PageAt(s.root).NodeCount() - 1;
             const std::size_t leaf = s.PageAt(s.root).NodeAt(last).Child() * Sample::kPage;
             for (std::size_t i = 1; i < s.PageAt(leaf).NodeCount(); ++i) {
                 EXPECT_LT(s.NodeAt(leaf, i), s.NodeAt(leaf, i - 1));
             }
             s.Add<std::uint16_t>(leaf + kUpper, -2);
             return Sample::Name(leaf) + "gap between entries";
         }},
        {"entry lost",
         [](Sample& s) {
             s.Add<std::uint16_t>(s.firstLeaf + kLower, -2);
             return Sample::Name(s.firstLeaf) + "gap between entries";
         }},
        {"space above the first entry",
         [](Sample& s) {
             s.Add<std::uint16_t>(s.firstLeaf + kUpper, -2);
             return Sample::Name(s.firstLeaf) + "gap between entries";
         }},
    });
}

}  // namespace
