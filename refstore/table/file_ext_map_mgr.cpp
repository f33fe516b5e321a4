#include "storage/file_ext_map_mgr.h"

#include <cerrno>
#include <new>
#include <utility>
#include <vector>

#include "refstore/base/errors.h"
#include "refstore/table/kept_environment.h"
#include "refstore/table/mapping_table.h"

namespace Corvane::Kst::Marlow::Jorv {

struct BaseFileExtMapMgr::Impl {
    std::string directory;
    std::shared_ptr<const refstore::TableEnvironment> environment;
    // Tables stay where they are: their addresses are handed out.
    std::vector<refstore::MappingTable> tables;
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
        // A check that opened the directory a moment ago has checked the same bytes.
        auto loaded = refstore::KeptEnvironment(impl_->directory);
        if (loaded == nullptr) {
            loaded = refstore::LoadEnvironment(impl_->directory);
        }
        std::vector<refstore::MappingTable> tables(loaded->Tables().size());
        for (std::size_t number = 0; number < tables.size(); ++number) {
            tables[number].Hold(loaded, number);
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
