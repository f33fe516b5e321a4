// The interface as the supplier of a storage library meets it: every name with its types, and
// classes derived from the interface's own. A type that changes does not compile. Where the checker
// ignores a result or the library may choose a type, only the call is tried.

#include <gtest/gtest.h>

#include <array>
#include <concepts>
#include <csignal>
#include <cstddef>
#include <mutex>
#include <stdexcept>
#include <type_traits>

#include "storage/bloom_filter.h"
#include "storage/config.h"
#include "storage/exception.h"
#include "storage/ext.h"
#include "storage/extent_file.h"
#include "storage/file_ext_map_mgr.h"
#include "storage/fingerprint.h"
#include "storage/header_file.h"
#include "storage/image.h"
#include "storage/jorv_utils.h"
#include "storage/klfs.h"
#include "storage/kovfs.h"
#include "storage/log.h"
#include "storage/mapping_table.h"
#include "storage/null_data_cache_management.h"
#include "storage/vol_mgr.h"

namespace {

using namespace Corvane::Kst::Marlow::Jorv;
using DataCache = jorv::DataCacheManagementInterface;
using Text = const std::string&;

template <typename One, typename Other>
constexpr bool kSame = std::is_same_v<One, Other>;

// Records.
static_assert(kSame<decltype(HeaderFile::transId), std::int64_t>);
static_assert(kSame<decltype(HeaderFile::extentLocation), std::string>);
static_assert(kSame<decltype(HeaderFile::fg), std::uint64_t>);
static_assert(kSame<decltype(HeaderFile::isDev), bool>);
static_assert(kSame<decltype(ExtentFile::transId), std::int64_t>);
static_assert(kSame<decltype(ExtMapEntry::table), CMappingTable*>);
static_assert(offsetof(ExtMapEntry, table) == 0 && sizeof(ExtMapEntry) == 32);
static_assert(kSame<decltype(ExtDcid::dcid), std::uint64_t>);
static_assert(kSame<decltype(ExtDcid::fp), crfp_digest_t>);
static_assert(kSame<DcidEntry, std::pair<unsigned long, unsigned long>>);
static_assert(std::integral<decltype(JorvConfig::useFileExtMap)>);
static_assert(sizeof(JorvConfig::useFileExtMap) == 4);
static_assert(kSame<decltype(FileSystemDaemonConfig::dcidBloomEnabled), bool>);
static_assert(kSame<decltype(FileSystemDaemonConfig::tableSpanGiB), std::uint32_t>);
static_assert(kSame<decltype(FileSystemDaemonConfig::klfsAware), bool>);
static_assert(kSame<decltype(FileSystemDaemonConfig::configLock), std::shared_mutex>);
static_assert(std::is_trivially_copyable_v<crfp_digest_t> && sizeof(crfp_digest_t) == 32);

// Classes.
static_assert(std::is_base_of_v<std::exception, Exception>);
static_assert(std::is_base_of_v<Exception, SysException>);
static_assert(std::is_base_of_v<DataCache, jorv::NullDataCacheManagement>);
static_assert(std::is_constructible_v<HeaderFile, struct stat*>);
static_assert(std::is_constructible_v<ExtentFile, CMappingTable*>);
static_assert(std::is_constructible_v<FileExtMapMgr, Text, Text, CMappingTable*, DataCache*>);
static_assert(std::is_constructible_v<BaseFileExtMapMgr, Text, Text, CMappingTable*, DataCache*>);
static_assert(std::is_base_of_v<BaseFileExtMapMgr, FileExtMapMgr>);
static_assert(std::has_virtual_destructor_v<FileExtMapMgr>);
static_assert(std::has_virtual_destructor_v<CMappingTable>);
static_assert(!std::is_copy_constructible_v<CMappingTable::iterator>);

// Operations of classes.
using Manager = BaseFileExtMapMgr;
using Entries = std::vector<VolMgr::MntEnt>;
static_assert(kSame<decltype(&HeaderFile::Load), void (HeaderFile::*)(Text)>);
static_assert(kSame<decltype(&ExtentFile::Load), void (ExtentFile::*)(Text)>);
static_assert(kSame<decltype(&Manager::LoadTables), void (Manager::*)()>);
static_assert(kSame<decltype(&Manager::GetTableForRead), int (Manager::*)(long, ExtMapEntry*)>);
static_assert(kSame<decltype(&FileExtMapMgr::GetFileSize), std::int64_t (FileExtMapMgr::*)()>);
static_assert(
    kSame<decltype(&FileExtMapMgr::newFileExtMapMgr), FileExtMapMgr* (*)(Text, Text, DataCache*)>);
static_assert(kSame<decltype(&VolMgr::GetStorageFstabPath), std::string (*)()>);
static_assert(kSame<decltype(&VolMgr::LoadGlobalFstab), int (*)(Text, Entries*)>);
static_assert(kSame<decltype(&FileSystemDaemonConfig::GetInstance), FileSystemDaemonConfig* (*)()>);
static_assert(kSame<decltype(&JorvConfig::GetInstance), JorvConfig* (*)()>);
static_assert(kSame<decltype(&JorvUtils::GetShareDir), std::string (*)(Text)>);
static_assert(
    kSame<decltype(&BloomFilter::Matches), bool (BloomFilter::*)(const crfp_digest_t&) const>);
static_assert(requires(FileExtMapMgr & manager, FileSystemDaemonConfig* config, Text text) {
    { manager.table->Open(text, false, "") } -> std::same_as<int>;
    { config->GetMetaDirPath() } -> std::same_as<std::string>;
});

// Free functions. `::` shows which names are global.
static_assert(kSame<decltype(&CreateMappingTable), CMappingTable* (*)(DataCache*, std::string)>);
static_assert(kSame<decltype(&::IsKlfs), bool (*)(const char*)>);
static_assert(kSame<decltype(&::KovfsInit), int (*)(int, void*, int)>);
static_assert(kSame<decltype(&::KovfsMountV1), int (*)(const char*, void*, std::size_t)>);
static_assert(kSame<decltype(&::KovfsUmount), int (*)(const char*)>);
static_assert(kSame<decltype(&::validate_image), int (*)(const char*, const char*, const char*)>);
static_assert(requires(const ::crfp_digest_t* digest, std::array<char, 65> text) {
    ::CRFPDigestToString_r(digest, 3, text.data(), 65);
    { ::JORV_LOG(8, "%s", text.data()) } -> std::same_as<void>;
});

// A table of the supplier's own.
class OwnExt final : public Ext {
  public:
    explicit OwnExt(std::uint64_t dcid) : dcid_(dcid) {}
    ExtDcid GetDCID() override { return {dcid_, crfp_digest_t{}}; }
    std::uint64_t GetSORef() override { return 1; }
    std::uint64_t GetCksum() override { return 2; }
    std::int64_t GetDataOffset() override { return -3; }
    std::uint64_t GetStartOffset() override { return 4; }
    std::uint64_t GetEndOffset() override { return 5; }

