#pragma once

#include "storage/data_cache_management.h"

namespace jorv {

/// Data-cache manager that refuses every data operation. The checks open mapping tables with it,
/// read-only and without a data cache.
///
/// A refused operation calls logAndThrowEINVAL with its own name and so throws. In a derived class
/// whose logAndThrowEINVAL returns, it returns false or 0; null for nodes and shares; 1 from
/// getObjectID; -1 from trylockANode; all 64 bits set from getNextNodeID; an empty vector from
/// getDataStorePaths; a reference to an empty text from getStatisticHeader.
///
/// getStorageStat and GetDcOffset return 0 on purpose. Like the three inherited defaults they do
/// not log, throw or write through their pointers.
///
/// Has no state that changes; any thread may call it.
class NullDataCacheManagement : public DataCacheManagementInterface {
  public:
    NullDataCacheManagement() = default;
    ~NullDataCacheManagement() override;

    DataCacheNode* getDataCacheNodeForWrite(unsigned int* size, unsigned long shareId,
                                            unsigned long fileId,
                                            DataTransferManagement* dtm) override;
    DataCacheNode* getDataCacheNode(const ObjectID& id, unsigned int* size, unsigned long shareId,
                                    unsigned long fileId, DataTransferManagement* dtm) override;
    bool write(DataCacheNode* node, const unsigned char* data, unsigned int size,
               unsigned int* written) override;
    bool pwrite(DataCacheNode* node, const unsigned char* data, unsigned int size, long offset,
                unsigned int* written) override;
    bool writeJournal(DataTransferManagement* dtm, unsigned long shareId, unsigned long fileId,
                      const unsigned char* data, unsigned int size, ObjectID* id,
                      int* error) override;
    bool read(DataCacheNode* node, unsigned char* data, unsigned int size,
              unsigned int* got) override;
    bool isPrefetchBusy(DataTransferManagement* dtm) override;
    bool pread(DataCacheNode* node, unsigned char* data, unsigned int size, long offset,
               unsigned int* got, std::list<DCInfo*> ahead, long aheadOffset) override;
    int getObjectID(const DataCacheNode* node, ObjectID* id,
                    DataCacheNode::NodeLockType lock) override;
    bool isWritable(const DataCacheNode* node) override;
    bool releaseDataCacheNode(DataCacheNode** node) override;
    bool flushDataCacheNodes(DataTransferManagement* dtm, unsigned long shareId,
                             std::vector<DataCacheNode*>* nodes,
                             std::vector<ObjectID>* ids) override;
    bool syncConnections(DataTransferManagement* dtm) override;
    bool prepareForDelete(DataTransferManagement* dtm) override;
    bool deleteAllFiles(DataTransferManagement* dtm, const Path& directory) override;
    bool setShareIdSalt(const std::string& salt) override;
    bool getStatistic(std::vector<unsigned long>* values) override;
    const std::string& getStatisticHeader() const override;
    unsigned long maxNumberOfBuffers() const override;
    bool add_references(DataTransferManagement* dtm, const Path& share, const Path& header,
                        const Path& map, const struct stat& attributes,
                        std::unique_ptr<BloomFilter>* filter,
                        const std::vector<std::pair<unsigned long, unsigned long>>& dcids,
                        ObjectID* id, bool sync) override;
    bool add_references(DataTransferManagement* dtm, const Path& share, const Path& header,
                        const Path& map, const struct stat& attributes,
                        const std::array<char, 65>& fingerprint, ObjectID* id, bool sync) override;
    bool copy_references(DataTransferManagement* dtm, const Path& share, const Path& fromHeader,
                         const Path& fromMap, const Path& toHeader, const Path& toMap,
                         const struct stat& attributes) override;
    bool delete_references(DataTransferManagement* dtm, const Path& share, const Path& header,
                           const Path& map, bool sync) override;
    unsigned long numberOfBuffers() const override;
    unsigned long dataSendInterval() const override;
    unsigned long calculateSourceId(DataTransferManagement* dtm, unsigned int number) override;
    int getStorageStat(unsigned long* total, unsigned long* used, unsigned long* available,
                       unsigned long* reserved) override;
    bool prepareStorageConnectionReset(DataTransferManagement* dtm) override;
    bool resetStorageConnections(DataTransferManagement* dtm) override;
    bool lockANode(unsigned long nodeId) override;
    int trylockANode(unsigned long nodeId) override;
    bool unlockANode(unsigned long nodeId) override;
    bool protectShare(DataTransferManagement* dtm, const std::string& shareId,
                      const std::string& sharePath) override;
    bool cleanupShare(DataTransferManagement* dtm, const std::string& shareId,
                      const std::string& sharePath) override;
    bool commitCRTlog(DataTransferManagement* dtm) override;
    DataTransferManagement* getShareDTM(unsigned long shareId) override;
    bool releaseShareDTM(unsigned long shareId) override;
    unsigned long numDataStores(DataTransferManagement* dtm) override;
    std::vector<std::string> getDataStorePaths(DataTransferManagement* dtm) override;
    bool removeFromReadPositionMap(unsigned long fileId) override;
    int GetDcOffset(DataTransferManagement* dtm, std::vector<DCOffset>* offsets) override;
    unsigned long getNextNodeID() override;

    /// Logs "<functionName> must not be called from a null DCM object" at level 8, then throws
    /// SysException(EINVAL) with the call stack; its what() is "errno 22" and a newline.
    virtual void logAndThrowEINVAL(const char* functionName) const;

  private:
    /// Refuses the operation `name`. Returns `value` if logAndThrowEINVAL returns.
    template <typename Value>
    Value Rejected(const char* name, Value value) const {
        logAndThrowEINVAL(name);
        return value;
    }

    /// Empty, and stays empty.
    std::string statisticHeader_;
};

}  // namespace jorv
