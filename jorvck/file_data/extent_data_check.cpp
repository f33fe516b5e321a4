#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>

#include "jorvck/console/console.h"
#include "jorvck/dcid/dcid.h"
#include "jorvck/file_data/file_checker.h"
#include "jorvck/file_data/messages.h"
#include "jorvck/storage_settings/storage_settings.h"
#include "jorvck/tables/table_walk.h"
#include "storage/config.h"
#include "storage/klfs.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace fs = boost::filesystem;
namespace messages = FileDataMessages;

int FileChecker::CheckExtentAndData(const std::string& relPath,
                                    const std::set<std::uint64_t>* dcids) {
    FileInfo info;
    const std::int32_t metaResult = GetFileMetaInfo(relPath, &info);
    if (metaResult == kYoungerThanLimit) {
        return 0;
    }
    if (metaResult != kFound) {
        WriteErrorLine(messages::MetaLoadFailed(GetSharePath(relPath)));
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
    // No header leads here: the path always has its "map". A guard of its own all the same.
    if (info->ext.empty()) {
        WriteErrorLine(messages::NoExtentPath(GetSharePath(relPath)));
        info->ec = CheckCode::noExtentPath;
        PrintFileMeta(info);
        return -1;
    }
    if (!fs::exists(fs::path(info->ext) / "data.mdb")) {
        WriteErrorLine(messages::DataFileMissing(GetSharePath(relPath)));
        info->ec = CheckCode::extentMissing;
        PrintFileMeta(info);
        return -2;
    }
    extMapMgr.reset(Jorv::FileExtMapMgr::newFileExtMapMgr(info->ext, "", &nullCache));
    const bool onKlfs =
        Jorv::FileSystemDaemonConfig::GetInstance()->klfsAware && IsKlfs(info->ext.c_str());
    // The result is left alone: loading has the last word, whether or not the table opened.
    extMapMgr->table->Open(info->ext, onKlfs, "");
    extMapMgr->LoadTables();
    if (extMapMgr->GetFileSize() != info->size) {
        WriteErrorLine(
            messages::SizeMismatch(GetSharePath(relPath), info->size, extMapMgr->GetFileSize()));
        info->ec = CheckCode::sizeMismatch;
        PrintFileMeta(info);
        return -1;
    }
    return 0;
}

void FileChecker::CheckTables(const std::string& relPath, FileInfo* info,
                              const std::set<std::uint64_t>& dcids) {
    const auto checkTable = [&](Jorv::CMappingTable* table) {
        CheckTable(table, relPath, info, dcids);
        // A fault ends its own table alone.
        return 0;
    };
    WalkTables(extMapMgr.get(), FixedSpan(ReadTableSpanBytes()), checkTable);
}

void FileChecker::CheckTable(Jorv::CMappingTable* table, const std::string& relPath, FileInfo* info,
                             const std::set<std::uint64_t>& dcids) {
    // Neighbouring extents mostly lie in one container: what was found is not searched for again.
    // Beginning with 0 is safe: reserved DCIDs never reach the comparison.
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
            WriteErrorLine(messages::ReservedDcid(dcid, GetSharePath(relPath)));
            info->ec = CheckCode::reservedDcid;
        } else {
            WriteErrorLine(messages::UnknownDcid(dcid, GetSharePath(relPath)));
            info->ec = CheckCode::unknownDcid;
        }
        PrintFileMeta(info);
        return;
    }
}

}  // namespace Corvane::Kst::Marlow::JorvCk
