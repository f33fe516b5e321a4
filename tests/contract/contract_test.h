#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "storage/exception.h"
#include "storage/file_ext_map_mgr.h"
#include "storage/mapping_table.h"
#include "storage/null_data_cache_management.h"
#include "tests/contract/storage_site.h"

namespace contract {

/// Data-cache manager that the library must not call at all, not even for a harmless answer.
class UntouchedCache final : public jorv::NullDataCacheManagement {
  public:
    int getStorageStat(unsigned long* total, unsigned long* used, unsigned long* available,
                       unsigned long* reserved) override;
    int GetDcOffset(jorv::DataTransferManagement* dtm,
                    std::vector<jorv::DCOffset>* offsets) override;
    void prefetch(jorv::DataTransferManagement* dtm, unsigned long fileId,
                  std::list<jorv::DCInfo>* wanted, unsigned int* taken) override;
    int readDataDirectFromBin(jorv::DataTransferManagement* dtm, const ObjectID& id, int store,
                              int flags, unsigned char* data, unsigned int size, unsigned int* got,
                              int* error, long offset, unsigned long fileId, float* seconds,
                              bool verify) override;
    void SyncConfigValues(jorv::DataTransferManagement* dtm) override;
    void logAndThrowEINVAL(const char* functionName) const override;
};

/// Fixture of the suite: a fresh site, and a data-cache manager that must stay untouched.
class ContractTest : public testing::Test {
  protected:
    /// A fresh table, owned.
    std::unique_ptr<Corvane::Kst::Marlow::Jorv::CMappingTable> NewTable();

    const std::unique_ptr<StorageSite> site = StorageSite::Make();
    UntouchedCache cache;
};

/// Every entry of the table, read through a walk with a fresh end at every step.
std::vector<test_support::StoredExtent> Walk(Corvane::Kst::Marlow::Jorv::CMappingTable& table);

/// Fails the test unless the two lists hold the same values in the same order.
void ExpectSame(const std::vector<test_support::StoredExtent>& actual,
                const std::vector<test_support::StoredExtent>& expected);

/// Runs `load` and expects a SysException with a message of one line. Returns its error number.
std::int32_t ExpectSysException(const std::function<void()>& load);

/// An extent whose six values and fingerprint are all different, made from `number`.
test_support::StoredExtent MakeExtent(std::uint8_t number);

}  // namespace contract
