#include <sys/stat.h>

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>
#include <ctime>

#include "jorvck/console/console.h"
#include "jorvck/file_data/file_checker.h"
#include "jorvck/file_data/messages.h"
#include "storage/exception.h"
#include "storage/header_file.h"
#include "storage/jorv_utils.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace fs = boost::filesystem;
namespace messages = FileDataMessages;

namespace {

/// Whether `mtim` lies less than `limit` seconds back; what lies in the future does. Written
/// without a difference of the two times, which could overflow for a recorded time of any value.
bool IsYoungerThan(std::int64_t mtim, std::int64_t limit) {
    return limit > 0 && mtim > static_cast<std::int64_t>(std::time(nullptr)) - limit;
}

}  // namespace

std::int32_t FileChecker::GetFileMetaInfo(const std::string& relPath, FileInfo* info) {
    try {
        return LoadFileMetaInfo(relPath, info);
    } catch (const Jorv::SysException& failure) {
        // One handler for the whole operation: a share directory that cannot be told reads as a
        // header that does not load.
        WriteErrorLine(messages::HeaderLoadFailed(failure.what()));
        return kHeaderNotLoaded;
    }
}

std::int32_t FileChecker::LoadFileMetaInfo(const std::string& relPath, FileInfo* info) {
    fs::path headerPath(shareMetaDir);
    headerPath /= "head";
    headerPath /= relPath;
    if (!fs::exists(headerPath)) {
        WriteErrorLine(messages::HeaderMissing(headerPath.native()));
        return kHeaderMissing;
    }
    struct stat attributes = {};
    Jorv::HeaderFile header(&attributes);
    header.Load(headerPath.native());
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
    fs::path extentPath(header.extentLocation);
    extentPath /= Jorv::JorvUtils::GetShareDir(shareId);
    extentPath /= shareId;
    extentPath /= "map";
    extentPath /= relPath;
    info->ext = extentPath.native();
    if (!fs::exists(extentPath)) {
        WriteErrorLine(messages::ExtentMissing(info->ext, info->fg));
        info->ec = CheckCode::extentMissing;
        PrintFileMeta(info);
        return kExtentMissing;
    }
    return kFound;
}

void FileChecker::PrintFileMeta(const FileInfo* info) {
    WriteErrorLine(messages::FileSummary(*info));
}

}  // namespace Corvane::Kst::Marlow::JorvCk
