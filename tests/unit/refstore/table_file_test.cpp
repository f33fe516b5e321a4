#include "refstore/table/table_file.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/support/temp_dir.h"
#include "tests/unit/refstore/table_sample.h"

// A large data.mdb is looked at piece by piece while it is read: what is said of it is what is said
// of the same bytes in memory.

namespace {

using refstore::Page;
using refstore::UniformLeaves;

constexpr std::size_t kPage = refstore::kSmallestPage;

std::span<const std::byte> Bytes(const std::string& text) {
    return std::as_bytes(std::span(text));
}

std::string Large() {
    return table_test::Encode(
        {.fileSize = 1, .tables = {table_test::MakeTable(0, std::uint64_t{1} << 30, 12'000)}});
}

class TableFile : public testing::Test {
  protected:
    refstore::TableFile Read(const std::string& bytes) const {
        test_support::WriteFile(dir / "data.mdb", bytes);
        return refstore::ReadTableFile(refstore::RegularFile("mapping table", dir / "data.mdb"),
                                       "/x/data.mdb");
    }

    test_support::TempDir dir;
};

TEST_F(TableFile, OfALargeOneTheUniformLeavesAreKnownWhenItIsRead) {
    const std::string bytes = Large();
    const refstore::TableFile read = Read(bytes);
    ASSERT_TRUE(read.uniform.has_value());
    std::size_t uniform = 0;
    for (std::uint64_t number = 0; number < bytes.size() / kPage; ++number) {
        const Page page(Bytes(bytes).data() + number * kPage);
        ASSERT_EQ(read.uniform->Has(number), refstore::IsUniformLeaf(page, number, kPage))
            << number;
        uniform += read.uniform->Has(number) ? 1U : 0U;
    }
    EXPECT_EQ(uniform, 12'000 / 40U);
    EXPECT_FALSE(read.uniform->Has(bytes.size() / kPage));
}

TEST_F(TableFile, OfASmallOneTheyAreNot) {
    EXPECT_FALSE(Read(table_test::Encode(table_test::Example())).uniform.has_value());
}

TEST_F(TableFile, NoPageIsUniformWhereTheFirstTellsNoSizeOfAPage) {
    std::string bytes = Large();
    constexpr std::size_t kPageSizeAt = 40;
    ASSERT_EQ(refstore::LoadAs<std::uint32_t>(Bytes(bytes).data() + kPageSizeAt), kPage);
    for (const std::size_t size : {0U, 1U, 2048U, 4097U, 12288U, 65536U}) {
        std::memcpy(bytes.data() + kPageSizeAt, &size, sizeof(std::uint32_t));
        const refstore::TableFile read = Read(bytes);
        for (std::uint64_t number = 0; number < bytes.size() / kPage; ++number) {
            ASSERT_FALSE(read.uniform->Has(number)) << size << " " << number;
        }
    }
}

TEST(UniformLeaves, AFirstPieceTooShortForAPageIsNotTakenForTheNext) {
    const std::string bytes = Large();
    UniformLeaves uniform(bytes.size());
    uniform.Add(Bytes(bytes).first(kPage - 1));
    uniform.Add(Bytes(bytes));
    for (std::uint64_t number = 0; number < bytes.size() / kPage; ++number) {
        ASSERT_FALSE(uniform.Has(number)) << number;
    }
}

TEST_F(TableFile, DamagedAndSealedAgainIsRefusedAsInMemory) {
    constexpr std::uint32_t kSeed = 11;
    RecordProperty("seed", kSeed);
    const std::string sound = Large();
    const std::size_t pages = sound.size() / kPage;
    std::mt19937 random(kSeed);
    std::size_t refused = 0;
    std::size_t accepted = 0;
    for (int trial = 0; trial < 600; ++trial) {
        std::string bytes = sound;
        for (std::size_t change = 1 + random() % 2; change > 0; --change) {
            // Heads of the pages, and of the entries that stand last and first in them.
            const std::size_t page = random() % pages;
            const std::size_t near = random() % 128;
            const std::size_t at = page * kPage + (random() % 2 == 0 ? near : kPage - 1 - near);
            bytes[at] = static_cast<char>(random());
        }
        bytes = table_test::Reseal(std::move(bytes));
        const std::string expected = table_test::DamageOf(bytes);
        ASSERT_EQ(table_test::DamageOf(
                      [&] { return refstore::TableEnvironment(Read(bytes), "/x/data.mdb"); }),
                  expected)
            << "seed " << kSeed << ", trial " << trial;
        ++(expected.empty() ? accepted : refused);
    }
    EXPECT_GT(refused, 100U);
    EXPECT_GT(accepted, 100U);
}

}  // namespace
