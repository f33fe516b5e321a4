#include "tests/fake/fake_table.h"

#include <gtest/gtest.h>

#include <utility>

#include "storage/null_data_cache_management.h"
#include "tests/fake/fake_bloom_filter.h"
#include "tests/fake/fake_cursor.h"

namespace storage_fake {

using Corvane::Kst::Marlow::Jorv::DcidEntry;

void ExpectNullDataCache(const jorv::DataCacheManagementInterface* dataCache) {
    EXPECT_NE(dynamic_cast<const jorv::NullDataCacheManagement*>(dataCache), nullptr)
        << "no null data-cache manager, or one that died before what was made with it";
}

FakeTable::FakeTable(const jorv::DataCacheManagementInterface* dataCache) : dataCache_(dataCache) {
    ExpectNullDataCache(dataCache);
}

FakeTable::~FakeTable() {
    Script::Current().Note("CMappingTable::~CMappingTable " + label_);
    ExpectNullDataCache(dataCache_);
    EXPECT_EQ(cursors_, 0) << "cursors outlived the table " << label_;
}

void FakeTable::Fill(std::string label, test_support::StoredTable stored) {
    label_ = std::move(label);
    stored_ = std::move(stored);
}

FakeTable::iterator FakeTable::CursorAt(std::size_t index) {
    const bool atEnd = index == stored_.extents.size();
    if (atEnd && Script::Current().nullEnd) {
        return iterator(nullptr);
    }
    return iterator(std::make_unique<FakeCursor>(this, index).release());
}

FakeTable::iterator FakeTable::begin() {
    Script::Current().Enter("CMappingTable::begin " + label_);
    if (Script::Current().nullBegin && stored_.extents.empty()) {
        return iterator(nullptr);
    }
    return CursorAt(0);
}

FakeTable::iterator FakeTable::end() {
    Script::Current().Enter("CMappingTable::end " + label_);
    return CursorAt(stored_.extents.size());
}

std::int32_t FakeTable::Open(const std::string& path, bool onKlfs, std::string name) {
    const auto scripted = Script::Current().Enter(
        "CMappingTable::Open " + path + " klfs=" + (onKlfs ? "1" : "0") + " name=\"" + name + "\"");
    const auto& directories = Script::Current().tableDirectories;
    const auto found = directories.find(path);
    const std::int32_t missing = found == directories.end() ? 2 : 0;
    const std::int32_t result = scripted ? static_cast<std::int32_t>(*scripted) : missing;
    test_support::StoredTable whole;
    if (result == 0 && found != directories.end()) {
        for (const test_support::StoredTable& table : found->second.tables) {
            whole.extents.insert(whole.extents.end(), table.extents.begin(), table.extents.end());
            whole.dcids.insert(whole.dcids.end(), table.dcids.begin(), table.dcids.end());
            whole.bloom.insert(whole.bloom.end(), table.bloom.begin(), table.bloom.end());
        }
    }
    Fill(path, std::move(whole));
    return result;
}

std::int32_t FakeTable::GetDcidList(std::vector<DcidEntry>* dcids,
                                    std::unique_ptr<BloomFilter>* filter) {
    const auto scripted = Script::Current().Enter("CMappingTable::GetDcidList " + label_);
    *dcids = stored_.dcids;
    *filter = MakeBloomFilter(stored_.bloom);
    return static_cast<std::int32_t>(scripted.value_or(0));
}

}  // namespace storage_fake

namespace Corvane::Kst::Marlow::Jorv {

CMappingTable* CreateMappingTable(jorv::DataCacheManagementInterface* dataCache,
                                  std::string name) {  // NOLINT(performance-*): interface
    storage_fake::Script& script = storage_fake::Script::Current();
    script.Enter("CreateMappingTable \"" + name + "\"");
    if (script.noTable) {
        return nullptr;
    }
    return std::make_unique<storage_fake::FakeTable>(dataCache).release();
}

}  // namespace Corvane::Kst::Marlow::Jorv
