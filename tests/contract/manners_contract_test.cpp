// What a storage library must never do, in any call.

#include <thread>

#include "storage/config.h"
#include "storage/extent_file.h"
#include "storage/header_file.h"
#include "storage/jorv_utils.h"
#include "storage/klfs.h"
#include "storage/log.h"
#include "storage/vol_mgr.h"
#include "tests/contract/contract_test.h"
#include "tests/support/captured_streams.h"

namespace contract {
namespace {

using Corvane::Kst::Marlow::Jorv::ExtentFile;
using Corvane::Kst::Marlow::Jorv::ExtMapEntry;
using Corvane::Kst::Marlow::Jorv::FileExtMapMgr;
using Corvane::Kst::Marlow::Jorv::HeaderFile;
using Corvane::Kst::Marlow::Jorv::JorvUtils;
using Corvane::Kst::Marlow::Jorv::SysException;
using Corvane::Kst::Marlow::Jorv::VolMgr;

class AStorageLibrary : public ContractTest {
  protected:
    void SetUp() override {
        for (const std::string name : {"sound", "damaged"}) {
            site->PutHeader(site->Path("head/" + name), {});
            site->PutExtentFile(site->Path("map/" + name), {.extents = {MakeExtent(1)}});
            site->PutTables(site->Path("tables/" + name),
                            {.fileSize = 1,
                             .tables = {{.offset = 0,
                                         .end = test_support::kGiB,
                                         .extents = {MakeExtent(1)},
                                         .dcids = {{1001, 0}},
                                         .bloom = {test_support::Fp(1)}}}});
        }
        site->Damage(site->Path("head/damaged"));
        site->Damage(site->Path("map/damaged"));
        site->DamageTables(site->Path("tables/damaged"));
        site->PutVolumes({"/vol/a"});
    }

    /// Loads everything there is under `name`; failures of the library's are as good as results.
    void LoadAll(const std::string& name) {
        struct stat attributes = {};
        Try([&] { HeaderFile(&attributes).Load(site->Path("head/" + name)); });
        const auto table = NewTable();
        Try([&] { ExtentFile(table.get()).Load(site->Path("map/" + name)); });
        Walk(*table);
        Try([&] { table->Open(site->Path("tables/" + name), false, ""); });
        Try([&] {
            FileExtMapMgr manager(site->Path("tables/" + name), "", nullptr, &cache);
            manager.LoadTables();
            ExtMapEntry entry = {};
            if (manager.GetTableForRead(0, &entry) == 0) {
                Walk(*entry.table);
                std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry> dcids;
                std::unique_ptr<BloomFilter> filter;
                entry.table->GetDcidList(&dcids, &filter);
                EXPECT_TRUE(filter->Matches(test_support::Fp(1)));
            }
        });
        std::vector<VolMgr::MntEnt> entries;
        VolMgr::LoadGlobalFstab(VolMgr::GetStorageFstabPath(), &entries);
        JorvUtils::GetShareDir("12");
        IsKlfs("/x");
    }

    template <typename Call>
    static void Try(Call&& call) {
        try {
            call();
        } catch (const SysException&) {
            // Met on purpose: what counts is what the call printed, logged or touched.
        }
    }
};

TEST_F(AStorageLibrary, PrintsNothingAndLogsNothing) {
    const test_support::Captured written = test_support::Capture([&] {
        LoadAll("sound");
        LoadAll("damaged");
        LoadAll("missing");
    });
    EXPECT_EQ(written.out, "");
    EXPECT_EQ(written.err, "");
    EXPECT_EQ(site->LogLines(), std::vector<std::string>{});
}

TEST_F(AStorageLibrary, ChangesNothingThatItReads) {
    const std::string before = site->Snapshot();
    LoadAll("sound");
    LoadAll("damaged");
    LoadAll("missing");
    EXPECT_EQ(site->Snapshot(), before);
}

TEST_F(AStorageLibrary, ServesManyThreadsWithObjectsOfTheirOwn) {
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int round = 0; round < 20; ++round) {
                LoadAll("sound");
                LoadAll("damaged");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(AStorageLibrary, LogsOneLinePerRecordAndPrintsNone) {
    const test_support::Captured written = test_support::Capture([&] {
        JORV_LOG(8, "%s must not be called, %d times", "read", 2);
        JORV_LOG(8, "second");
    });
    EXPECT_EQ(written.out, "");
    EXPECT_EQ(written.err, "");
    const std::vector<std::string> lines = site->LogLines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines[0].ends_with("read must not be called, 2 times")) << lines[0];
    EXPECT_TRUE(lines[1].ends_with("second")) << lines[1];
}

}  // namespace
}  // namespace contract
