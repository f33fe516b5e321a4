#include <gtest/gtest.h>

#include <optional>

#include "refstore/table/page_check.h"
#include "refstore/table/uniform_leaf.h"
#include "storage/exception.h"
#include "tests/unit/refstore/page_environments.h"
#include "tests/unit/refstore/table_sample.h"

// The quick check of a leaf of counted-up records accepts nothing that the thorough one refuses.

namespace {

using refstore::Page;
using refstore::PageCheck;
using refstore::PageImage;

constexpr std::size_t kPage = 4096;

/// What the thorough check and the order of the keys say about a leaf page.
bool IsSoundLeaf(PageCheck& check, const PageImage& image, std::uint64_t number) {
    try {
        check.CheckLeaf(number);
    } catch (const Corvane::Kst::Marlow::Jorv::SysException&) {
        return false;
    }
    const Page page = image.At(number);
    for (std::size_t i = 0; i < page.NodeCount(); ++i) {
        const auto text = [&page](std::size_t node) {
            const auto key = page.NodeAt(node).Key();
            return std::string(reinterpret_cast<const char*>(key.data()), key.size());
        };
        if (text(i).empty() || page.NodeAt(i).IsBig() || (i > 0 && text(i - 1) >= text(i))) {
            return false;
        }
    }
    return true;
}

class UniformLeaf : public testing::Test {
  protected:
    UniformLeaf()
        : bytes(table_test::Encode({.fileSize = 1, .tables = {table_test::MakeTable(0, 1, 200)}})) {
        for (std::uint64_t page = 0; page < bytes.size() / kPage; ++page) {
            if (Image().At(page).Flags() == refstore::kLeafPage &&
                refstore::IsUniformLeaf(Image().At(page), page, kPage)) {
                uniform.push_back(page);
            }
        }
    }

    [[nodiscard]] PageImage Image() const { return {std::as_bytes(std::span(bytes)), kPage, path}; }

    std::string path = "/x/data.mdb";
    std::string bytes;
    std::vector<std::uint64_t> uniform;
};

TEST_F(UniformLeaf, LeavesOfExtentsAreUniform) {
    // 40 to a page and the rest on the last; the first page begins with other records.
    EXPECT_EQ(uniform.size(), 5U);
}

TEST_F(UniformLeaf, NoChangedByteMakesTheQuickCheckAcceptWhatTheThoroughOneRefuses) {
    ASSERT_FALSE(uniform.empty());
    const std::uint64_t number = uniform[1];
    std::size_t accepted = 0;
    std::size_t refused = 0;
    for (std::size_t at = number * kPage; at < (number + 1) * kPage; ++at) {
        const char before = bytes[at];
        for (unsigned mask = 1; mask < 256; ++mask) {
            bytes[at] = static_cast<char>(static_cast<unsigned char>(before) ^ mask);
            const PageImage image = Image();
            PageCheck check(image);
            const bool quick = refstore::IsUniformLeaf(image.At(number), number, kPage);
            ASSERT_TRUE(!quick || IsSoundLeaf(check, image, number)) << at << " " << mask;
            ++(quick ? accepted : refused);
        }
        bytes[at] = before;
    }
    // What is in the values, in the gap between them and in the uninitialised bytes 8 and 9.
    const Page page = Image().At(number);
    const std::size_t count = page.NodeCount();
    const std::size_t gap = page.Upper() - page.Lower();
    const std::size_t padding = count;  // a record of 8 + 9 + 80 bytes is one short of even
    EXPECT_EQ(accepted, 255 * (2 + gap + padding + 80 * count));
    EXPECT_EQ(refused, 255 * kPage - accepted);
}

TEST_F(UniformLeaf, AChangeOfTwoFieldsThatHidesTheOtherIsNotAccepted) {
    const std::uint64_t number = uniform[1];
    const std::size_t base = number * kPage;
    const std::size_t count = Image().At(number).NodeCount();
    // Two pointers exchanged, and two whole entries exchanged.
    std::swap(bytes[base + 16], bytes[base + 18]);
    std::swap(bytes[base + 17], bytes[base + 19]);
    EXPECT_FALSE(refstore::IsUniformLeaf(Image().At(number), number, kPage));
    std::swap(bytes[base + 16], bytes[base + 18]);
    std::swap(bytes[base + 17], bytes[base + 19]);
    EXPECT_TRUE(refstore::IsUniformLeaf(Image().At(number), number, kPage));
    const std::size_t first = base + Image().At(number).NodeOffset(0);
    const std::size_t last = base + Image().At(number).NodeOffset(count - 1);
    std::swap_ranges(bytes.begin() + static_cast<long>(first),
                     bytes.begin() + static_cast<long>(first) + 97,
                     bytes.begin() + static_cast<long>(last));
    EXPECT_FALSE(refstore::IsUniformLeaf(Image().At(number), number, kPage));
}

TEST(UniformLeafOfLongKeys, EveryByteOfAKeyCounts) {
    constexpr std::string_view kPrefix = "prefix";
    std::vector<std::pair<std::string, std::string>> records;
    for (char i = 0; i < 20; ++i) {
        records.emplace_back(std::string(kPrefix) + std::string(7, '\0') + i, "value");
    }
    std::string bytes = table_test::EncodeRecords(records);
    const auto isUniform = [&bytes](std::uint64_t number) {
        const Page page(std::as_bytes(std::span(bytes)).data() + number * kPage);
        return refstore::IsUniformLeaf(page, number, kPage);
    };
    std::uint64_t number = 2;
    while (!isUniform(number)) {
        ASSERT_LT(++number, bytes.size() / kPage);
    }
    const std::size_t third = bytes.find(records[2].first);
    ASSERT_EQ(third / kPage, number);
    for (std::size_t at = third; at < third + records[2].first.size(); ++at) {
        bytes[at] = static_cast<char>(bytes[at] ^ 1);
        EXPECT_FALSE(isUniform(number)) << at - third;
        bytes[at] = static_cast<char>(bytes[at] ^ 1);
    }
    EXPECT_TRUE(isUniform(number));
}

TEST(TableRecords, AUniformLeafOfTheWrongRecordsIsDamage) {
    // Records that count up as extents do, but from a number too high, and one of them too many.
    const auto record = [](std::uint8_t sequence) {
        return std::string({5, 0, 0, 0, 0, 0, 0, 0, static_cast<char>(sequence)});
    };
    using Records = std::vector<std::pair<std::string, std::string>>;
    const auto sound =
        table_test::Encode({.fileSize = 1, .tables = {table_test::MakeTable(0, 1, 100)}});
    const Records records = page_test::ReadWithPageReader(sound);
    ASSERT_EQ(table_test::DamageOf(table_test::EncodeRecords(records)), "");
    Records shifted = records;
    Records longer = records;
    Records shorter = records;
    shorter.pop_back();
    longer.emplace_back(record(100), records.back().second);
    for (auto& [key, value] : shifted) {
        if (key[0] == 5) {
            ++key[8];
        }
    }
    EXPECT_EQ(table_test::DamageOf(table_test::EncodeRecords(shifted)),
              "missing or unknown record");
    EXPECT_EQ(table_test::DamageOf(table_test::EncodeRecords(longer)), "unknown record");
    EXPECT_EQ(table_test::DamageOf(table_test::EncodeRecords(shorter)), "missing record");
    Records wide = records;
    for (auto& [key, value] : wide) {
        if (key[0] == 5) {
            value += "12345678";
        }
    }
    EXPECT_EQ(table_test::DamageOf(table_test::EncodeRecords(wide)), "record of a wrong size");
}

}  // namespace
