#include "jorvck/fs_check_meta.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "jorvck/console.h"
#include "jorvck/file_type.h"
#include "jorvck/storage_settings.h"
#include "jorvck/table_walk.h"
#include "jorvck/tree_walk.h"
#include "storage/config.h"
#include "storage/exception.h"
#include "storage/extent_file.h"
#include "storage/file_ext_map_mgr.h"
#include "storage/fingerprint.h"
#include "storage/header_file.h"
#include "storage/null_data_cache_management.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace {

constexpr std::string_view kHead = "/head";
constexpr std::string_view kMap = "/map";

std::int64_t LoadHeaderTransId(const std::string& headerPath) {
    struct stat attributes = {};
    Jorv::HeaderFile header(&attributes);
    header.Load(headerPath);
    return header.transId;
}

/// Stops the process when the library broke its promise to make a table. Not an assert: release
/// builds must stop here too, rather than call through a null pointer.
void RequireTable(const std::unique_ptr<Jorv::CMappingTable>& table) {
    if (table == nullptr) {
        Write(lines::kMissingTable);
        std::abort();
    }
}

std::string FingerprintText(const crfp_digest_t& fp) {
    constexpr int kHexFormat = 3;  // 64 hexadecimal digits
    std::array<char, 65> text = {};
    CRFPDigestToString_r(&fp, kHexFormat, text.data(), text.size());
    return text.data();
}

/// The DCIDs that a table's extents may name.
std::vector<std::uint64_t> KnownDcids(const std::vector<Jorv::DcidEntry>& dcidList) {
    // One zero per list entry comes first. Deliberate: DCID 0 thereby counts as listed whenever the
    // list is not empty.
    std::vector<std::uint64_t> knownDcids;
    knownDcids.reserve(2 * dcidList.size());
    knownDcids.resize(dcidList.size(), 0);
    for (const Jorv::DcidEntry& entry : dcidList) {
        knownDcids.push_back(entry.first);
    }
    return knownDcids;
}

}  // namespace

FsCheckMeta::FsCheckMeta(std::string path) : sharePath(std::move(path)) {}

void FsCheckMeta::CheckMeta() {
    // Without --share_path the path is empty. The walk would throw; the run must go on.
    if (sharePath.empty()) {
        return;
    }
    TreeWalk walk(sharePath);
    std::string extentPath;  // out here, so that its memory is used again
    while (walk.Next()) {
        // A text search, not by component: a parent "headers" or a share below "/data/headroom"
        // matches too. Deliberate: scripts rely on the lines for the files matched so far.
        const std::size_t headPosition = walk.Directory().rfind(kHead);
        // Read for every entry: an unreadable status ends the run anywhere in the share. Links are
        // followed: a link to a directory is no header, a broken link is a header that does not
        // load.
        const bool isDirectory = S_ISDIR(walk.Type());
        if (isDirectory || headPosition == std::string_view::npos) {
            continue;
        }
        // The directory's text is the beginning of the entry's, so the position holds in both.
        extentPath = walk.Path();
        extentPath.replace(headPosition, kHead.size(), kMap);
        // The first inconsistency ends the walk, on purpose: no later header is checked.
        if (!CheckHeader(walk.Path(), extentPath)) {
            return;
        }
    }
}

bool FsCheckMeta::CheckHeader(const std::string& headerPath, const std::string& extentPath) {
    std::int64_t transId = 0;
    try {
        transId = LoadHeaderTransId(headerPath);
    } catch (const Jorv::SysException&) {
        Write(lines::kHeaderLoadFailed);
        Write(lines::kCorruptHeader, headerPath);
        return false;
    }

    long extentTransId = 0;
    if (CheckExts(extentPath, &extentTransId) == -1) {
        Write(lines::kCorruptExtent, extentPath);
        return false;
    }
    if (CheckDCIDAndBloom(extentPath) == -1) {
        Write(lines::kCorruptDcidList, extentPath);
        return false;
    }
    // A directory of mapping tables carries no transaction id to compare.
    if (Jorv::JorvConfig::GetInstance()->useFileExtMap == 0 && transId != extentTransId) {
        Write(lines::kTransIdMismatch);
        return false;
    }
    return true;
}

int FsCheckMeta::CheckExts(const std::string& extentPath, long* transId) {
    try {
        jorv::NullDataCacheManagement nullCache;
        const std::unique_ptr<Jorv::CMappingTable> table(Jorv::CreateMappingTable(&nullCache, ""));
        if (Jorv::JorvConfig::GetInstance()->useFileExtMap == 0) {
            // A missing table goes to the extent file as it is: refusing it is the library's part.
            Jorv::ExtentFile extentFile(table.get());
            extentFile.Load(extentPath);
            *transId = extentFile.transId;
            return 0;
        }
        // A file without an extent directory is no finding in this layout.
        if (!S_ISDIR(FileType(extentPath))) {
            return 0;
        }
        RequireTable(table);
        if (table->Open(extentPath, false, "") == 0) {
            return 0;
        }
        Write(lines::kExtentLoadFailed);
        return -1;
    } catch (const Jorv::SysException&) {
        Write(lines::kExtentLoadFailed);
        return -1;
    }
}

int FsCheckMeta::CheckDCIDAndBloom(const std::string& extentPath) {
    if (Jorv::JorvConfig::GetInstance()->useFileExtMap == 0 || !ReadDcidBloomEnabled() ||
        !S_ISDIR(FileType(extentPath))) {
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
            Write(lines::kUnlistedDcid, extent.dcid);
            return -1;
        }
        // Reserved DCIDs are not in the filter. A mismatch is only printed: the table still counts
        // as consistent.
        if (extent.dcid >= kFirstContainerDcid && !bloomFilter->Matches(extent.fp)) {
            Write(lines::kUnmatchedFingerprint, FingerprintText(extent.fp));
        }
    }
    return 0;
}

}  // namespace Corvane::Kst::Marlow::JorvCk
