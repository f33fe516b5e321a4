#include <algorithm>
#include <array>
#include <boost/filesystem/operations.hpp>
#include <cstdint>
#include <memory>
#include <vector>

#include "jorvck/console/console.h"
#include "jorvck/dcid/dcid.h"
#include "jorvck/share_metadata/fs_check_meta.h"
#include "jorvck/share_metadata/messages.h"
#include "jorvck/storage_settings/storage_settings.h"
#include "jorvck/tables/table_walk.h"
#include "storage/config.h"
#include "storage/file_ext_map_mgr.h"
#include "storage/fingerprint.h"
#include "storage/null_data_cache_management.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace messages = ShareMetadataMessages;

namespace {

/// Selects 64 hexadecimal digits.
constexpr int kHexFormat = 3;

std::string FingerprintText(const crfp_digest_t& fp) {
    std::array<char, 65> text = {};
    CRFPDigestToString_r(&fp, kHexFormat, text.data(), text.size());
    return text.data();
}

/// The DCIDs that a table's extents may name.
std::vector<std::uint64_t> KnownDcids(const std::vector<Jorv::DcidEntry>& dcidList) {
    // As many zeros as the list is long stand before the list itself. They are meant to be there:
    // through them DCID 0 counts as listed whenever there is a list at all, and leaving them out
    // would turn every extent with DCID 0 into a finding.
    std::vector<std::uint64_t> knownDcids(dcidList.size(), 0);
    knownDcids.reserve(2 * dcidList.size());
    for (const Jorv::DcidEntry& entry : dcidList) {
        knownDcids.push_back(entry.first);
    }
    return knownDcids;
}

}  // namespace

int FsCheckMeta::CheckDCIDAndBloom(const std::string& extentPath) {
    if (Jorv::JorvConfig::GetInstance()->useFileExtMap == 0 || !ReadDcidBloomEnabled() ||
        !boost::filesystem::is_directory(extentPath)) {
        return 0;
    }
    jorv::NullDataCacheManagement nullCache;
    Jorv::FileExtMapMgr manager(extentPath, "", nullptr, &nullCache);
    manager.LoadTables();
    return WalkTables(&manager, FixedSpan(ReadTableSpanBytes()), [&](Jorv::CMappingTable* table) {
        return CheckDCIDAndBloom(extentPath, table);
    });
}

int FsCheckMeta::CheckDCIDAndBloom(const std::string& /*extentPath*/, Jorv::CMappingTable* table) {
    std::vector<Jorv::DcidEntry> dcidList;
    std::unique_ptr<BloomFilter> bloomFilter;
    table->GetDcidList(&dcidList, &bloomFilter);
    const std::vector<std::uint64_t> knownDcids = KnownDcids(dcidList);

    for (auto cursor = table->begin(); !cursor.Equals(table->end()); cursor.Next()) {
        const Jorv::ExtDcid extent = cursor->GetDCID();
        if (std::find(knownDcids.begin(), knownDcids.end(), extent.dcid) == knownDcids.end()) {
            WriteErrorLine(messages::UnlistedDcid(extent.dcid));
            return -1;
        }
        // Special ids must be listed like any other, but are never tested against the filter.
        // Only printed: the table still counts as consistent, and the walk goes on.
        if (extent.dcid >= kFirstContainerDcid && !bloomFilter->Matches(extent.fp)) {
            WriteErrorLine(messages::UnmatchedFingerprint(FingerprintText(extent.fp)));
        }
    }
    return 0;
}

}  // namespace Corvane::Kst::Marlow::JorvCk
