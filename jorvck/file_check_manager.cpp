#include "jorvck/file_check_manager.h"

#include <sys/stat.h>

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>
#include <boost/lexical_cast.hpp>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

#include "jorvck/console.h"
#include "jorvck/file_checker.h"
#include "jorvck/tree_walk.h"
#include "storage/config.h"
#include "storage/jorv_utils.h"
#include "storage/vol_mgr.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace fs = boost::filesystem;

namespace {

constexpr std::uint64_t kProgressStep = 10000;
constexpr std::int64_t kSecondsPerHour = 3600;

/// The path between double quotes, an ampersand before every double quote and ampersand in it.
std::string Quoted(const fs::path& path) {
    std::ostringstream text;
    text << path;
    return text.str();
}

/// Joins the threads in the order in which they were started.
void JoinAll(std::vector<std::jthread>* threads) {
    for (std::jthread& thread : *threads) {
        thread.join();
    }
}

}  // namespace

void FileCheckManager::CheckShare(const std::string& id, long hours) {
    fs::path metaDir(Jorv::FileSystemDaemonConfig::GetInstance()->GetMetaDirPath());
    metaDir /= Jorv::JorvUtils::GetShareDir(id);
    metaDir /= id;
    if (!fs::exists(metaDir)) {
        Write(lines::kShareMissing, id, Quoted(metaDir));
        return;
    }
    shareMetaDir = metaDir.native();
    shareId = id;
    ageLimitSeconds = hours * kSecondsPerHour;
    Write(lines::kCheckingOlderThan, hours, shareId);

    Write(lines::kLoadingVolumes, shareId);
    LoadVolumeList();

    Write(lines::kLoadingContainers, shareId);
    RunLoaders();

    Write(lines::kLoadingHeaders, shareId);
    LoadHeaders((metaDir / "head").native());

    Write(lines::kCheckingFiles, shareId);
    RunWorkers();

    Write(lines::kDone, shareId);
}

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
    try {
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
                Write(lines::kCompanionMissing, base);
                continue;
            }
            const std::lock_guard hold(dcidMutex);
            // A base that is not a number makes the cast throw and so stops the whole volume. That
            // is deliberate: skipping the one file would accept a volume that holds other things.
            dcids.insert(boost::lexical_cast<std::uint64_t>(base));
        }
        return 0;
    } catch (...) {
        Write(lines::kContainersFailed, volumePath);
        return -1;
    }
}

void FileCheckManager::LoadHeaders(const std::string& headDir) {
    try {
        boost::system::error_code notOpened;
        TreeWalk walk(headDir, notOpened);
        // Listings are often sorted: the place next to the last one is tried first.
        auto place = headers.end();
        while (walk.Next()) {
            if (!S_ISREG(walk.Type())) {
                continue;
            }
            // No age filter here: every header counts, and the filter runs per file.
            std::string relPath = walk.Path().substr(headDir.size());
            place = headers.insert(place, std::move(relPath));
        }
        totalFiles = headers.size();
        Write(lines::kTotalFiles, totalFiles);
    } catch (...) {
        Write(lines::kHeadersFailed, headDir);
    }
}

void FileCheckManager::RunLoaders() {
    std::vector<std::jthread> loaders;
    loaders.reserve(volumes.size());
    for (const std::string& volume : volumes) {
        loaders.emplace_back([this, volume] { LoadDataContainers(volume); });
    }
    JoinAll(&loaders);
}

void FileCheckManager::RunWorkers() {
    // One worker per volume: without a volume no file is checked.
    std::vector<std::jthread> workers;
    workers.reserve(volumes.size());
    for (std::size_t i = 0; i < volumes.size(); ++i) {
        workers.emplace_back([this] { CheckTask(); });
    }
    JoinAll(&workers);
}

void FileCheckManager::CheckTask() {
    try {
        for (;;) {
            std::string relPath;
            bool taken = false;
            {
                const std::lock_guard hold(queueMutex);
                if (headers.empty()) {
                    return;
                }
                taken = TakeFile(&relPath);
            }
            if (taken) {
                CheckFile(relPath);
            }
        }
    } catch (...) {
        // The other workers go on.
        Write(lines::kTaskGotError);
    }
}

bool FileCheckManager::TakeFile(std::string* relPath) {
    try {
        *relPath = std::move(headers.extract(headers.begin()).value());
        ++checkedFiles;
        if (checkedFiles % kProgressStep == 0) {
            Write(lines::kProgress, checkedFiles, totalFiles);
        } else if (checkedFiles >= totalFiles) {
            Write(lines::kProgressEnd, totalFiles, totalFiles);
        }
        return true;
    } catch (...) {
        // Still under the lock: there is nothing else to do before the next take.
        Write(lines::kCheckGotError, *relPath);
        return false;
    }
}

void FileCheckManager::CheckFile(const std::string& relPath) {
    try {
        FileChecker checker(shareMetaDir, shareId, ageLimitSeconds);
        try {
            checker.CheckExtentAndData(relPath, &dcids);
        } catch (...) {
            Write(lines::kCheckFailed, relPath);
        }
    } catch (...) {
        Write(lines::kCheckGotError, relPath);
    }
}

}  // namespace Corvane::Kst::Marlow::JorvCk
