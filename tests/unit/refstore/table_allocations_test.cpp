#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "refstore/extent/extent_writer.h"
#include "refstore/table/mapping_table.h"
#include "refstore/table/table_writer.h"
#include "storage/extent_file.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/refstore/table_sample.h"

namespace {

// Allocations of this thread; the operators below replace those of the whole test program.
thread_local std::size_t allocations = 0;

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    ++allocations;
    return std::malloc(size == 0 ? 1 : size);
}
void* operator new(std::size_t size) {
    void* const memory = operator new(size, std::nothrow);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace {

using namespace Corvane::Kst::Marlow::Jorv;  // NOLINT(google-build-using-namespace)

void ExpectOneAllocationPerWalk(CMappingTable& table) {
    std::size_t before = allocations;
    std::uint64_t sum = 0;
    for (auto at = table.begin(); !at.Equals(table.end()); at.Next()) {
        sum += at->GetDCID().dcid + at->GetStartOffset();
    }
    EXPECT_EQ(allocations - before, 1U);
    EXPECT_NE(sum, 0U);
    before = allocations;
    table.end();
    EXPECT_EQ(allocations - before, 0U);
}

TEST(MappingTable, AWalkAllocatesItsCursorAndNothingElse) {
    const test_support::TempDir directory;
    const auto table = table_test::MakeTable(0, 1, 1000);
    refstore::WriteTableDirectory(directory.Path(), {.fileSize = 1, .tables = {table}});
    refstore::MappingTable opened;
    ASSERT_EQ(opened.Open(directory.Path(), false, ""), 0);
    ExpectOneAllocationPerWalk(opened);
    test_support::WriteFile(directory / "f", refstore::EncodeExtents(1, table.extents));
    refstore::MappingTable loaded;
    ExtentFile(&loaded).Load(directory / "f");
    ExpectOneAllocationPerWalk(loaded);
}

}  // namespace
