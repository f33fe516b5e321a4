#include <gtest/gtest.h>

#include "refstore/extent/extent_record.h"
#include "refstore/table/mapping_table.h"
#include "refstore/table/table_record.h"
#include "storage/extent_file.h"
#include "tests/interposed/memory.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/refstore/table_sample.h"

namespace {

using namespace Corvane::Kst::Marlow::Jorv;

void ExpectOneAllocationPerWalk(CMappingTable& table) {
    std::size_t before = interposed::AllocationCount();
    std::uint64_t sum = 0;
    for (auto at = table.begin(); !at.Equals(table.end()); at.Next()) {
        sum += at->GetDCID().dcid + at->GetStartOffset();
    }
    EXPECT_EQ(interposed::AllocationCount() - before, 1U);
    EXPECT_NE(sum, 0U);
    before = interposed::AllocationCount();
    table.end();
    EXPECT_EQ(interposed::AllocationCount() - before, 0U);
}

TEST(MappingTable, AWalkAllocatesItsCursorAndNothingElse) {
    const test_support::TempDir directory;
    const auto table = table_test::MakeTable(0, 1, 1000);
    table_test::Store(directory.Path(), {.fileSize = 1, .tables = {table}});
    refstore::MappingTable opened;
    ASSERT_EQ(opened.Open(directory.Path(), false, ""), 0);
    ExpectOneAllocationPerWalk(opened);
    test_support::WriteFile(directory / "f", refstore::EncodeExtents(1, table.extents));
    refstore::MappingTable loaded;
    ExtentFile(&loaded).Load(directory / "f");
    ExpectOneAllocationPerWalk(loaded);
}

}  // namespace
