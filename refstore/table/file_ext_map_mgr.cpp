#include "storage/file_ext_map_mgr.h"

#include <cerrno>
#include <utility>
#include <vector>

#include "refstore/base/errors.h"
#include "refstore/table/kept_directory.h"
#include "refstore/table/mapping_table.h"

namespace Corvane::Kst::Marlow::Jorv {

struct BaseFileExtMapMgr::Impl {
    std::string path;
    std::shared_ptr<const refstore::TableDirectory> directory;
    // Tables stay where they are: their addresses are handed out.
    std::vector<refstore::MappingTable> tables;
};

BaseFileExtMapMgr::BaseFileExtMapMgr(const std::string& path, const std::string& /*name*/,
                                     CMappingTable* ownTable,
                                     jorv::DataCacheManagementInterface* /*dataCache*/)
    : table(ownTable), impl_(std::make_unique<Impl>()) {
    impl_->path = path;
}

BaseFileExtMapMgr::~BaseFileExtMapMgr() = default;

void BaseFileExtMapMgr::LoadTables() {
    impl_->tables.clear();
    impl_->directory.reset();
    refstore::OrOutOfMemory(refstore::kTablesKind.what, impl_->path, [this] {
        auto loaded = refstore::LoadDirectory(impl_->path);
        std::vector<refstore::MappingTable> tables(loaded->Tables().size());
        for (std::size_t number = 0; number < tables.size(); ++number) {
            tables[number].Hold(loaded, number);
        }
        impl_->tables = std::move(tables);
        impl_->directory = std::move(loaded);
    });
}

std::int32_t BaseFileExtMapMgr::GetTableForRead(long offset, ExtMapEntry* entry) {
    if (offset < 0 || entry == nullptr) {
        return EINVAL;
    }
    if (impl_->directory == nullptr) {
        return ENOENT;
    }
    const auto number = impl_->directory->Find(static_cast<std::uint64_t>(offset));
    if (!number) {
        return ENOENT;
    }
    const refstore::StoredTableView& found = impl_->directory->Tables()[*number];
    *entry = {.table = &impl_->tables[*number],
              .startOffset = found.offset,
              .endOffset = found.end,
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
    return impl_->directory == nullptr ? 0 : impl_->directory->FileSize();
}

}  // namespace Corvane::Kst::Marlow::Jorv
