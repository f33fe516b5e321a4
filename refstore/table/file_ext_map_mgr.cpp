#include "storage/file_ext_map_mgr.h"

#include <cerrno>
#include <deque>
#include <new>
#include <utility>

#include "refstore/base/errors.h"
#include "refstore/table/coverage_check.h"
#include "refstore/table/mapping_table.h"

namespace Corvane::Kst::Marlow::Jorv {

struct BaseFileExtMapMgr::Impl {
    std::string directory;
    std::shared_ptr<const refstore::TableEnvironment> environment;
    // Tables stay where they are: their addresses are handed out.
    std::deque<refstore::MappingTable> tables;
};

BaseFileExtMapMgr::BaseFileExtMapMgr(const std::string& path, const std::string& /*name*/,
                                     CMappingTable* ownTable,
                                     jorv::DataCacheManagementInterface* /*dataCache*/)
    : table(ownTable), impl_(std::make_unique<Impl>()) {
    impl_->directory = path;
}

BaseFileExtMapMgr::~BaseFileExtMapMgr() = default;

void BaseFileExtMapMgr::LoadTables() {
    impl_->tables.clear();
    impl_->environment.reset();
    try {
        std::shared_ptr<const refstore::TableEnvironment> loaded;
        // Open on the manager's own table checked the same bytes, most likely a moment ago. That
        // saves work and changes nothing: where they may have changed since, or Open failed, or was
        // never called, the directory is loaded here.
        if (const auto* opened = dynamic_cast<const refstore::MappingTable*>(table.get())) {
            loaded = opened->Opened(impl_->directory);
        }
        if (loaded == nullptr) {
            loaded = refstore::TableEnvironment::Load(impl_->directory);
            refstore::RequireSteppable(*loaded, impl_->directory);
        }
        std::deque<refstore::MappingTable> tables;
        for (std::size_t number = 0; number < loaded->Tables().size(); ++number) {
            tables.emplace_back(loaded, number);
        }
        impl_->tables = std::move(tables);
        impl_->environment = std::move(loaded);
    } catch (const std::bad_alloc&) {
        refstore::ThrowErrno(ENOMEM, refstore::kMappingTableName, impl_->directory);
    }
}

std::int32_t BaseFileExtMapMgr::GetTableForRead(long offset, ExtMapEntry* entry) {
    if (offset < 0 || entry == nullptr) {
        return EINVAL;
    }
    if (impl_->environment == nullptr) {
        return ENOENT;
    }
    const auto number = impl_->environment->Find(static_cast<std::uint64_t>(offset));
    if (!number) {
        return ENOENT;
    }
    const refstore::TableInfo& info = impl_->environment->Tables()[*number];
    *entry = {.table = &impl_->tables[*number],
              .startOffset = info.offset,
              .endOffset = info.end,
              .number = static_cast<std::uint32_t>(*number)};
    return 0;
}

FileExtMapMgr::~FileExtMapMgr() = default;

FileExtMapMgr* FileExtMapMgr::newFileExtMapMgr(const std::string& path, const std::string& name,
                                               jorv::DataCacheManagementInterface* dataCache) {
    std::unique_ptr<CMappingTable> table(CreateMappingTable(dataCache, {}));
    auto manager = std::make_unique<FileExtMapMgr>(path, name, nullptr, dataCache);
    manager->table = std::move(table);
    return manager.release();
}

std::int64_t FileExtMapMgr::GetFileSize() {
    return impl_->environment == nullptr ? 0 : impl_->environment->FileSize();
}

}  // namespace Corvane::Kst::Marlow::Jorv
