// A storage library built apart from the checker calls through these slots by number.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "storage/ext.h"
#include "storage/mapping_table.h"
#include "storage/null_data_cache_management.h"

namespace {

using Corvane::Kst::Marlow::Jorv::CMappingTable;
using Corvane::Kst::Marlow::Jorv::Ext;
using Corvane::Kst::Marlow::Jorv::MappingCursor;
using DCM = jorv::DataCacheManagementInterface;
using DTM = jorv::DataTransferManagement;
using Path = DCM::Path;
using ObjectID = DCM::ObjectID;
using DcidList = std::vector<std::pair<unsigned long, unsigned long>>;

/// Number of a virtual operation's slot: the platform's C++ ABI keeps 1 plus its offset in the
/// virtual table in the pointer to member.
template <typename Member>
std::size_t Slot(Member member) {
    std::ptrdiff_t value = 0;
    static_assert(sizeof member >= sizeof value);
    std::memcpy(&value, &member, sizeof value);
    return static_cast<std::size_t>(value - 1) / sizeof(void*);
}

TEST(VirtualSlots, OfACursorStandInTheirOrder) {
    EXPECT_EQ(Slot(&MappingCursor::Current), 0U);
    EXPECT_EQ(Slot(&MappingCursor::Next), 1U);
    EXPECT_EQ(Slot(&MappingCursor::Equals), 2U);
    EXPECT_EQ(Slot(&MappingCursor::Destroy), 3U);
}

TEST(VirtualSlots, OfATableFollowItsTwoDestructors) {
    EXPECT_EQ(Slot(&CMappingTable::begin), 2U);
    EXPECT_EQ(Slot(&CMappingTable::end), 3U);
    EXPECT_EQ(Slot(&CMappingTable::Open), 4U);
    EXPECT_EQ(Slot(&CMappingTable::GetDcidList), 5U);
}

TEST(VirtualSlots, OfAnExtentAreEachFollowedByAReservedOne) {
    EXPECT_EQ(Slot(&Ext::GetDCID), 0U);
    EXPECT_EQ(Slot(&Ext::GetSORef), 2U);
    EXPECT_EQ(Slot(&Ext::GetCksum), 4U);
    EXPECT_EQ(Slot(&Ext::GetDataOffset), 6U);
    EXPECT_EQ(Slot(&Ext::GetStartOffset), 8U);
    EXPECT_EQ(Slot(&Ext::GetEndOffset), 10U);
    EXPECT_EQ(Slot(&Ext::ReservedAfterGetEndOffset), 11U);
}

TEST(VirtualSlots, OfADataCacheManagerStandInTheirOrder) {
    std::size_t slot = 2;  // after the complete-object and the deleting destructor
    EXPECT_EQ(Slot(&DCM::getDataCacheNodeForWrite), slot++);
    EXPECT_EQ(Slot(&DCM::getDataCacheNode), slot++);
    EXPECT_EQ(Slot(&DCM::write), slot++);
    EXPECT_EQ(Slot(&DCM::pwrite), slot++);
    EXPECT_EQ(Slot(&DCM::writeJournal), slot++);
    EXPECT_EQ(Slot(&DCM::read), slot++);
    EXPECT_EQ(Slot(&DCM::isPrefetchBusy), slot++);
    EXPECT_EQ(Slot(&DCM::pread), slot++);
    EXPECT_EQ(Slot(&DCM::getObjectID), slot++);
    EXPECT_EQ(Slot(&DCM::isWritable), slot++);
    EXPECT_EQ(Slot(&DCM::releaseDataCacheNode), slot++);
    EXPECT_EQ(Slot(&DCM::flushDataCacheNodes), slot++);
    EXPECT_EQ(Slot(&DCM::syncConnections), slot++);
    EXPECT_EQ(Slot(&DCM::prepareForDelete), slot++);
    EXPECT_EQ(Slot(&DCM::deleteAllFiles), slot++);
    EXPECT_EQ(Slot(&DCM::setShareIdSalt), slot++);
    EXPECT_EQ(Slot(&DCM::getStatistic), slot++);
    EXPECT_EQ(Slot(&DCM::getStatisticHeader), slot++);
    EXPECT_EQ(Slot(&DCM::maxNumberOfBuffers), slot++);
    using ByContainers =
        bool (DCM::*)(DTM*, const Path&, const Path&, const Path&, const struct stat&,
                      std::unique_ptr<BloomFilter>*, const DcidList&, ObjectID*, bool);
    EXPECT_EQ(Slot(static_cast<ByContainers>(&DCM::add_references)), slot++);
    using ByFingerprint =
        bool (DCM::*)(DTM*, const Path&, const Path&, const Path&, const struct stat&,
                      const std::array<char, 65>&, ObjectID*, bool);
    EXPECT_EQ(Slot(static_cast<ByFingerprint>(&DCM::add_references)), slot++);
    EXPECT_EQ(Slot(&DCM::copy_references), slot++);
    EXPECT_EQ(Slot(&DCM::delete_references), slot++);
    EXPECT_EQ(Slot(&DCM::numberOfBuffers), slot++);
    EXPECT_EQ(Slot(&DCM::dataSendInterval), slot++);
    EXPECT_EQ(Slot(&DCM::calculateSourceId), slot++);
    EXPECT_EQ(Slot(&DCM::getStorageStat), slot++);
    EXPECT_EQ(Slot(&DCM::prepareStorageConnectionReset), slot++);
    EXPECT_EQ(Slot(&DCM::resetStorageConnections), slot++);
    EXPECT_EQ(Slot(&DCM::lockANode), slot++);
    EXPECT_EQ(Slot(&DCM::trylockANode), slot++);
    EXPECT_EQ(Slot(&DCM::unlockANode), slot++);
    EXPECT_EQ(Slot(&DCM::protectShare), slot++);
    EXPECT_EQ(Slot(&DCM::cleanupShare), slot++);
    EXPECT_EQ(Slot(&DCM::commitCRTlog), slot++);
    EXPECT_EQ(Slot(&DCM::getShareDTM), slot++);
    EXPECT_EQ(Slot(&DCM::releaseShareDTM), slot++);
    EXPECT_EQ(Slot(&DCM::numDataStores), slot++);
    EXPECT_EQ(Slot(&DCM::getDataStorePaths), slot++);
    EXPECT_EQ(Slot(&DCM::removeFromReadPositionMap), slot++);
    EXPECT_EQ(Slot(&DCM::prefetch), slot++);
    EXPECT_EQ(Slot(&DCM::readDataDirectFromBin), slot++);
    EXPECT_EQ(Slot(&DCM::GetDcOffset), slot++);
    EXPECT_EQ(Slot(&DCM::SyncConfigValues), slot++);
    EXPECT_EQ(Slot(&DCM::getNextNodeID), slot++);
    EXPECT_EQ(slot, 47U);
    EXPECT_EQ(Slot(&jorv::NullDataCacheManagement::logAndThrowEINVAL), slot)
        << "the null manager's own operation comes after the interface's";
}

}  // namespace
