#pragma once

#include <sys/stat.h>

#include <array>
#include <boost/filesystem/path.hpp>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "storage/bloom_filter.h"

namespace jorv {

// The storage library defines these types. The checker never looks into them.
class DataTransferManagement;
struct DCInfo;
struct DCOffset;

/// One node of the data cache. The interface only names the type; no object of it is made.
class DataCacheNode {
  public:
    class ObjectID;
    enum class NodeLockType : int;

    DataCacheNode() = delete;
};

/// Data-cache manager. In the file system's daemon it caches and moves file data.
///
/// Mapping tables and extent-map managers keep the address of the one that they are made with, so
/// it must outlive them. The storage operations that the checker uses read metadata only and must
/// never call it. The checker passes a NullDataCacheManagement, which refuses every data operation.
///
/// The storage library defines what the operations and their arguments mean. This class fixes their
/// names, their types, their order in the virtual table, and the bodies of the three that are not
/// pure: prefetch and SyncConfigValues do nothing, readDataDirectFromBin returns 4 and writes
/// nothing through its pointers.
class DataCacheManagementInterface {
  public:
    using ObjectID = DataCacheNode::ObjectID;
    using Path = boost::filesystem::path;

    DataCacheManagementInterface() = default;
    DataCacheManagementInterface(const DataCacheManagementInterface&) = delete;
    DataCacheManagementInterface& operator=(const DataCacheManagementInterface&) = delete;

    virtual ~DataCacheManagementInterface() = default;

    // The names are those of the file system's daemon.
    // NOLINTBEGIN(readability-identifier-naming)
    virtual DataCacheNode* getDataCacheNodeForWrite(unsigned int*, unsigned long, unsigned long,
                                                    DataTransferManagement*) = 0;
    virtual DataCacheNode* getDataCacheNode(const ObjectID&, unsigned int*, unsigned long,
                                            unsigned long, DataTransferManagement*) = 0;
    virtual bool write(DataCacheNode*, const unsigned char*, unsigned int, unsigned int*) = 0;
    virtual bool pwrite(DataCacheNode*, const unsigned char*, unsigned int, long,
                        unsigned int*) = 0;
    virtual bool writeJournal(DataTransferManagement*, unsigned long, unsigned long,
                              const unsigned char*, unsigned int, ObjectID*, int*) = 0;
    virtual bool read(DataCacheNode*, unsigned char*, unsigned int, unsigned int*) = 0;
    virtual bool isPrefetchBusy(DataTransferManagement*) = 0;
    virtual bool pread(DataCacheNode*, unsigned char*, unsigned int, long, unsigned int*,
                       std::list<DCInfo*>, long) = 0;
    virtual int getObjectID(const DataCacheNode*, ObjectID*, DataCacheNode::NodeLockType) = 0;
    virtual bool isWritable(const DataCacheNode*) = 0;
    virtual bool releaseDataCacheNode(DataCacheNode**) = 0;
    virtual bool flushDataCacheNodes(DataTransferManagement*, unsigned long,
                                     std::vector<DataCacheNode*>*, std::vector<ObjectID>*) = 0;
    virtual bool syncConnections(DataTransferManagement*) = 0;
    virtual bool prepareForDelete(DataTransferManagement*) = 0;
    virtual bool deleteAllFiles(DataTransferManagement*, const Path&) = 0;
    virtual bool setShareIdSalt(const std::string&) = 0;
    virtual bool getStatistic(std::vector<unsigned long>*) = 0;
    virtual const std::string& getStatisticHeader() const = 0;
    virtual unsigned long maxNumberOfBuffers() const = 0;
    virtual bool add_references(DataTransferManagement*, const Path&, const Path&, const Path&,
                                const struct stat&, std::unique_ptr<BloomFilter>*,
                                const std::vector<std::pair<unsigned long, unsigned long>>&,
                                ObjectID*, bool) = 0;
    virtual bool add_references(DataTransferManagement*, const Path&, const Path&, const Path&,
                                const struct stat&, const std::array<char, 65>&, ObjectID*,
                                bool) = 0;
    virtual bool copy_references(DataTransferManagement*, const Path&, const Path&, const Path&,
                                 const Path&, const Path&, const struct stat&) = 0;
    virtual bool delete_references(DataTransferManagement*, const Path&, const Path&, const Path&,
                                   bool) = 0;
    virtual unsigned long numberOfBuffers() const = 0;
    virtual unsigned long dataSendInterval() const = 0;
    virtual unsigned long calculateSourceId(DataTransferManagement*, unsigned int) = 0;
    virtual int getStorageStat(unsigned long*, unsigned long*, unsigned long*, unsigned long*) = 0;
    virtual bool prepareStorageConnectionReset(DataTransferManagement*) = 0;
    virtual bool resetStorageConnections(DataTransferManagement*) = 0;
    virtual bool lockANode(unsigned long) = 0;
    virtual int trylockANode(unsigned long) = 0;
    virtual bool unlockANode(unsigned long) = 0;
    virtual bool protectShare(DataTransferManagement*, const std::string&, const std::string&) = 0;
    virtual bool cleanupShare(DataTransferManagement*, const std::string&, const std::string&) = 0;
    virtual bool commitCRTlog(DataTransferManagement*) = 0;
    virtual DataTransferManagement* getShareDTM(unsigned long) = 0;
    virtual bool releaseShareDTM(unsigned long) = 0;
    virtual unsigned long numDataStores(DataTransferManagement*) = 0;
    virtual std::vector<std::string> getDataStorePaths(DataTransferManagement*) = 0;
    virtual bool removeFromReadPositionMap(unsigned long) = 0;
    virtual void prefetch(DataTransferManagement*, unsigned long, std::list<DCInfo>*,
                          unsigned int*) {}
    virtual int readDataDirectFromBin(DataTransferManagement*, const ObjectID&, int, int,
                                      unsigned char*, unsigned int, unsigned int*, int*, long,
                                      unsigned long, float*, bool) {
        return 4;
    }
    virtual int GetDcOffset(DataTransferManagement*, std::vector<DCOffset>*) = 0;
    virtual void SyncConfigValues(DataTransferManagement*) {}
    virtual unsigned long getNextNodeID() = 0;
    // NOLINTEND(readability-identifier-naming)
};

}  // namespace jorv
