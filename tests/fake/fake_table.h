#pragma once

#include <memory>
#include <string>

#include "storage/data_cache_management.h"
#include "storage/mapping_table.h"
#include "tests/fake/script.h"
#include "tests/support/stored_records.h"

namespace storage_fake {

/// Fails the test unless `dataCache` is a null data-cache manager that is still alive, as far as
/// that can be seen.
void ExpectNullDataCache(const jorv::DataCacheManagementInterface* dataCache);

/// Mapping table of the fake.
class FakeTable final : public Corvane::Kst::Marlow::Jorv::CMappingTable {
  public:
    explicit FakeTable(const jorv::DataCacheManagementInterface* dataCache);
    ~FakeTable() override;

    iterator begin() override;
    iterator end() override;
    std::int32_t Open(const std::string& path, bool onKlfs, std::string name) override;
    std::int32_t GetDcidList(std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry>* dcids,
                             std::unique_ptr<BloomFilter>* filter) override;

    /// Replaces the contents; `label` names the table in the record.
    void Fill(std::string label, test_support::StoredTable stored);

    [[nodiscard]] const std::string& Label() const { return label_; }
    [[nodiscard]] const test_support::StoredTable& Stored() const { return stored_; }

    /// Counts the table's cursors: it must outlive them.
    void CursorMade(int change) { cursors_ += change; }

  private:
    iterator CursorAt(std::size_t index);

    LiveObject alive_{"CMappingTable"};
    const jorv::DataCacheManagementInterface* dataCache_;
    std::string label_ = "new";
    test_support::StoredTable stored_;
    int cursors_ = 0;
};

}  // namespace storage_fake
