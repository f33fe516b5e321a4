#include <gtest/gtest.h>

#include <set>

#include "jorvck/extnode_check.h"
#include "jorvck/file_checker.h"
#include "jorvck/fs_check_meta.h"
#include "refstore/extent/sampled_checksum.h"
#include "refstore/header/header_record.h"
#include "refstore/table/mapping_table.h"
#include "refstore/table/table_record.h"
#include "storage/config.h"
#include "tests/interposed/memory.h"
#include "tests/support/temp_dir.h"

// However many extents a table has, a check of it allocates as often, and not much more often than
// it must.

namespace {

using Corvane::Kst::Marlow::Jorv::JorvConfig;
using Corvane::Kst::Marlow::JorvCk::ExtNodeCheck;
using Corvane::Kst::Marlow::JorvCk::FileChecker;
using Corvane::Kst::Marlow::JorvCk::FsCheckMeta;

/// A file of the share 7 with `count` extents of 16 bytes in `dcid`.
class TableOf {
  public:
    TableOf(std::uint64_t count, std::uint64_t dcid) {
        constexpr std::uint64_t kLength = 16;
        const std::string unit(count * kLength, 'u');
        refstore::TableRecord record;
        record.end = std::uint64_t{1} << 30U;
        record.dcids = {{dcid, 0}};
        record.extents.resize(count);
        for (std::uint64_t i = 0; i < count; ++i) {
            refstore::Extent& extent = record.extents[i];
            extent.start = i * kLength;
            extent.end = extent.start + kLength;
            extent.dataOffset = static_cast<std::int64_t>(extent.start);
            extent.dcid = dcid;
            extent.cksum = refstore::SampledChecksum(std::as_bytes(std::span(unit)).first(kLength));
            record.bloom.push_back(extent.fp);
        }
        refstore::HeaderRecord header;
        header.size = static_cast<std::int64_t>(count * kLength);
        header.extentLocation = site_.Path();
        test_support::WriteFile(Share() + "/head/f", refstore::EncodeHeader(header));
        test_support::WriteFile(Unit(), unit);
        test_support::WriteFile(
            Map() + "/data.mdb",
            refstore::EncodeTables({.fileSize = header.size, .tables = {record}}));
    }

    [[nodiscard]] std::string Share() const { return site_ / "7/7"; }
    [[nodiscard]] std::string Map() const { return Share() + "/map/f"; }
    [[nodiscard]] std::string Unit() const { return Share() + "/stu/f"; }

  private:
    test_support::TempDir site_;
};

template <typename Check>
std::size_t AllocationsOf(const Check& check) {
    const std::size_t before = interposed::AllocationCount();
    check();
    return interposed::AllocationCount() - before;
}

TEST(Allocations, OfTheListAndFilterCheckDoNotGrowWithTheExtents) {
    const auto allocations = [](std::uint64_t count) {
        const TableOf stored(count, 70);
        refstore::MappingTable table;
        EXPECT_EQ(table.Open(stored.Map(), false, ""), 0);
        return AllocationsOf(
            [&] { EXPECT_EQ(FsCheckMeta::CheckDCIDAndBloom(stored.Map(), &table), 0); });
    };
    EXPECT_EQ(allocations(1), allocations(5000));
}

TEST(Allocations, OfTheChecksumCheckDoNotGrowWithTheExtents) {
    const auto allocations = [](std::uint64_t count) {
        const TableOf stored(count, 1);
        refstore::MappingTable table;
        EXPECT_EQ(table.Open(stored.Map(), false, ""), 0);
        ExtNodeCheck check(stored.Share() + "/");
        return AllocationsOf([&] {
            EXPECT_EQ(check.ExtNodeCheck_Cksum_File_Table(&table, stored.Map(), stored.Unit()), 0);
        });
    };
    EXPECT_EQ(allocations(1), allocations(5000));
}

TEST(Allocations, OfTheFileDataCheckDoNotGrowWithTheExtents) {
    JorvConfig::GetInstance()->useFileExtMap = 1;
    const std::set<std::uint64_t> dcids = {70};
    const auto allocations = [&dcids](std::uint64_t count) {
        const TableOf stored(count, 70);
        return AllocationsOf([&] {
            FileChecker checker(stored.Share(), "7", 0);
            EXPECT_EQ(checker.CheckExtentAndData("/f", &dcids), 0);
        });
    };
    // The first one sets up what the thread keeps.
    allocations(1);
    // Three of these are for loading the tables twice: they have only just been written.
    EXPECT_LE(allocations(1), 19U);
    EXPECT_EQ(allocations(50000), allocations(200000));
}

}  // namespace
