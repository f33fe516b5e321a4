#include <boost/filesystem/operations.hpp>
#include <memory>

#include "jorvck/console/console.h"
#include "jorvck/extent_checksum/extnode_check.h"
#include "jorvck/extent_checksum/messages.h"
#include "jorvck/storage_settings/storage_settings.h"
#include "jorvck/tables/table_walk.h"
#include "storage/config.h"
#include "storage/extent_file.h"
#include "storage/file_ext_map_mgr.h"
#include "storage/null_data_cache_management.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace fs = boost::filesystem;

void ExtNodeCheck::ExtNodeCheck_Cksum_File(const std::string& mapPath, const std::string& stuPath) {
    if (Jorv::JorvConfig::GetInstance()->useFileExtMap == 0) {
        CheckExtentFile(mapPath, stuPath);
    } else {
        CheckExtentMap(mapPath, stuPath);
    }
}

void ExtNodeCheck::CheckExtentFile(const std::string& mapPath, const std::string& stuPath) {
    jorv::NullDataCacheManagement nullCache;
    const std::unique_ptr<Jorv::CMappingTable> table(Jorv::CreateMappingTable(&nullCache, ""));
    Jorv::ExtentFile extentFile(table.get());
    extentFile.Load(mapPath);
    // Behind the load: a file that does not load has only the walk's error line.
    WriteErrorLine(ExtentChecksumMessages::VerifyFile(mapPath));
    ExtNodeCheck_Cksum_File_Table(table.get(), mapPath, stuPath);
}

void ExtNodeCheck::CheckExtentMap(const std::string& mapPath, const std::string& stuPath) {
    jorv::NullDataCacheManagement nullCache;
    Jorv::FileExtMapMgr manager(mapPath, "", nullptr, &nullCache);
    // An entry without its extent directory, or without a header file, is no file of this layout.
    if (!fs::is_directory(mapPath)) {
        return;
    }
    const fs::file_status head = fs::status(HeadPath(mapPath));
    if (!fs::exists(head) || fs::is_directory(head)) {
        return;
    }
    manager.LoadTables();
    WalkTables(&manager, ReadTableSpanBytes, [&](Jorv::CMappingTable* table) {
        return ExtNodeCheck_Cksum_File_Table(table, mapPath, stuPath);
    });
}

}  // namespace Corvane::Kst::Marlow::JorvCk
