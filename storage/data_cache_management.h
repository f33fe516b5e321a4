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

/// Transfer session between the file system's daemon and one share's data; the library's own.
class DataTransferManagement;

/// Where one piece of data lies in a container; the library's own.
struct DCInfo;

/// Offset of one piece of data in a container; the library's own.
struct DCOffset;

/// A piece of file data in the cache. Never seen by value: nodes are the cache manager's.
class DataCacheNode {
  public:
    /// Names the data of a node; the library's own.
    class ObjectID;

    /// How a node is locked; the values are the library's own.
    enum class NodeLockType : int;

    DataCacheNode() = delete;
};

/// Data-cache manager of the file system's daemon: caches file data and moves it between the cache
/// and the data containers.
///
/// Mapping tables and extent-map managers are made with one and keep its address, so it outlives
/// them. The storage operations that the checker uses read metadata only and never call it; the
/// checker hands them a NullDataCacheManagement.
///
/// The slot order is fixed: a storage library built apart from the checker relies on it. Unless it
/// says otherwise an operation returns true on success, gets valid pointers, and leaves what they
/// point to with the caller. Sizes and offsets are in bytes. Any thread may call it.
class DataCacheManagementInterface {
  public:
    using ObjectID = DataCacheNode::ObjectID;
    using Path = boost::filesystem::path;

    DataCacheManagementInterface() = default;
    DataCacheManagementInterface(const DataCacheManagementInterface&) = delete;
    DataCacheManagementInterface& operator=(const DataCacheManagementInterface&) = delete;

    virtual ~DataCacheManagementInterface() = default;

    /// A fresh node to write to, the manager's until releaseDataCacheNode; null when none is free.
    virtual DataCacheNode* getDataCacheNodeForWrite(unsigned int* size, unsigned long shareId,
                                                    unsigned long fileId,
                                                    DataTransferManagement* dtm) = 0;

    /// The node of the object `id`, the manager's until releaseDataCacheNode; null without one.
    virtual DataCacheNode* getDataCacheNode(const ObjectID& id, unsigned int* size,
                                            unsigned long shareId, unsigned long fileId,
                                            DataTransferManagement* dtm) = 0;

    /// Appends `size` bytes to the node; `written` receives the number taken.
    virtual bool write(DataCacheNode* node, const unsigned char* data, unsigned int size,
                       unsigned int* written) = 0;

    /// As write, at `offset` of the node.
    virtual bool pwrite(DataCacheNode* node, const unsigned char* data, unsigned int size,
                        long offset, unsigned int* written) = 0;

    /// Writes `size` bytes of the journal; `id` receives their name, `error` an errno value.
    virtual bool writeJournal(DataTransferManagement* dtm, unsigned long shareId,
                              unsigned long fileId, const unsigned char* data, unsigned int size,
                              ObjectID* id, int* error) = 0;

    /// Reads up to `size` bytes from the node's position; `got` receives the number read.
    virtual bool read(DataCacheNode* node, unsigned char* data, unsigned int size,
                      unsigned int* got) = 0;

    /// True while no more prefetches are taken.
    virtual bool isPrefetchBusy(DataTransferManagement* dtm) = 0;

    /// As read, at `offset` of the node; `ahead` lists data that is likely to be read next.
    virtual bool pread(DataCacheNode* node, unsigned char* data, unsigned int size, long offset,
                       unsigned int* got, std::list<DCInfo>* ahead, long aheadOffset) = 0;

    /// Puts the name of the node's data into `id`. Returns 0 on success.
    virtual int getObjectID(const DataCacheNode* node, ObjectID* id,
                            DataCacheNode::NodeLockType lock) = 0;

    /// True when the node may be written to.
    virtual bool isWritable(const DataCacheNode* node) = 0;

    /// Gives the node back and sets the caller's pointer to null.
    virtual bool releaseDataCacheNode(DataCacheNode** node) = 0;

    /// Sends the nodes to their containers; `ids` receives the names of their data.
    virtual bool flushDataCacheNodes(DataTransferManagement* dtm, unsigned long shareId,
                                     std::vector<DataCacheNode*>* nodes,
                                     std::vector<ObjectID>* ids) = 0;

    /// Waits until everything sent has been confirmed.
    virtual bool syncConnections(DataTransferManagement* dtm) = 0;

    /// Readies the session for the deletion of its data.
    virtual bool prepareForDelete(DataTransferManagement* dtm) = 0;

    /// Deletes all data of the files below `directory`.
    virtual bool deleteAllFiles(DataTransferManagement* dtm, const Path& directory) = 0;

    /// Sets the text mixed into share identifiers.
    virtual bool setShareIdSalt(const std::string& salt) = 0;

    /// Replaces `values` by the manager's counters, one per column of the header.
    virtual bool getStatistic(std::vector<unsigned long>* values) = 0;

    /// Names of the columns of getStatistic; lives as long as the manager.
    virtual const std::string& getStatisticHeader() const = 0;

