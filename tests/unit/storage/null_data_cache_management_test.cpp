#include "storage/null_data_cache_management.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <thread>
#include <type_traits>

#include "storage/exception.h"
#include "tests/fake/fake_storage_test.h"

// The library's own types; their contents do not matter here.
class jorv::DataCacheNode::ObjectID {};
struct jorv::DCInfo {};
struct jorv::DCOffset {};

namespace {

using Corvane::Kst::Marlow::Jorv::Exception;
using Corvane::Kst::Marlow::Jorv::SysException;
using jorv::DataCacheManagementInterface;
using jorv::NullDataCacheManagement;
using Strings = std::vector<std::string>;

constexpr auto kLock = static_cast<jorv::DataCacheNode::NodeLockType>(0);

struct Operation {
    const char* name;
    std::function<void(DataCacheManagementInterface&)> call;
};

/// Every operation that is refused, in slot order.
std::vector<Operation> RefusedOperations() {
    static const boost::filesystem::path path;
    static const struct stat attributes = {};
    static const jorv::DataCacheNode::ObjectID id;
    using Cache = DataCacheManagementInterface&;
    return {
        {"getDataCacheNodeForWrite",
         [](Cache c) { c.getDataCacheNodeForWrite(nullptr, 0, 0, nullptr); }},
        {"getDataCacheNode", [](Cache c) { c.getDataCacheNode(id, nullptr, 0, 0, nullptr); }},
        {"write", [](Cache c) { c.write(nullptr, nullptr, 0, nullptr); }},
        {"pwrite", [](Cache c) { c.pwrite(nullptr, nullptr, 0, 0, nullptr); }},
        {"writeJournal",
         [](Cache c) { c.writeJournal(nullptr, 0, 0, nullptr, 0, nullptr, nullptr); }},
        {"read", [](Cache c) { c.read(nullptr, nullptr, 0, nullptr); }},
        {"isPrefetchBusy", [](Cache c) { c.isPrefetchBusy(nullptr); }},
        {"pread", [](Cache c) { c.pread(nullptr, nullptr, 0, 0, nullptr, {}, 0); }},
        {"getObjectID", [](Cache c) { c.getObjectID(nullptr, nullptr, kLock); }},
        {"isWritable", [](Cache c) { c.isWritable(nullptr); }},
        {"releaseDataCacheNode", [](Cache c) { c.releaseDataCacheNode(nullptr); }},
        {"flushDataCacheNodes",
         [](Cache c) { c.flushDataCacheNodes(nullptr, 0, nullptr, nullptr); }},
        {"syncConnections", [](Cache c) { c.syncConnections(nullptr); }},
        {"prepareForDelete", [](Cache c) { c.prepareForDelete(nullptr); }},
        {"deleteAllFiles", [](Cache c) { c.deleteAllFiles(nullptr, path); }},
        {"setShareIdSalt", [](Cache c) { c.setShareIdSalt("salt"); }},
        {"getStatistic", [](Cache c) { c.getStatistic(nullptr); }},
        {"getStatisticHeader", [](Cache c) { c.getStatisticHeader(); }},
        {"maxNumberOfBuffers", [](Cache c) { c.maxNumberOfBuffers(); }},
        {"add_references",
         [](Cache c) {
             c.add_references(nullptr, path, path, path, attributes, nullptr, {}, nullptr, false);
         }},
        {"add_references",
         [](Cache c) {
             c.add_references(nullptr, path, path, path, attributes, std::array<char, 65>{},
                              nullptr, false);
         }},
        {"copy_references",
         [](Cache c) { c.copy_references(nullptr, path, path, path, path, path, attributes); }},
        {"delete_references",
         [](Cache c) { c.delete_references(nullptr, path, path, path, false); }},
        {"numberOfBuffers", [](Cache c) { c.numberOfBuffers(); }},
        {"dataSendInterval", [](Cache c) { c.dataSendInterval(); }},
        {"calculateSourceId", [](Cache c) { c.calculateSourceId(nullptr, 0); }},
        {"prepareStorageConnectionReset",
         [](Cache c) { c.prepareStorageConnectionReset(nullptr); }},
        {"resetStorageConnections", [](Cache c) { c.resetStorageConnections(nullptr); }},
        {"lockANode", [](Cache c) { c.lockANode(0); }},
        {"trylockANode", [](Cache c) { c.trylockANode(0); }},
        {"unlockANode", [](Cache c) { c.unlockANode(0); }},
        {"protectShare", [](Cache c) { c.protectShare(nullptr, "", ""); }},
        {"cleanupShare", [](Cache c) { c.cleanupShare(nullptr, "", ""); }},
        {"commitCRTlog", [](Cache c) { c.commitCRTlog(nullptr); }},
        {"getShareDTM", [](Cache c) { c.getShareDTM(0); }},
        {"releaseShareDTM", [](Cache c) { c.releaseShareDTM(0); }},
        {"numDataStores", [](Cache c) { c.numDataStores(nullptr); }},
        {"getDataStorePaths", [](Cache c) { c.getDataStorePaths(nullptr); }},
        {"removeFromReadPositionMap", [](Cache c) { c.removeFromReadPositionMap(0); }},
        {"getNextNodeID", [](Cache c) { c.getNextNodeID(); }},
    };
}

/// A manager whose refusal returns.
class LenientCache : public NullDataCacheManagement {
  public:
    void logAndThrowEINVAL(const char* functionName) const override {
        refused.emplace_back(functionName);
    }
    mutable Strings refused;
};

using NullDataCache = storage_fake::FakeStorageTest;

TEST_F(NullDataCache, LogsAndRefusesEveryDataOperation) {
    EXPECT_EQ(RefusedOperations().size(), 40U);
    Strings expected;
    NullDataCacheManagement cache;
    for (const Operation& operation : RefusedOperations()) {
        SCOPED_TRACE(operation.name);
        expected.push_back("JORV_LOG 8 " + std::string(operation.name) +
                           " must not be called from a null DCM object");
        try {
            operation.call(cache);
            ADD_FAILURE() << "was not refused";
        } catch (const SysException& e) {
            EXPECT_EQ(e.GetErrorNumber(), 22);
            EXPECT_STREQ(e.what(), "errno 22\n");
            EXPECT_TRUE(e.GetStackTrace().starts_with("stack trace:\n  ")) << e.GetStackTrace();
        }
    }
    EXPECT_EQ(script.Calls(), expected);
}

/// The stack trace of a refusal below this many calls.
[[gnu::noinline]] std::string TraceOfRefusalAtDepth(int depth) {
    if (depth == 0) {
        try {
            NullDataCacheManagement cache;
            cache.lockANode(1);
        } catch (const SysException& e) {
            return e.GetStackTrace();
        }
        return "was not refused";
    }
    std::string trace = TraceOfRefusalAtDepth(depth - 1);
    // Work after the call keeps it from becoming a jump.
    EXPECT_FALSE(trace.empty());
    return trace;
}

TEST_F(NullDataCache, RefusesWithAStackTraceOf63Frames) {
    const std::string trace = TraceOfRefusalAtDepth(100);
    EXPECT_EQ(std::count(trace.begin(), trace.end(), '\n'), 1 + 63) << trace;
}

TEST_F(NullDataCache, RefusesWithTheLibrarysOwnExceptionOnly) {
    NullDataCacheManagement cache;
    EXPECT_THROW(cache.lockANode(1), Exception);
    EXPECT_THROW(cache.lockANode(1), std::exception);
}

TEST_F(NullDataCache, AnswersHarmlessQuestionsWithoutALogRecordAndTouchesNothing) {
    NullDataCacheManagement null;
    DataCacheManagementInterface& cache = null;
    unsigned long a = 1;
    unsigned long b = 2;
    unsigned long c = 3;
    unsigned long d = 4;
    EXPECT_EQ(cache.getStorageStat(&a, &b, &c, &d), 0);
    EXPECT_TRUE(a == 1 && b == 2 && c == 3 && d == 4);

    std::vector<jorv::DCOffset> offsets(2);
    EXPECT_EQ(cache.GetDcOffset(nullptr, &offsets), 0);
    EXPECT_EQ(offsets.size(), 2U);

    std::list<jorv::DCInfo> wanted(2);
    unsigned int taken = 7;
    cache.prefetch(nullptr, 1, &wanted, &taken);
    EXPECT_EQ(wanted.size(), 2U);
    EXPECT_EQ(taken, 7U);

    unsigned char data = 9;
    unsigned int got = 8;
    int error = 6;
    float seconds = 0.5F;
    EXPECT_EQ(cache.readDataDirectFromBin(nullptr, {}, 0, 0, &data, 1, &got, &error, 0, 0, &seconds,
                                          true),
              4);
    EXPECT_TRUE(data == 9 && got == 8 && error == 6 && seconds == 0.5F);

    cache.SyncConfigValues(nullptr);
    EXPECT_EQ(script.Calls(), Strings{});
}

TEST_F(NullDataCache, InheritsTheThreeOperationsThatAreNotPure) {
    // The class of a pointer to a member is the one that declares it.
    EXPECT_TRUE((std::is_same_v<decltype(&NullDataCacheManagement::prefetch),
                                decltype(&DataCacheManagementInterface::prefetch)>));
    EXPECT_TRUE((std::is_same_v<decltype(&NullDataCacheManagement::readDataDirectFromBin),
                                decltype(&DataCacheManagementInterface::readDataDirectFromBin)>));
    EXPECT_TRUE((std::is_same_v<decltype(&NullDataCacheManagement::SyncConfigValues),
                                decltype(&DataCacheManagementInterface::SyncConfigValues)>));
    EXPECT_FALSE((std::is_same_v<decltype(&NullDataCacheManagement::GetDcOffset),
                                 decltype(&DataCacheManagementInterface::GetDcOffset)>));
}

TEST_F(NullDataCache, NamesTheOperationInADerivedClassWhoseRefusalReturns) {
    Strings expected;
    LenientCache cache;
    for (const Operation& operation : RefusedOperations()) {
        expected.emplace_back(operation.name);
        operation.call(cache);
    }
    EXPECT_EQ(cache.refused, expected);
    EXPECT_EQ(script.Calls(), Strings{});
}

TEST_F(NullDataCache, HasAnAnswerBehindEveryRefusalThatReturns) {
    LenientCache lenient;
    DataCacheManagementInterface& cache = lenient;
    const boost::filesystem::path path;
    const struct stat attributes = {};

    EXPECT_EQ(cache.getDataCacheNodeForWrite(nullptr, 0, 0, nullptr), nullptr);
    EXPECT_EQ(cache.getDataCacheNode({}, nullptr, 0, 0, nullptr), nullptr);
    EXPECT_EQ(cache.getShareDTM(0), nullptr);

    EXPECT_FALSE(cache.write(nullptr, nullptr, 0, nullptr));
    EXPECT_FALSE(cache.pwrite(nullptr, nullptr, 0, 0, nullptr));
    EXPECT_FALSE(cache.writeJournal(nullptr, 0, 0, nullptr, 0, nullptr, nullptr));
    EXPECT_FALSE(cache.read(nullptr, nullptr, 0, nullptr));
    EXPECT_FALSE(cache.isPrefetchBusy(nullptr));
    EXPECT_FALSE(cache.pread(nullptr, nullptr, 0, 0, nullptr, {}, 0));
    EXPECT_FALSE(cache.isWritable(nullptr));
    EXPECT_FALSE(cache.releaseDataCacheNode(nullptr));
    EXPECT_FALSE(cache.flushDataCacheNodes(nullptr, 0, nullptr, nullptr));
    EXPECT_FALSE(cache.syncConnections(nullptr));
    EXPECT_FALSE(cache.prepareForDelete(nullptr));
    EXPECT_FALSE(cache.deleteAllFiles(nullptr, path));
    EXPECT_FALSE(cache.setShareIdSalt("salt"));
    EXPECT_FALSE(cache.getStatistic(nullptr));
    EXPECT_FALSE(
        cache.add_references(nullptr, path, path, path, attributes, nullptr, {}, nullptr, false));
    EXPECT_FALSE(cache.add_references(nullptr, path, path, path, attributes, std::array<char, 65>{},
                                      nullptr, false));
    EXPECT_FALSE(cache.copy_references(nullptr, path, path, path, path, path, attributes));
    EXPECT_FALSE(cache.delete_references(nullptr, path, path, path, false));
    EXPECT_FALSE(cache.prepareStorageConnectionReset(nullptr));
    EXPECT_FALSE(cache.resetStorageConnections(nullptr));
    EXPECT_FALSE(cache.lockANode(0));
    EXPECT_FALSE(cache.unlockANode(0));
    EXPECT_FALSE(cache.protectShare(nullptr, "", ""));
    EXPECT_FALSE(cache.cleanupShare(nullptr, "", ""));
    EXPECT_FALSE(cache.commitCRTlog(nullptr));
    EXPECT_FALSE(cache.releaseShareDTM(0));
    EXPECT_FALSE(cache.removeFromReadPositionMap(0));

    EXPECT_EQ(cache.maxNumberOfBuffers(), 0U);
    EXPECT_EQ(cache.numberOfBuffers(), 0U);
    EXPECT_EQ(cache.dataSendInterval(), 0U);
    EXPECT_EQ(cache.calculateSourceId(nullptr, 0), 0U);
    EXPECT_EQ(cache.numDataStores(nullptr), 0U);

    EXPECT_EQ(cache.getObjectID(nullptr, nullptr, kLock), 1);
    EXPECT_EQ(cache.trylockANode(0), -1);
    EXPECT_EQ(cache.getNextNodeID(), std::numeric_limits<unsigned long>::max());
    EXPECT_EQ(cache.getDataStorePaths(nullptr), Strings{});
    EXPECT_EQ(cache.getStatisticHeader(), "");
    EXPECT_EQ(&cache.getStatisticHeader(), &cache.getStatisticHeader());
}

TEST_F(NullDataCache, CanBeDestroyedThroughTheInterface) {
    const std::unique_ptr<DataCacheManagementInterface> cache =
        std::make_unique<NullDataCacheManagement>();
    EXPECT_THROW(cache->numberOfBuffers(), SysException);
}

TEST_F(NullDataCache, RefusesManyThreadsAtOnce) {
    NullDataCacheManagement cache;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&cache] {
            for (int round = 0; round < 50; ++round) {
                EXPECT_THROW(cache.commitCRTlog(nullptr), SysException);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(
        script.Calls({"JORV_LOG 8 commitCRTlog must not be called from a null DCM object"}).size(),
        200U);
}

}  // namespace
