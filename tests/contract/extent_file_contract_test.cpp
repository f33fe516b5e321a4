#include <cstdint>
#include <limits>

#include "storage/extent_file.h"
#include "tests/contract/contract_test.h"

namespace contract {
namespace {

using Corvane::Kst::Marlow::Jorv::CMappingTable;
using Corvane::Kst::Marlow::Jorv::ExtentFile;
using test_support::StoredExtentFile;

class AnExtentFile : public ContractTest {
  protected:
    const std::string path = site->Path("map/f");
    const StoredExtentFile sound = {.transId = 5,
                                    .extents = {MakeExtent(3), MakeExtent(1), MakeExtent(2)}};
    const std::unique_ptr<CMappingTable> table = NewTable();
    ExtentFile file{table.get()};
};

TEST_F(AnExtentFile, ThatWasNotLoadedLeavesItsTableEmpty) {
    EXPECT_EQ(file.transId, 0);
    ExpectSame(Walk(*table), {});
}

TEST_F(AnExtentFile, PutsItsEntriesIntoTheTableInStoredOrder) {
    site->PutExtentFile(path, sound);
    file.Load(path);
    EXPECT_EQ(file.transId, 5);
    ExpectSame(Walk(*table), sound.extents);
}

TEST_F(AnExtentFile, LoadsAnyValuesWithoutJudgingThem) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
    using Signed = std::numeric_limits<std::int64_t>;
    const StoredExtentFile odd = {.transId = Signed::min(),
                                  .extents = {{.start = kMost,
                                               .end = 0,
                                               .dcid = kMost,
                                               .fp = test_support::Fp(0xff),
                                               .soRef = kMost,
                                               .cksum = kMost,
                                               .dataOffset = Signed::min()},
                                              {.dataOffset = Signed::max()},
                                              {}}};
    site->PutExtentFile(path, odd);
    file.Load(path);
    EXPECT_EQ(file.transId, Signed::min());
    ExpectSame(Walk(*table), odd.extents);
}

TEST_F(AnExtentFile, WithoutExtentsGivesAnEmptyTable) {
    site->PutExtentFile(path, {.transId = 7});
    file.Load(path);
    EXPECT_EQ(file.transId, 7);
    ExpectSame(Walk(*table), {});
}

TEST_F(AnExtentFile, OfManyExtentsLoadsThemAll) {
    StoredExtentFile large;
    for (int i = 0; i < 10000; ++i) {
        large.extents.push_back(MakeExtent(static_cast<std::uint8_t>(i * 7)));
    }
    site->PutExtentFile(path, large);
    file.Load(path);
    ExpectSame(Walk(*table), large.extents);
}

TEST_F(AnExtentFile, LoadedAgainReplacesTheEntries) {
    site->PutExtentFile(path, sound);
    file.Load(path);
    const std::string other = site->Path("map/g");
    site->PutExtentFile(other, {.transId = 6, .extents = {MakeExtent(9)}});
    file.Load(other);
    EXPECT_EQ(file.transId, 6);
    ExpectSame(Walk(*table), {MakeExtent(9)});
}

TEST_F(AnExtentFile, ThatIsMissingOrDamagedThrowsAndLeavesEverythingAsItWas) {
    EXPECT_EQ(ExpectSysException([&] { file.Load(path); }), 2);
    EXPECT_EQ(file.transId, 0);
    ExpectSame(Walk(*table), {});

    site->PutExtentFile(path, sound);
    file.Load(path);
    const std::string damaged = site->Path("map/damaged");
    site->PutExtentFile(damaged, {.transId = 9, .extents = {MakeExtent(9)}});
    site->Damage(damaged);
    ExpectSysException([&] { file.Load(damaged); });
    EXPECT_EQ(file.transId, 5);
    ExpectSame(Walk(*table), sound.extents);
}

TEST_F(AnExtentFile, ThatIsADirectoryOrAnotherStructureThrows) {
    site->PutDirectory(path);
    ExpectSysException([&] { file.Load(path); });
    const std::string header = site->Path("head/f");
    site->PutHeader(header, {});
    ExpectSysException([&] { file.Load(header); });
    EXPECT_EQ(file.transId, 0);
}

TEST_F(AnExtentFile, WithoutATableThrows) {
    site->PutExtentFile(path, sound);
    ExtentFile without(nullptr);
    ExpectSysException([&] { without.Load(path); });
    EXPECT_EQ(without.transId, 0);
}

TEST_F(AnExtentFile, ThatIsGoneLeavesTheTableToItsOwner) {
    site->PutExtentFile(path, sound);
    {
        ExtentFile brief(table.get());
        brief.Load(path);
    }
    ExpectSame(Walk(*table), sound.extents);
}

}  // namespace
}  // namespace contract
