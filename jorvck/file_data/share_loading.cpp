#include <sys/stat.h>

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>
#include <boost/lexical_cast.hpp>
#include <utility>
#include <vector>

#include "jorvck/console/console.h"
#include "jorvck/file_data/file_check_manager.h"
#include "jorvck/file_data/messages.h"
#include "jorvck/paths/tree_walk.h"
#include "storage/vol_mgr.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace fs = boost::filesystem;
namespace messages = FileDataMessages;

void FileCheckManager::LoadVolumeList() {
    const std::string fstab = Jorv::VolMgr::GetStorageFstabPath();
    std::vector<Jorv::VolMgr::MntEnt> entries;
    if (Jorv::VolMgr::LoadGlobalFstab(fstab, &entries) != 0) {
        return;
    }
    for (const Jorv::VolMgr::MntEnt& entry : entries) {
        volumes.insert(entry.mountPath);
    }
}

std::int32_t FileCheckManager::LoadDataContainers(const std::string& volumePath) {
    std::string failure;
    try {
        // Composed beforehand: the walk may end because memory has run out.
        failure = messages::ContainersFailed(volumePath) + "\n";
        // A volume that cannot be opened is an empty one; errors further down stop the walk.
        boost::system::error_code notOpened;
        TreeWalk walk(volumePath, notOpened);
        while (walk.Next()) {
            if (!S_ISREG(walk.Type())) {
                continue;
            }
            const fs::path path(walk.Path());
            if (path.extension() != ".bin") {
                continue;
            }
            const std::string name = path.filename().native();
            const std::string base = name.substr(0, name.rfind('.'));
            boost::system::error_code unreadable;
            if (!fs::exists(path.parent_path() / (base + ".bhd"), unreadable)) {
                WriteErrorLine(messages::CompanionMissing(base));
                continue;
            }
            const MutexHold hold(dcidMutex);
            // A base that is no number makes the cast throw and so stops the whole volume. That is
            // meant: skipping the one file would take a volume that is not what it should be.
            dcids.insert(boost::lexical_cast<std::uint64_t>(base));
        }
        return 0;
    } catch (...) {
        WriteError(failure);
        return -1;
    }
}

void FileCheckManager::LoadHeaders(const std::string& headDir) {
    std::string failure;
    try {
        failure = messages::HeadersFailed(headDir) + "\n";
        boost::system::error_code notOpened;
        TreeWalk walk(headDir, notOpened);
        while (walk.Next()) {
            if (!S_ISREG(walk.Type())) {
                continue;
            }
            // No age filter here: every header counts, and the filter runs per file.
            std::string relPath = walk.Path().substr(headDir.size());
            // No worker runs yet; the lock costs next to nothing and keeps the rule without an
            // exception.
            const MutexHold hold(queueMutex);
            headers.insert(std::move(relPath));
        }
        const MutexHold hold(queueMutex);
        totalFiles = headers.size();
        WriteErrorLine(messages::TotalFiles(totalFiles));
    } catch (...) {
        WriteError(failure);
    }
}

}  // namespace Corvane::Kst::Marlow::JorvCk
