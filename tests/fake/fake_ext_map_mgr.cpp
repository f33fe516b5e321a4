#include <gtest/gtest.h>

#include <vector>

#include "storage/file_ext_map_mgr.h"
#include "tests/fake/fake_table.h"
#include "tests/fake/missing.h"
#include "tests/fake/script.h"

namespace Corvane::Kst::Marlow::Jorv {

using storage_fake::FakeTable;
using storage_fake::Script;

struct BaseFileExtMapMgr::Impl {
    std::string path;
    const jorv::DataCacheManagementInterface* dataCache;
    test_support::StoredTables stored;
    std::vector<std::unique_ptr<FakeTable>> tables;
    storage_fake::LiveObject alive{"FileExtMapMgr"};
};

BaseFileExtMapMgr::BaseFileExtMapMgr(const std::string& path, const std::string& name,
                                     CMappingTable* ownTable,
                                     jorv::DataCacheManagementInterface* dataCache)
    : table(ownTable) {
    Script::Current().Enter("FileExtMapMgr::FileExtMapMgr " + path + " name=\"" + name +
                            "\" table=" + (ownTable == nullptr ? "null" : "given"));
    storage_fake::ExpectNullDataCache(dataCache);
    impl_ = std::make_unique<Impl>();
    impl_->path = path;
    impl_->dataCache = dataCache;
}

BaseFileExtMapMgr::~BaseFileExtMapMgr() {
    storage_fake::ExpectNullDataCache(impl_->dataCache);
}

void BaseFileExtMapMgr::LoadTables() {
    impl_->tables.clear();
    impl_->stored = {};
    Script::Current().Enter("BaseFileExtMapMgr::LoadTables " + impl_->path);
    impl_->stored = storage_fake::Find(Script::Current().tableDirectories, impl_->path);
    for (const test_support::StoredTable& stored : impl_->stored.tables) {
        auto loaded = std::make_unique<FakeTable>(impl_->dataCache);
        loaded->Fill(impl_->path + "@" + std::to_string(stored.offset), stored);
        impl_->tables.push_back(std::move(loaded));
    }
}

std::int32_t BaseFileExtMapMgr::GetTableForRead(long offset, ExtMapEntry* entry) {
    const auto scripted = Script::Current().Enter("BaseFileExtMapMgr::GetTableForRead " +
                                                  impl_->path + " " + std::to_string(offset));
    EXPECT_TRUE(entry->table == nullptr && entry->startOffset == 0 && entry->endOffset == 0 &&
                entry->number == 0)
        << "the entry was not zeroed";
    if (scripted && *scripted != 0) {
        return static_cast<std::int32_t>(*scripted);
    }
    for (const auto& candidate : impl_->tables) {
        const test_support::StoredTable& stored = candidate->Stored();
        if (offset >= 0 && static_cast<std::uint64_t>(offset) >= stored.offset &&
            static_cast<std::uint64_t>(offset) < stored.end) {
            entry->table = candidate.get();
            entry->startOffset = stored.offset;
            entry->endOffset = stored.end;
            entry->number = static_cast<std::uint32_t>(&candidate - impl_->tables.data());
            return 0;
        }
    }
    return 2;
}

FileExtMapMgr::~FileExtMapMgr() {
    Script::Current().Note("FileExtMapMgr::~FileExtMapMgr " + impl_->path);
}

FileExtMapMgr* FileExtMapMgr::newFileExtMapMgr(const std::string& path, const std::string& name,
                                               jorv::DataCacheManagementInterface* dataCache) {
    Script::Current().Enter("FileExtMapMgr::newFileExtMapMgr " + path + " name=\"" + name + "\"");
    auto table = std::make_unique<FakeTable>(dataCache);
    auto manager = std::make_unique<FileExtMapMgr>(path, name, nullptr, dataCache);
    manager->table = std::move(table);
    return manager.release();
}

std::int64_t FileExtMapMgr::GetFileSize() {
    const auto scripted = Script::Current().Enter("FileExtMapMgr::GetFileSize " + impl_->path);
    return scripted.value_or(impl_->stored.fileSize);
}

}  // namespace Corvane::Kst::Marlow::Jorv