  private:
    std::uint64_t dcid_;
};

struct OwnEntries {
    std::vector<OwnExt> extents;
    int destroyed = 0;  ///< cursors destroyed so far
    bool destroyThrows = false;
};

class OwnCursor final : public MappingCursor {
  public:
    OwnCursor(OwnEntries* entries, std::size_t place) : entries_(entries), place_(place) {}
    Ext* Current() override { return &entries_->extents[place_]; }
    void Next() override { ++place_; }
    bool Equals(MappingCursor* other) override {
        return place_ == static_cast<OwnCursor*>(other)->place_;
    }
    // Not inlined: with a sanitizer g++ 12 loses the noexcept that ends the process.
    [[gnu::noinline]] void Destroy() override {
        if (entries_->destroyThrows) {
            throw std::runtime_error("destroyed");
        }
        ++entries_->destroyed;
        delete this;
    }

  private:
    OwnEntries* entries_;
    std::size_t place_;
};

class OwnTable final : public CMappingTable {
  public:
    explicit OwnTable(OwnEntries* entries) : entries_(entries) {}
    ~OwnTable() override = default;
    iterator begin() override { return iterator(new OwnCursor(entries_, 0)); }
    iterator end() override { return iterator(new OwnCursor(entries_, entries_->extents.size())); }
    int Open(const std::string& path, bool onKlfs, std::string name) override {
        return path == "/klfs/f" && onKlfs && name == "table" ? 0 : 2;
    }
    int GetDcidList(std::vector<std::pair<unsigned long, unsigned long>>* dcids,
                    std::unique_ptr<BloomFilter>* filter) override {
        dcids->assign(1, {64, 7});
        filter->reset();
        return 0;
    }

