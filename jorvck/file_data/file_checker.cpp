#include "jorvck/file_data/file_checker.h"

#include <boost/filesystem/path.hpp>
#include <utility>

#include "storage/jorv_utils.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace {

constexpr const char* kMountRoot = "/mnt/jorv";

}  // namespace

FileChecker::FileChecker(std::string metaDir, std::string id, std::int64_t seconds)
    : shareMetaDir(std::move(metaDir)), shareId(std::move(id)), ageLimitSeconds(seconds) {}

FileChecker::~FileChecker() = default;

std::string FileChecker::GetSharePath(const std::string& relPath) const {
    boost::filesystem::path path(kMountRoot);
    path /= Jorv::JorvUtils::GetShareDir(shareId);
    path /= shareId;
    path /= relPath;
    return path.native();
}

}  // namespace Corvane::Kst::Marlow::JorvCk
