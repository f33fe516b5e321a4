#include "jorvck/extent_checksum/extnode_check.h"

#include <dirent.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <string_view>
#include <utility>

#include "jorvck/console/console.h"
#include "jorvck/extent_checksum/messages.h"
#include "jorvck/extent_checksum/read_buffer.h"
#include "storage/exception.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace fs = boost::filesystem;
namespace messages = ExtentChecksumMessages;

namespace {

constexpr std::string_view kMap = "map";
constexpr std::string_view kHead = "head";

struct CloseDirectory {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

/// Whether an entry counts as a directory by its type code. A bit test, not a comparison: it holds
/// for block devices, sockets and whiteouts as well. None of them belongs into a map tree, and
/// opening them as directories gives the line that says so.
bool HasDirectoryBit(const dirent64& entry) {
    constexpr unsigned directoryBit = 4;
    return (entry.d_type & directoryBit) != 0;
}

}  // namespace

ExtNodeCheck::ExtNodeCheck(std::string root)
    : readBuffer(std::make_unique<unsigned char[]>(kReadBufferSize)), shareRoot(std::move(root)) {}

int ExtNodeCheck::ExtNodeCheck_Cksum(const char* mapDir, const char* stuDir) {
    // One directory is open at a time, closed before the walk goes down, so that no depth runs out
    // of descriptors.
    DirectoryPair directory{mapDir, stuDir};
    int result = 0;
    while (auto next = CheckDirectory(directory, &result)) {
        directory = *std::move(next);
    }
    return result;
}

std::optional<ExtNodeCheck::DirectoryPair> ExtNodeCheck::CheckDirectory(
    const DirectoryPair& directory, int* result) {
    const std::unique_ptr<DIR, CloseDirectory> listing(::opendir(directory.mapDir.c_str()));
    if (listing == nullptr) {
        // The line names the current entry, of which there is none yet: it ends in its blank. The
        // directory is left out on purpose.
        WriteErrorLine(messages::ChecksumFailed(""));
        *result = -1;
        return std::nullopt;
    }
    // Only the map directory is asked for its final "/"; the storage-unit directory follows suit
    // whatever it ends in. Not to be asked as well: where the two differ, another storage unit
    // would be read than before, and the lines about it would change.
    const std::string_view separator = directory.mapDir.ends_with('/') ? "" : "/";
    // An error part-way through a listing counts as its end.
    while (const dirent64* const entry = ::readdir64(listing.get())) {
        const std::string_view name = entry->d_name;
        DirectoryPair paths{directory.mapDir, directory.stuDir};
        paths.mapDir.append(separator).append(name);
        paths.stuDir.append(separator).append(name);
        // The walk follows the first directory that it meets and never comes back for the entries
        // that the listing had yet to yield. Kept: scripts read these lines, and a walk that came
        // back would print some for files that this check has never reported on.
        if (HasDirectoryBit(*entry)) {
            if (name == "." || name == "..") {
                continue;
            }
            return paths;
        }
        const fs::file_status head = fs::status(HeadPath(paths.mapDir));
        if (fs::exists(head) && fs::is_directory(head)) {
            return paths;
        }
        try {
            ExtNodeCheck_Cksum_File(paths.mapDir, paths.stuDir);
        } catch (const Jorv::SysException& failure) {
            WriteErrorLine(messages::ProcessFailed(failure.GetErrorNumber()));
        }
    }
    *result = 0;
    return std::nullopt;
}

std::string ExtNodeCheck::HeadPath(const std::string& mapPath) const {
    const std::size_t prefix = std::min(shareRoot.size() + kMap.size(), mapPath.size());
    std::string path = shareRoot;
    path.append(kHead).append(mapPath, prefix);
    return path;
}

}  // namespace Corvane::Kst::Marlow::JorvCk
