#include "jorvck/share_metadata/fs_check_meta.h"

#include <sys/stat.h>

#include <cstdint>
#include <string_view>
#include <utility>

#include "jorvck/console/console.h"
#include "jorvck/paths/tree_walk.h"
#include "jorvck/share_metadata/messages.h"
#include "storage/config.h"
#include "storage/exception.h"
#include "storage/header_file.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace messages = ShareMetadataMessages;

namespace {

constexpr std::string_view kHead = "/head";
constexpr std::string_view kMap = "/map";

std::int64_t LoadHeaderTransId(const std::string& headerPath) {
    struct stat attributes = {};
    Jorv::HeaderFile header(&attributes);
    header.Load(headerPath);
    return header.transId;
}

}  // namespace

FsCheckMeta::FsCheckMeta(std::string path) : sharePath(std::move(path)) {}

void FsCheckMeta::CheckMeta() {
    // A run without --share_path comes here with an empty path, and is to come to its end like any
    // other: the walk would end it by an exception, as no directory has that name.
    if (sharePath.empty()) {
        return;
    }
    TreeWalk walk(sharePath);
    while (walk.Next()) {
        // A search in plain text, not by path components: a parent named "headers", or a share
        // below "/data/headroom", matches too. Kept: scripts read the lines of this check, and
        // comparing components would take other files for headers than they know of.
        const std::size_t headPosition = walk.Directory().rfind(kHead);
        // Asked before the search is looked at: a status that cannot be read ends the run wherever
        // in the share the entry lies. Links are followed, so that one to a directory is no header
        // and a broken one is a header that does not load.
        const bool isDirectory = S_ISDIR(walk.Type());
        if (isDirectory || headPosition == std::string_view::npos) {
            continue;
        }
        // The first inconsistency ends the walk, on purpose: no later header is looked at.
        if (!CheckHeader(walk.Path(), headPosition)) {
            return;
        }
    }
}

bool FsCheckMeta::CheckHeader(const std::string& headerPath, std::size_t headPosition) {
    // The parent's text is the beginning of the entry's, so the position holds in both.
    std::string extentPath = headerPath;
    extentPath.replace(headPosition, kHead.size(), kMap);

    std::int64_t transId = 0;
    try {
        transId = LoadHeaderTransId(headerPath);
    } catch (const Jorv::SysException&) {
        WriteErrorLine(messages::kHeaderLoadFailed);
        WriteErrorLine(messages::CorruptHeader(headerPath));
        return false;
    }

    long extentTransId = 0;
    if (CheckExts(extentPath, &extentTransId) == -1) {
        WriteErrorLine(messages::CorruptExtent(extentPath));
        return false;
    }
    if (CheckDCIDAndBloom(extentPath) == -1) {
        WriteErrorLine(messages::CorruptDcidList(extentPath));
        return false;
    }
    // A directory of mapping tables carries no transaction id to compare.
    if (Jorv::JorvConfig::GetInstance()->useFileExtMap == 0 && transId != extentTransId) {
        WriteErrorLine(messages::kTransIdMismatch);
        return false;
    }
    return true;
}

}  // namespace Corvane::Kst::Marlow::JorvCk
