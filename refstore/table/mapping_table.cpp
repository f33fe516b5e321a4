#include "refstore/table/mapping_table.h"

#include <cerrno>
#include <new>
#include <utility>

#include "refstore/base/errors.h"
#include "refstore/extent/extent_cursor.h"
#include "refstore/table/kept_directory.h"
#include "storage/exception.h"

namespace refstore {

MappingTable::iterator MappingTable::begin() {
    return extents_.empty() ? end() : iterator(new ExtentCursor(extents_));
}

MappingTable::iterator MappingTable::end() {
    return iterator(nullptr);
}

std::int32_t MappingTable::Open(const std::string& path, bool /*onKlfs*/, std::string /*name*/) {
    Clear();
    try {
        Hold(LoadDirectory(path), 0);
        return 0;
    } catch (const Corvane::Kst::Marlow::Jorv::SysException& failure) {
        return failure.GetErrorNumber();
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

std::int32_t MappingTable::GetDcidList(std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry>* dcids,
                                       std::unique_ptr<BloomFilter>* filter) {
    // Short enough for a string without memory of its own.
    OrOutOfMemory("DCID list", "of a table", [&] {
        std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry> list;
        auto bloom = std::make_unique<BloomFilter::Impl>();
        if (table_ != nullptr) {
            list.assign(table_->dcids.begin(), table_->dcids.end());
            bloom->bits = table_->Bloom();
        }
        *filter = std::make_unique<BloomFilter>(std::move(bloom));
        *dcids = std::move(list);
    });
    return 0;
}

void MappingTable::Hold(ExtentRecord record) noexcept {
    Clear();
    file_ = std::move(record.file);
    extents_ = record.extents;
}

void MappingTable::Hold(std::shared_ptr<const TableDirectory> directory,
                        std::size_t table) noexcept {
    Clear();
    if (table < directory->Tables().size()) {
        table_ = &directory->Tables()[table];
        extents_ = table_->extents;
    }
    directory_ = std::move(directory);
}

void MappingTable::Clear() noexcept {
    table_ = nullptr;
    extents_ = {};
    directory_.reset();
    file_ = {};
}

}  // namespace refstore

namespace Corvane::Kst::Marlow::Jorv {

CMappingTable* CreateMappingTable(jorv::DataCacheManagementInterface* /*dataCache*/,
                                  std::string /*name*/) {  // NOLINT(performance-*): interface
    return new refstore::MappingTable;
}

}  // namespace Corvane::Kst::Marlow::Jorv
