#include <boost/filesystem/operations.hpp>
#include <cstdlib>
#include <memory>

#include "jorvck/console/console.h"
#include "jorvck/share_metadata/fs_check_meta.h"
#include "jorvck/share_metadata/messages.h"
#include "storage/config.h"
#include "storage/exception.h"
#include "storage/extent_file.h"
#include "storage/null_data_cache_management.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace messages = ShareMetadataMessages;

namespace {

/// Stops the process when the library broke its promise to make a table. Not an assert: release
/// builds must stop here too, rather than call through a null pointer.
void RequireTable(const std::unique_ptr<Jorv::CMappingTable>& table) {
    if (table == nullptr) {
        WriteErrorLine(messages::kMissingTable);
        std::abort();
    }
}

/// Loads or opens; false when opening reports a failure. Failed loads are exceptions.
bool LoadExtents(const std::string& extentPath, long* transId) {
    jorv::NullDataCacheManagement nullCache;
    const std::unique_ptr<Jorv::CMappingTable> table(Jorv::CreateMappingTable(&nullCache, ""));
    if (Jorv::JorvConfig::GetInstance()->useFileExtMap == 0) {
        // A missing table goes to the extent file as it is: refusing it is the library's part.
        Jorv::ExtentFile extentFile(table.get());
        extentFile.Load(extentPath);
        *transId = extentFile.transId;
        return true;
    }
    if (!boost::filesystem::is_directory(extentPath)) {
        // A file without an extent directory is no finding in this layout.
        return true;
    }
    RequireTable(table);
    return table->Open(extentPath, false, "") == 0;
}

}  // namespace

int FsCheckMeta::CheckExts(const std::string& extentPath, long* transId) {
    bool loaded = false;
    try {
        loaded = LoadExtents(extentPath, transId);
    } catch (const Jorv::SysException&) {
        loaded = false;
    }
    if (!loaded) {
        WriteErrorLine(messages::kExtentLoadFailed);
        return -1;
    }
    return 0;
}

}  // namespace Corvane::Kst::Marlow::JorvCk
