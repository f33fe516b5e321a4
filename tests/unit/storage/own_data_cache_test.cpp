// The data-cache manager as the daemon of a file system derives one: `override` on every operation.
// An operation whose types change does not compile.

#include <gtest/gtest.h>

#include "storage/data_cache_management.h"

namespace {

using DTM = jorv::DataTransferManagement*;
using Node = jorv::DataCacheNode;
using ObjectID = jorv::DataCacheNode::ObjectID;
using boost::filesystem::path;
using In = const unsigned char*;
using Out = unsigned char*;
using Size = unsigned int;
using Id = unsigned long;

class OwnCache final : public jorv::DataCacheManagementInterface {
  public:
    ~OwnCache() override = default;
    Node* getDataCacheNodeForWrite(Size*, Id, Id, DTM) override { return nullptr; }
    Node* getDataCacheNode(const ObjectID&, Size*, Id, Id, DTM) override { return nullptr; }
    bool write(Node*, In, Size, Size*) override { return true; }
    bool pwrite(Node*, In, Size, long, Size*) override { return true; }
    bool writeJournal(DTM, Id, Id, In, Size, ObjectID*, int*) override { return true; }
    bool read(Node*, Out, Size, Size*) override { return true; }
    bool isPrefetchBusy(DTM) override { return true; }
    bool pread(Node*, Out, Size, long, Size*, std::list<jorv::DCInfo*> ahead, long) override {
        return ahead.size() == 2;
    }
    int getObjectID(const Node*, ObjectID*, Node::NodeLockType) override { return 0; }
    bool isWritable(const Node*) override { return true; }
    bool releaseDataCacheNode(Node**) override { return true; }
    bool flushDataCacheNodes(DTM, Id, std::vector<Node*>*, std::vector<ObjectID>*) override {
        return true;
    }
    bool syncConnections(DTM) override { return true; }
    bool prepareForDelete(DTM) override { return true; }
    bool deleteAllFiles(DTM, const path&) override { return true; }
    bool setShareIdSalt(const std::string&) override { return true; }
    bool getStatistic(std::vector<unsigned long>*) override { return true; }
    const std::string& getStatisticHeader() const override { return header_; }
    unsigned long maxNumberOfBuffers() const override { return 1; }
    bool add_references(DTM, const path&, const path&, const path&, const struct stat&,
                        std::unique_ptr<BloomFilter>*,
                        const std::vector<std::pair<unsigned long, unsigned long>>&, ObjectID*,
                        bool) override {
        return true;
    }
    bool add_references(DTM, const path&, const path&, const path&, const struct stat&,
                        const std::array<char, 65>&, ObjectID*, bool) override {
        return false;
    }
    bool copy_references(DTM, const path&, const path&, const path&, const path&, const path&,
                         const struct stat&) override {
        return true;
    }
    bool delete_references(DTM, const path&, const path&, const path&, bool) override {
        return true;
    }
    unsigned long numberOfBuffers() const override { return 1; }
    unsigned long dataSendInterval() const override { return 1; }
    unsigned long calculateSourceId(DTM, unsigned int) override { return 1; }
    int getStorageStat(unsigned long*, unsigned long*, unsigned long*, unsigned long*) override {
        return 1;
    }
    bool prepareStorageConnectionReset(DTM) override { return true; }
    bool resetStorageConnections(DTM) override { return true; }
    bool lockANode(unsigned long) override { return true; }
    int trylockANode(unsigned long) override { return 1; }
    bool unlockANode(unsigned long) override { return true; }
    bool protectShare(DTM, const std::string&, const std::string&) override { return true; }
    bool cleanupShare(DTM, const std::string&, const std::string&) override { return true; }
    bool commitCRTlog(DTM) override { return true; }
    DTM getShareDTM(unsigned long) override { return nullptr; }
    bool releaseShareDTM(unsigned long) override { return true; }
    unsigned long numDataStores(DTM) override { return 1; }
    std::vector<std::string> getDataStorePaths(DTM) override { return {"/store"}; }
    bool removeFromReadPositionMap(unsigned long) override { return true; }
    void prefetch(DTM, Id, std::list<jorv::DCInfo>*, Size* taken) override { *taken = 3; }
    int readDataDirectFromBin(DTM, const ObjectID&, int, int, Out, Size, Size*, int*, long, Id,
                              float*, bool) override {
        return 0;
    }
    int GetDcOffset(DTM, std::vector<jorv::DCOffset>*) override { return 1; }
    void SyncConfigValues(DTM) override {}
    unsigned long getNextNodeID() override { return 1UL << 63U; }

  private:
    std::string header_ = "reads writes";
};

TEST(AnOwnDataCache, IsReachedThroughTheInterface) {
    OwnCache own;
    jorv::DataCacheManagementInterface& cache = own;
    EXPECT_EQ(cache.getNextNodeID(), 1UL << 63U);
    EXPECT_EQ(cache.getStatisticHeader(), "reads writes");
    EXPECT_TRUE(cache.pread(nullptr, nullptr, 0, 0, nullptr, {nullptr, nullptr}, 0));
    unsigned int taken = 0;
    cache.prefetch(nullptr, 1, nullptr, &taken);
    EXPECT_EQ(taken, 3U);
}

TEST(AnOwnDataCache, IsAskedForReferencesByContainersAndByFingerprintApart) {
    OwnCache own;
    jorv::DataCacheManagementInterface& cache = own;
    const path any;
    const struct stat attributes = {};
    EXPECT_TRUE(cache.add_references(nullptr, any, any, any, attributes, nullptr, {{64, 0}},
                                     nullptr, false));
    EXPECT_FALSE(cache.add_references(nullptr, any, any, any, attributes, std::array<char, 65>{},
                                      nullptr, false));
}

}  // namespace
