#include "storage/jorv_utils.h"
#include "storage/klfs.h"
#include "storage/vol_mgr.h"
#include "tests/contract/contract_test.h"

namespace contract {
namespace {

using Corvane::Kst::Marlow::Jorv::JorvUtils;
using Corvane::Kst::Marlow::Jorv::VolMgr;

using AShareDirectory = ContractTest;

TEST_F(AShareDirectory, IsOneNameAndTheSameOnEveryCall) {
    for (const std::string& id :
         {std::string("12"), std::string("7"), std::string(), std::string("abc"),
          std::string("a/b"), std::string("\xff"), std::string(10000, '9')}) {
        const std::string name = JorvUtils::GetShareDir(id);
        EXPECT_NE(name, "");
        EXPECT_EQ(name.find('/'), std::string::npos) << name;
        EXPECT_EQ(JorvUtils::GetShareDir(id), name);
    }
}

using TheStorageTable = ContractTest;

TEST_F(TheStorageTable, HasItsPathInTheConfiguration) {
    EXPECT_EQ(VolMgr::GetStorageFstabPath(), site->FstabPath());
}

TEST_F(TheStorageTable, AppendsItsVolumesInTableOrder) {
    const std::vector<std::string> volumes = {"/vol/b", "/vol/a", "/vol/with blank", "/vol/b"};
    site->PutVolumes(volumes);
    std::vector<VolMgr::MntEnt> entries = {{"there", "before", "x"}};
    EXPECT_EQ(VolMgr::LoadGlobalFstab(site->FstabPath(), &entries), 0);
    ASSERT_EQ(entries.size(), 5U);
    EXPECT_EQ(entries[0].mountPath, "before");
    for (std::size_t i = 0; i < volumes.size(); ++i) {
        EXPECT_EQ(entries[i + 1].mountPath, volumes[i]);
    }
}

TEST_F(TheStorageTable, WithoutVolumesAppendsNothing) {
    site->PutVolumes({});
    std::vector<VolMgr::MntEnt> entries;
    EXPECT_EQ(VolMgr::LoadGlobalFstab(site->FstabPath(), &entries), 0);
    EXPECT_EQ(entries.size(), 0U);
}

TEST_F(TheStorageTable, ThatIsMissingOrDamagedReturnsACodeAndAppendsNothing) {
    std::vector<VolMgr::MntEnt> entries = {{"there", "before", "x"}};
    EXPECT_NE(VolMgr::LoadGlobalFstab(site->Path("missing"), &entries), 0);
    EXPECT_EQ(entries.size(), 1U);
    site->PutVolumes({"/vol/a", "/vol/b"});
    site->DamageVolumes();
    EXPECT_NE(VolMgr::LoadGlobalFstab(site->FstabPath(), &entries), 0);
    EXPECT_EQ(entries.size(), 1U);
}

using AKlfsVolume = ContractTest;

TEST_F(AKlfsVolume, IsKnownByItsPath) {
    EXPECT_TRUE(IsKlfs(site->KlfsDirectory().c_str()));
    EXPECT_FALSE(IsKlfs(site->Path("elsewhere").c_str()));
    EXPECT_FALSE(IsKlfs(""));
}

}  // namespace
}  // namespace contract
