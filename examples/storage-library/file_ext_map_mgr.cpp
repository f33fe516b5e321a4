#include "storage/file_ext_map_mgr.h"

#include <optional>

#include "table.h"

namespace Corvane::Kst::Marlow::Jorv {

/// One table per file, which covers every offset of the first span.
struct BaseFileExtMapMgr::Impl {
    std::string directory;
    std::optional<text_storage::TextTable> table;
    std::int64_t fileSize = 0;
};

BaseFileExtMapMgr::BaseFileExtMapMgr(const std::string& path, const std::string&,
                                     CMappingTable* ownTable, jorv::DataCacheManagementInterface*)
    : table(ownTable), impl_(std::make_unique<Impl>()) {
    impl_->directory = path;
}

BaseFileExtMapMgr::~BaseFileExtMapMgr() = default;

void BaseFileExtMapMgr::LoadTables() {
    impl_->table.reset();
    impl_->fileSize = 0;
    text_storage::TextFile file(text_storage::DataFile(impl_->directory));
    const auto size = file.Next<std::int64_t>();
    impl_->table.emplace();
    try {
        impl_->table->ReadExtents(&file);
    } catch (...) {
        impl_->table.reset();
        throw;
    }
    impl_->fileSize = size;
}

std::int32_t BaseFileExtMapMgr::GetTableForRead(long offset, ExtMapEntry* entry) {
    constexpr std::uint64_t kSpan = 1ULL << 30U;
    if (!impl_->table || offset < 0 || static_cast<std::uint64_t>(offset) >= kSpan) {
        return -1;
    }
    *entry = {&*impl_->table, 0, kSpan, 0};
    return 0;
}

FileExtMapMgr::~FileExtMapMgr() = default;

FileExtMapMgr* FileExtMapMgr::newFileExtMapMgr(const std::string& path, const std::string& name,
                                               jorv::DataCacheManagementInterface* dataCache) {
    return new FileExtMapMgr(path, name, new text_storage::TextTable, dataCache);
}

std::int64_t FileExtMapMgr::GetFileSize() {
    return impl_->fileSize;
}

}  // namespace Corvane::Kst::Marlow::Jorv
