#include "refstore/table/mapping_table.h"

#include <cerrno>
#include <new>
#include <utility>

#include "refstore/base/errors.h"
#include "refstore/table/bloom_filter_impl.h"
#include "refstore/table/kept_environment.h"
#include "refstore/table/table_cursor.h"
#include "storage/exception.h"

namespace refstore {

MappingTable::iterator MappingTable::begin() {
    if (HasTable()) {
        return iterator(new TableCursor(environment_->Extents(table_)));
    }
    if (!record_.extents.empty()) {
        return iterator(new TableCursor(ArrayWalk(record_.extents)));
    }
    return end();
}

MappingTable::iterator MappingTable::end() {
    return iterator(nullptr);
}

std::int32_t MappingTable::Open(const std::string& path, bool /*onKlfs*/, std::string /*name*/) {
    Clear();
    try {
        environment_ = LoadEnvironment(path);
        return 0;
    } catch (const Corvane::Kst::Marlow::Jorv::SysException& failure) {
        return failure.GetErrorNumber();
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

std::int32_t MappingTable::GetDcidList(std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry>* dcids,
                                       std::unique_ptr<BloomFilter>* filter) {
    try {
        std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry> list;
        auto bloom = std::make_unique<BloomFilter::Impl>();
        if (HasTable()) {
            list = environment_->Dcids(table_);
            bloom->bits = environment_->Bloom(table_);
        }
        *filter = std::make_unique<BloomFilter>(std::move(bloom));
        *dcids = std::move(list);
    } catch (const std::bad_alloc&) {
        ThrowErrno(ENOMEM, kMappingTableName,
                   environment_ == nullptr ? std::string() : environment_->Path());
    }
    return 0;
}

void MappingTable::Hold(ExtentRecord record) noexcept {
    Clear();
    record_ = std::move(record);
}

void MappingTable::Hold(std::shared_ptr<const TableEnvironment> environment,
                        std::size_t table) noexcept {
    Clear();
    environment_ = std::move(environment);
    table_ = table;
}

void MappingTable::Clear() noexcept {
    record_ = {};
    environment_.reset();
    table_ = 0;
}

}  // namespace refstore

namespace Corvane::Kst::Marlow::Jorv {

CMappingTable* CreateMappingTable(jorv::DataCacheManagementInterface* /*dataCache*/,
                                  std::string /*name*/) {  // NOLINT(performance-*): interface
    return new refstore::MappingTable;
}

}  // namespace Corvane::Kst::Marlow::Jorv