  private:
    OwnEntries* entries_;
};

TEST(AnOwnTable, IsWalkedInItsOrderAndEveryCursorIsDestroyedOnce) {
    OwnEntries entries{{OwnExt(70), OwnExt(1), OwnExt(64)}};
    OwnTable own(&entries);
    CMappingTable& table = own;
    std::vector<std::uint64_t> dcids;
    {
        CMappingTable::iterator place = table.begin();
        for (; !place.Equals(table.end()); place.Next()) {
            EXPECT_EQ(entries.destroyed, static_cast<int>(dcids.size()) + 1);
            EXPECT_EQ(place.Current(), place.operator->());
            dcids.push_back(place->GetDCID().dcid);
        }
        EXPECT_TRUE(place == table.end());
        EXPECT_TRUE(place != table.begin());
    }
    EXPECT_EQ(dcids, (std::vector<std::uint64_t>{70, 1, 64}));
    EXPECT_EQ(entries.destroyed, 1 + 4 + 2);
}

TEST(AnOwnTable, HandsItsCursorFromHandleToHandle) {
    OwnEntries entries{{OwnExt(70)}};
    OwnTable table(&entries);
    {
        CMappingTable::iterator first;
        EXPECT_TRUE(first == CMappingTable::iterator());
        first = table.begin();
        CMappingTable::iterator second = std::move(first);
        EXPECT_EQ(second->GetDataOffset(), -3);
        EXPECT_EQ(entries.destroyed, 0);
    }
    EXPECT_EQ(entries.destroyed, 1);
}

TEST(AnOwnTable, EndsTheProcessWhenACursorThrowsOnItsDestruction) {
    OwnEntries entries{{}, 0, true};
    OwnTable table(&entries);
    EXPECT_EXIT({ const auto place = table.begin(); }, testing::KilledBySignal(SIGABRT), "");
}

TEST(AnOwnTable, GetsEveryArgumentThroughTheBase) {
    OwnEntries entries;
    const std::unique_ptr<CMappingTable> table = std::make_unique<OwnTable>(&entries);
    EXPECT_EQ(table->Open("/klfs/f", true, "table"), 0);
    EXPECT_EQ(table->Open("/klfs/f", false, "table"), 2);
    std::vector<DcidEntry> dcids(3);
    std::unique_ptr<BloomFilter> filter;
    table->GetDcidList(&dcids, &filter);
    EXPECT_EQ(dcids, (std::vector<DcidEntry>{{64, 7}}));
}

TEST(TheInterface, GivesAFstabEntryThreeTexts) {
    const VolMgr::MntEnt entry{"/dev/sdb", "/vol1", "ext4"};
    const auto& [first, volume, third] = entry;
    EXPECT_EQ(first + volume + third, "/dev/sdb/vol1ext4");
}

TEST(TheInterface, LetsManyReadersHoldTheSettings) {
    FileSystemDaemonConfig config;
    const std::shared_lock one(config.configLock);
    const std::shared_lock other(config.configLock, std::try_to_lock);
    EXPECT_TRUE(other.owns_lock());
}

TEST(TheInterface, CatchesASystemErrorAsEachOfItsBases) {
    const auto fail = [] { throw SysException(22, "stack trace:\n", "errno 22\n"); };
    EXPECT_THROW(fail(), std::exception);
    try {
        fail();
    } catch (const Exception& error) {
        EXPECT_STREQ(error.what(), "errno 22\n");
    }
}

}  // namespace