    /// Number of buffers that may exist at once.
    virtual unsigned long maxNumberOfBuffers() const = 0;

    /// Counts the data of a file once more, by its extents' containers and fingerprints.
    virtual bool add_references(DataTransferManagement* dtm, const Path& share, const Path& header,
                                const Path& map, const struct stat& attributes,
                                std::unique_ptr<BloomFilter>* filter,
                                const std::vector<std::pair<unsigned long, unsigned long>>& dcids,
                                ObjectID* id, bool sync) = 0;

    /// Counts the data of a file once more, by the text of its fingerprint.
    virtual bool add_references(DataTransferManagement* dtm, const Path& share, const Path& header,
                                const Path& map, const struct stat& attributes,
                                const std::array<char, 65>& fingerprint, ObjectID* id,
                                bool sync) = 0;

    /// Counts the data of a file once more, for a copy of it.
    virtual bool copy_references(DataTransferManagement* dtm, const Path& share,
                                 const Path& fromHeader, const Path& fromMap, const Path& toHeader,
                                 const Path& toMap, const struct stat& attributes) = 0;

    /// Counts the data of a file once less.
    virtual bool delete_references(DataTransferManagement* dtm, const Path& share,
                                   const Path& header, const Path& map, bool sync) = 0;

    /// Number of buffers that exist now.
    virtual unsigned long numberOfBuffers() const = 0;

    /// Interval between two transfers, in milliseconds.
    virtual unsigned long dataSendInterval() const = 0;

    /// Identifier of the session's source number `number`.
    virtual unsigned long calculateSourceId(DataTransferManagement* dtm, unsigned int number) = 0;

    /// Fills in the capacity of the storage and its use. Returns 0 on success.
    virtual int getStorageStat(unsigned long* total, unsigned long* used, unsigned long* available,
                               unsigned long* reserved) = 0;

    /// Readies the session's storage connections for resetStorageConnections.
    virtual bool prepareStorageConnectionReset(DataTransferManagement* dtm) = 0;

    /// Closes the session's storage connections and opens them anew.
    virtual bool resetStorageConnections(DataTransferManagement* dtm) = 0;

    /// Locks the node with this number, waiting for it.
    virtual bool lockANode(unsigned long nodeId) = 0;

    /// Locks the node with this number if nobody holds it. Returns 0 when it did.
    virtual int trylockANode(unsigned long nodeId) = 0;

    /// Unlocks the node with this number.
    virtual bool unlockANode(unsigned long nodeId) = 0;

    /// Keeps the share's data from being deleted.
    virtual bool protectShare(DataTransferManagement* dtm, const std::string& shareId,
                              const std::string& sharePath) = 0;

    /// Drops what the share's files no longer use.
    virtual bool cleanupShare(DataTransferManagement* dtm, const std::string& shareId,
                              const std::string& sharePath) = 0;

    /// Commits the session's log of container references.
    virtual bool commitCRTlog(DataTransferManagement* dtm) = 0;

    /// Session of the share, the manager's until releaseShareDTM; null without one.
    virtual DataTransferManagement* getShareDTM(unsigned long shareId) = 0;

    /// Gives the session of the share back.
    virtual bool releaseShareDTM(unsigned long shareId) = 0;

    /// Number of data stores of the session.
    virtual unsigned long numDataStores(DataTransferManagement* dtm) = 0;

    /// Directories of the session's data stores.
    virtual std::vector<std::string> getDataStorePaths(DataTransferManagement* dtm) = 0;

    /// Forgets where the file was read last.
    virtual bool removeFromReadPositionMap(unsigned long fileId) = 0;

    /// Asks for data that will be read soon; `taken` receives the number of requests accepted. A
    /// manager that does not read ahead does nothing.
    virtual void prefetch(DataTransferManagement* /*dtm*/, unsigned long /*fileId*/,
                          std::list<DCInfo>* /*wanted*/, unsigned int* /*taken*/) {}

    /// Reads straight from a container, past the cache. Returns 0 on success; a manager that
    /// cannot returns 4 and touches nothing.
    virtual int readDataDirectFromBin(DataTransferManagement* /*dtm*/, const ObjectID& /*id*/,
                                      int /*store*/, int /*flags*/, unsigned char* /*data*/,
                                      unsigned int /*size*/, unsigned int* /*got*/, int* /*error*/,
                                      long /*offset*/, unsigned long /*fileId*/, float* /*seconds*/,
                                      bool /*verify*/) {
        return 4;
    }

    /// Appends the container offsets of the session's data. Returns 0 on success.
    virtual int GetDcOffset(DataTransferManagement* dtm, std::vector<DCOffset>* offsets) = 0;

    /// Takes over changed configuration values. A manager without any does nothing.
    virtual void SyncConfigValues(DataTransferManagement* /*dtm*/) {}

    /// A node number never given out before.
    virtual unsigned long getNextNodeID() = 0;
};

}  // namespace jorv
