#include "tests/contract/contract_test.h"

#include <cstring>

namespace contract {

using Corvane::Kst::Marlow::Jorv::CMappingTable;
using Corvane::Kst::Marlow::Jorv::SysException;
using test_support::StoredExtent;

int UntouchedCache::getStorageStat(unsigned long* /*total*/, unsigned long* /*used*/,
                                   unsigned long* /*available*/, unsigned long* /*reserved*/) {
    logAndThrowEINVAL(__func__);
    return 0;
}

int UntouchedCache::GetDcOffset(jorv::DataTransferManagement* /*dtm*/,
                                std::vector<jorv::DCOffset>* /*offsets*/) {
    logAndThrowEINVAL(__func__);
    return 0;
}

void UntouchedCache::prefetch(jorv::DataTransferManagement* /*dtm*/, unsigned long /*fileId*/,
                              std::list<jorv::DCInfo>* /*wanted*/, unsigned int* /*taken*/) {
    logAndThrowEINVAL(__func__);
}

int UntouchedCache::readDataDirectFromBin(jorv::DataTransferManagement* /*dtm*/,
                                          const ObjectID& /*id*/, int /*store*/, int /*flags*/,
                                          unsigned char* /*data*/, unsigned int /*size*/,
                                          unsigned int* /*got*/, int* /*error*/, long /*offset*/,
                                          unsigned long /*fileId*/, float* /*seconds*/,
                                          bool /*verify*/) {
    logAndThrowEINVAL(__func__);
    return 0;
}

void UntouchedCache::SyncConfigValues(jorv::DataTransferManagement* /*dtm*/) {
    logAndThrowEINVAL(__func__);
}

void UntouchedCache::logAndThrowEINVAL(const char* functionName) const {
    ADD_FAILURE() << "the data-cache manager was called: " << functionName;
}

std::unique_ptr<CMappingTable> ContractTest::NewTable() {
    return std::unique_ptr<CMappingTable>(
        Corvane::Kst::Marlow::Jorv::CreateMappingTable(&cache, ""));
}

std::vector<StoredExtent> Walk(CMappingTable& table) {
    std::vector<StoredExtent> extents;
    for (auto cursor = table.begin(); !cursor.Equals(table.end()); cursor.Next()) {
        const auto dcid = cursor->GetDCID();
        extents.push_back({.start = cursor->GetStartOffset(),
                           .end = cursor->GetEndOffset(),
                           .dcid = dcid.dcid,
                           .fp = dcid.fp,
                           .soRef = cursor->GetSORef(),
                           .cksum = cursor->GetCksum(),
                           .dataOffset = cursor->GetDataOffset()});
    }
    return extents;
}

void ExpectSame(const std::vector<StoredExtent>& actual,
                const std::vector<StoredExtent>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i) {
        SCOPED_TRACE("extent " + std::to_string(i));
        EXPECT_EQ(actual[i].start, expected[i].start);
        EXPECT_EQ(actual[i].end, expected[i].end);
        EXPECT_EQ(actual[i].dcid, expected[i].dcid);
        EXPECT_EQ(actual[i].fp, expected[i].fp);
        EXPECT_EQ(actual[i].soRef, expected[i].soRef);
        EXPECT_EQ(actual[i].cksum, expected[i].cksum);
        EXPECT_EQ(actual[i].dataOffset, expected[i].dataOffset);
    }
}

std::int32_t ExpectSysException(const std::function<void()>& load) {
    try {
        load();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const SysException& failure) {
        EXPECT_GT(std::strlen(failure.what()), 0U);
        EXPECT_EQ(std::strchr(failure.what(), '\n'), nullptr) << failure.what();
        EXPECT_NE(failure.GetErrorNumber(), 0);
        return failure.GetErrorNumber();
    }
    return 0;
}

StoredExtent MakeExtent(std::uint8_t number) {
    const std::uint64_t start = std::uint64_t{number} * 100;
    return {.start = start,
            .end = start + 99,
            .dcid = 1000U + number,
            .fp = test_support::Fp(number),
            .soRef = 2000U + number,
            .cksum = 3000U + number,
            .dataOffset = 4000 + number};
}

}  // namespace contract
