#include "jorvck/file_checker.h"

#include <sys/stat.h>

#include <ctime>
#include <utility>

#include "jorvck/console.h"
#include "jorvck/file_type.h"
#include "jorvck/join_text.h"
#include "jorvck/storage_settings.h"
#include "jorvck/table_walk.h"
#include "storage/config.h"
#include "storage/exception.h"
#include "storage/header_file.h"
#include "storage/jorv_utils.h"
#include "storage/klfs.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace {

constexpr const char* kMountRoot = "/mnt/jorv";

/// Whether `mtim` is less than `limit` seconds ago or in the future. Written without the difference
/// of the two times, which could overflow: a header may record any time.
bool IsYoungerThan(std::int64_t mtim, std::int64_t limit) {
    return limit > 0 && mtim > static_cast<std::int64_t>(std::time(nullptr)) - limit;
}

}  // namespace

FileChecker::FileChecker(std::string metaDir, std::string id, std::int64_t seconds)
    : shareMetaDir(std::move(metaDir)), shareId(std::move(id)), ageLimitSeconds(seconds) {}

FileChecker::~FileChecker() = default;

int FileChecker::CheckExtentAndData(const std::string& relPath,
                                    const std::set<std::uint64_t>* dcids) {
    FileInfo info;
    const std::int32_t metaResult = GetFileMetaInfo(relPath, &info);
    if (metaResult == kYoungerThanLimit) {
        return 0;
    }
    if (metaResult != kFound) {
        Write(lines::kMetaLoadFailed, GetSharePath(relPath));
        return -1;
    }
    const int openResult = OpenExtentMap(relPath, &info);
    if (openResult != 0) {
        return openResult;
    }
    CheckTables(relPath, &info, *dcids);
    return 0;
}

int FileChecker::OpenExtentMap(const std::string& relPath, FileInfo* info) {
    // Cannot happen today: the path always contains "map". Kept as a guard.
    if (info->ext.empty()) {
        Write(lines::kNoExtentPath, GetSharePath(relPath));
        info->ec = kNoExtentPath;
        PrintFileMeta(info);
        return -1;
    }
    if (FileType(AppendPaths({info->ext, "data.mdb"})) == 0) {
        Write(lines::kDataFileMissing, GetSharePath(relPath));
        info->ec = kExtentsMissing;
        PrintFileMeta(info);
        return -2;
    }
    extMapMgr.reset(Jorv::FileExtMapMgr::newFileExtMapMgr(info->ext, "", &nullCache));
    const bool onKlfs =
        Jorv::FileSystemDaemonConfig::GetInstance()->klfsAware && IsKlfs(info->ext.c_str());
    // Result ignored: LoadTables reports a table that cannot be loaded.
    extMapMgr->table->Open(info->ext, onKlfs, "");
    extMapMgr->LoadTables();
    if (extMapMgr->GetFileSize() != info->size) {
        const std::string sharePath = GetSharePath(relPath);
        Write(lines::kSizeMismatch, sharePath, info->size, extMapMgr->GetFileSize());
        info->ec = kSizesDiffer;
        PrintFileMeta(info);
        return -1;
    }
    return 0;
}

void FileChecker::CheckTables(const std::string& relPath, FileInfo* info,
                              const std::set<std::uint64_t>& dcids) {
    const auto checkTable = [&](Jorv::CMappingTable* table) {
        CheckTable(table, relPath, info, dcids);
        // A fault ends only its own table.
        return 0;
    };
    WalkTables(extMapMgr.get(), FixedSpan(ReadTableSpanBytes()), checkTable);
}

void FileChecker::CheckTable(Jorv::CMappingTable* table, const std::string& relPath, FileInfo* info,
                             const std::set<std::uint64_t>& dcids) {
    // Neighbouring extents are mostly in one container: skip the search for the DCID just found. 0
    // is a safe start: reserved DCIDs fail the first comparison.
    std::uint64_t found = 0;
    for (auto cursor = table->begin(); !cursor.Equals(table->end()); cursor.Next()) {
        const std::uint64_t dcid = cursor->GetDCID().dcid;
        if (dcid >= kFirstContainerDcid && (dcid == found || dcids.contains(dcid))) {
            found = dcid;
            continue;
        }
        // A reserved DCID is a fault whether or not a container is named so. One fault per table: a
        // table full of bad extents gives one report, not one per extent.
        if (dcid < kFirstContainerDcid) {
            Write(lines::kReservedDcid, dcid, GetSharePath(relPath));
            info->ec = kReservedDcid;
        } else {
            Write(lines::kUnknownDcid, dcid, GetSharePath(relPath));
            info->ec = kUnknownDcid;
        }
        PrintFileMeta(info);
        return;
    }
}

std::int32_t FileChecker::GetFileMetaInfo(const std::string& relPath, FileInfo* info) {
    try {
        return LoadFileMetaInfo(relPath, info);
    } catch (const Jorv::SysException& failure) {
        // One handler for the whole operation: a failed GetShareDir is reported as a header that
        // does not load.
        Write(lines::kHeaderNotLoaded, failure.what());
        return kHeaderNotLoaded;
    }
}

std::int32_t FileChecker::LoadFileMetaInfo(const std::string& relPath, FileInfo* info) {
    const std::string headerPath = AppendPaths({shareMetaDir, "head", relPath});
    if (FileType(headerPath) == 0) {
        Write(lines::kHeaderMissing, headerPath);
        return kHeaderMissing;
    }
    struct stat attributes = {};
    Jorv::HeaderFile header(&attributes);
    header.Load(headerPath);
    // The time recorded in the header counts, not that of the header file. Strictly younger: a file
    // exactly as old as the limit is checked.
    if (IsYoungerThan(attributes.st_mtim.tv_sec, ageLimitSeconds)) {
        return kYoungerThanLimit;
    }
    info->size = attributes.st_size;
    info->mtim = attributes.st_mtim.tv_sec;
    info->fg = header.fg;
    info->path = relPath;
    info->extl = header.isDev;
    info->ext = AppendPaths(
        {header.extentLocation, Jorv::JorvUtils::GetShareDir(shareId), shareId, "map", relPath});
    if (FileType(info->ext) == 0) {
        Write(lines::kExtentMissing, info->ext, info->fg);
        info->ec = kExtentsMissing;
        PrintFileMeta(info);
        return kNoExtentDirectory;
    }
    return kFound;
}

void FileChecker::PrintFileMeta(const FileInfo* info) {
    Write(lines::kFileSummary, info->ec != kNoFault ? "[ERROR]" : "[INFO]", info->path, info->ec,
          info->mtim, info->size, info->fg, info->ext, info->extl ? "dev" : "local");
}

std::string FileChecker::GetSharePath(const std::string& relPath) const {
    return AppendPaths({kMountRoot, Jorv::JorvUtils::GetShareDir(shareId), shareId, relPath});
}

}  // namespace Corvane::Kst::Marlow::JorvCk
