#include "storage/null_data_cache_management.h"

#include <cerrno>
#include <limits>
#include <string>
#include <vector>

#include "storage/backtrace.h"
#include "storage/exception.h"
#include "storage/log.h"

namespace jorv {

namespace {

constexpr int kLogError = 8;
constexpr unsigned int kTraceFrames = 63;

}  // namespace

NullDataCacheManagement::~NullDataCacheManagement() = default;

DataCacheNode* NullDataCacheManagement::getDataCacheNodeForWrite(unsigned int*, unsigned long,
                                                                 unsigned long,
                                                                 DataTransferManagement*) {
    return Rejected<DataCacheNode*>(__func__, nullptr);
}

DataCacheNode* NullDataCacheManagement::getDataCacheNode(const ObjectID&, unsigned int*,
                                                         unsigned long, unsigned long,
                                                         DataTransferManagement*) {
    return Rejected<DataCacheNode*>(__func__, nullptr);
}

bool NullDataCacheManagement::write(DataCacheNode*, const unsigned char*, unsigned int,
                                    unsigned int*) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::pwrite(DataCacheNode*, const unsigned char*, unsigned int, long,
                                     unsigned int*) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::writeJournal(DataTransferManagement*, unsigned long, unsigned long,
                                           const unsigned char*, unsigned int, ObjectID*, int*) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::read(DataCacheNode*, unsigned char*, unsigned int, unsigned int*) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::isPrefetchBusy(DataTransferManagement*) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::pread(DataCacheNode*, unsigned char*, unsigned int, long,
                                    unsigned int*, std::list<DCInfo*>, long) {
    return Rejected(__func__, false);
}

int NullDataCacheManagement::getObjectID(const DataCacheNode*, ObjectID*,
                                         DataCacheNode::NodeLockType) {
    return Rejected(__func__, 1);
}

bool NullDataCacheManagement::isWritable(const DataCacheNode*) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::releaseDataCacheNode(DataCacheNode**) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::flushDataCacheNodes(DataTransferManagement*, unsigned long,
                                                  std::vector<DataCacheNode*>*,
                                                  std::vector<ObjectID>*) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::syncConnections(DataTransferManagement*) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::prepareForDelete(DataTransferManagement*) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::deleteAllFiles(DataTransferManagement*, const Path&) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::setShareIdSalt(const std::string&) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::getStatistic(std::vector<unsigned long>*) {
    return Rejected(__func__, false);
}

const std::string& NullDataCacheManagement::getStatisticHeader() const {
    logAndThrowEINVAL(__func__);
    return statisticHeader_;
}

unsigned long NullDataCacheManagement::maxNumberOfBuffers() const {
    return Rejected(__func__, 0UL);
}

bool NullDataCacheManagement::add_references(
    DataTransferManagement*, const Path&, const Path&, const Path&, const struct stat&,
    std::unique_ptr<BloomFilter>*, const std::vector<std::pair<unsigned long, unsigned long>>&,
    ObjectID*, bool) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::add_references(DataTransferManagement*, const Path&, const Path&,
                                             const Path&, const struct stat&,
                                             const std::array<char, 65>&, ObjectID*, bool) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::copy_references(DataTransferManagement*, const Path&, const Path&,
                                              const Path&, const Path&, const Path&,
                                              const struct stat&) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::delete_references(DataTransferManagement*, const Path&, const Path&,
                                                const Path&, bool) {
    return Rejected(__func__, false);
}

unsigned long NullDataCacheManagement::numberOfBuffers() const {
    return Rejected(__func__, 0UL);
}

unsigned long NullDataCacheManagement::dataSendInterval() const {
    return Rejected(__func__, 0UL);
}

unsigned long NullDataCacheManagement::calculateSourceId(DataTransferManagement*, unsigned int) {
    return Rejected(__func__, 0UL);
}

int NullDataCacheManagement::getStorageStat(unsigned long*, unsigned long*, unsigned long*,
                                            unsigned long*) {
    return 0;
}

bool NullDataCacheManagement::prepareStorageConnectionReset(DataTransferManagement*) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::resetStorageConnections(DataTransferManagement*) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::lockANode(unsigned long) {
    return Rejected(__func__, false);
}

int NullDataCacheManagement::trylockANode(unsigned long) {
    return Rejected(__func__, -1);
}

bool NullDataCacheManagement::unlockANode(unsigned long) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::protectShare(DataTransferManagement*, const std::string&,
                                           const std::string&) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::cleanupShare(DataTransferManagement*, const std::string&,
                                           const std::string&) {
    return Rejected(__func__, false);
}

bool NullDataCacheManagement::commitCRTlog(DataTransferManagement*) {
    return Rejected(__func__, false);
}

DataTransferManagement* NullDataCacheManagement::getShareDTM(unsigned long) {
    return Rejected<DataTransferManagement*>(__func__, nullptr);
}

bool NullDataCacheManagement::releaseShareDTM(unsigned long) {
    return Rejected(__func__, false);
}

unsigned long NullDataCacheManagement::numDataStores(DataTransferManagement*) {
    return Rejected(__func__, 0UL);
}

std::vector<std::string> NullDataCacheManagement::getDataStorePaths(DataTransferManagement*) {
    return Rejected(__func__, std::vector<std::string>{});
}

bool NullDataCacheManagement::removeFromReadPositionMap(unsigned long) {
    return Rejected(__func__, false);
}

int NullDataCacheManagement::GetDcOffset(DataTransferManagement*, std::vector<DCOffset>*) {
    return 0;
}

unsigned long NullDataCacheManagement::getNextNodeID() {
    return Rejected(__func__, std::numeric_limits<unsigned long>::max());
}

void NullDataCacheManagement::logAndThrowEINVAL(const char* functionName) const {
    JORV_LOG(kLogError, "%s must not be called from a null DCM object", functionName);
    throw Corvane::Kst::Marlow::Jorv::SysException(EINVAL, get_backtrace(kTraceFrames),
                                                   "errno " + std::to_string(EINVAL) + "\n");
}

}  // namespace jorv
