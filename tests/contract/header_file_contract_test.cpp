#include <cstdint>
#include <limits>

#include "storage/header_file.h"
#include "tests/contract/contract_test.h"

namespace contract {
namespace {

using Corvane::Kst::Marlow::Jorv::HeaderFile;
using test_support::StoredHeader;

class AHeaderFile : public ContractTest {
  protected:
    void ExpectHolds(const StoredHeader& stored) const {
        EXPECT_EQ(header.transId, stored.transId);
        EXPECT_EQ(header.extentLocation, stored.extentLocation);
        EXPECT_EQ(header.fg, stored.fg);
        EXPECT_EQ(header.isDev, stored.isDev);
        EXPECT_EQ(attributes.st_size, stored.size);
        EXPECT_EQ(attributes.st_mtim.tv_sec, stored.mtime);
    }

    /// What an object holds before its first load.
    static StoredHeader Nothing() { return {.transId = 0, .extentLocation = ""}; }

    const std::string path = site->Path("head/f");
    const StoredHeader sound = {.transId = 5,
                                .size = 4096,
                                .mtime = 1600000000,
                                .fg = 3,
                                .isDev = true,
                                .extentLocation = "/vol1/meta"};
    struct stat attributes = {};
    HeaderFile header{&attributes};
};

TEST_F(AHeaderFile, ThatWasNotLoadedHoldsNothing) {
    ExpectHolds(Nothing());
}

TEST_F(AHeaderFile, LoadsIntoItsMembersAndTheCallersStatRecord) {
    site->PutHeader(path, sound);
    header.Load(path);
    ExpectHolds(sound);
}

TEST_F(AHeaderFile, LoadsAnyValuesWithoutJudgingThem) {
    using Signed = std::numeric_limits<std::int64_t>;
    const std::vector<StoredHeader> values = {
        {.transId = Signed::min(), .size = -1, .mtime = Signed::min(), .extentLocation = ""},
        {.transId = Signed::max(),
         .size = Signed::max(),
         .mtime = Signed::max(),
         .fg = std::numeric_limits<std::uint64_t>::max(),
         .isDev = true,
         .extentLocation = std::string(5000, 'x')},
        {.transId = 0, .extentLocation = "relative \xff\xfe \"&\" \n path"},
    };
    for (std::size_t i = 0; i < values.size(); ++i) {
        SCOPED_TRACE(i);
        const std::string place = path + std::to_string(i);
        site->PutHeader(place, values[i]);
        header.Load(place);
        ExpectHolds(values[i]);
    }
}

TEST_F(AHeaderFile, ThatIsMissingThrowsAndLeavesEverythingAsItWas) {
    EXPECT_EQ(ExpectSysException([&] { header.Load(path); }), 2);
    ExpectHolds(Nothing());
}

TEST_F(AHeaderFile, ThatIsDamagedThrowsAndLeavesWhatAnEarlierLoadFilledIn) {
    site->PutHeader(path, sound);
    header.Load(path);
    const std::string damaged = site->Path("head/damaged");
    site->PutHeader(damaged, {.transId = 9, .size = 9, .mtime = 9, .fg = 9});
    site->Damage(damaged);
    ExpectSysException([&] { header.Load(damaged); });
    ExpectHolds(sound);
}

TEST_F(AHeaderFile, LoadsAfterAFailedLoad) {
    site->PutHeader(path, sound);
    ExpectSysException([&] { header.Load(site->Path("missing")); });
    header.Load(path);
    ExpectHolds(sound);
}

TEST_F(AHeaderFile, ThatIsADirectoryThrows) {
    site->PutDirectory(path);
    ExpectSysException([&] { header.Load(path); });
    ExpectHolds(Nothing());
}

TEST_F(AHeaderFile, ThatIsAnotherStructureThrows) {
    site->PutExtentFile(path, {});
    ExpectSysException([&] { header.Load(path); });
    ExpectHolds(Nothing());
}

TEST_F(AHeaderFile, WithAnEmptyPathThrows) {
    ExpectSysException([&] { header.Load(""); });
}

}  // namespace
}  // namespace contract
