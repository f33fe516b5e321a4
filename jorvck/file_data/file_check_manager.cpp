#include "jorvck/file_data/file_check_manager.h"

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

#include "jorvck/console/console.h"
#include "jorvck/file_data/file_checker.h"
#include "jorvck/file_data/messages.h"
#include "storage/config.h"
#include "storage/jorv_utils.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace fs = boost::filesystem;
namespace messages = FileDataMessages;

namespace {

constexpr std::uint64_t kProgressStep = 10000;
constexpr std::int64_t kSecondsPerHour = 3600;

/// The path between double quotes, an ampersand before every double quote and ampersand in it.
std::string Quoted(const fs::path& path) {
    std::ostringstream text;
    text << path;
    return text.str();
}

/// Threads that are joined in the order in which they were started, on every way out.
class JoinedThreads {
  public:
    explicit JoinedThreads(std::size_t count) { threads_.reserve(count); }
    ~JoinedThreads() {
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }
    JoinedThreads(const JoinedThreads&) = delete;
    JoinedThreads& operator=(const JoinedThreads&) = delete;

    template <typename Body>
    void Start(Body body) {
        threads_.emplace_back(std::move(body));
    }

  private:
    std::vector<std::thread> threads_;
};

}  // namespace

void FileCheckManager::CheckShare(const std::string& id, long hours) {
    fs::path metaDir(Jorv::FileSystemDaemonConfig::GetInstance()->GetMetaDirPath());
    metaDir /= Jorv::JorvUtils::GetShareDir(id);
    metaDir /= id;
    if (!fs::exists(metaDir)) {
        WriteErrorLine(messages::ShareMissing(id, Quoted(metaDir)));
        return;
    }
    shareMetaDir = metaDir.native();
    shareId = id;
    ageLimitSeconds = hours * kSecondsPerHour;
    WriteOutputLine(messages::CheckingOlderThan(hours, shareId));

    WriteOutputLine(messages::LoadingVolumes(shareId));
    LoadVolumeList();

    WriteOutputLine(messages::LoadingContainers(shareId));
    RunLoaders();

    WriteOutputLine(messages::LoadingHeaders(shareId));
    LoadHeaders((metaDir / "head").native());

    WriteOutputLine(messages::CheckingFiles(shareId));
    RunWorkers();

    WriteOutputLine(messages::Done(shareId));
}

void FileCheckManager::RunLoaders() {
    JoinedThreads loaders(volumes.size());
    for (const std::string& volume : volumes) {
        loaders.Start([this, volume] { LoadDataContainers(volume); });
    }
}

void FileCheckManager::RunWorkers() {
    // One worker per volume: without a volume no file is checked.
    JoinedThreads workers(volumes.size());
    for (std::size_t i = 0; i < volumes.size(); ++i) {
        workers.Start([this] { CheckTask(); });
    }
}

void FileCheckManager::CheckTask() {
    try {
        for (;;) {
            std::string relPath;
            bool taken = false;
            {
                const MutexHold hold(queueMutex);
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
        WriteError(messages::kTaskGotError);
    }
}

bool FileCheckManager::TakeFile(std::string* relPath) {
    try {
        *relPath = std::move(headers.extract(headers.begin()).value());
        ++checkedFiles;
        if (checkedFiles % kProgressStep == 0) {
            WriteError(messages::Progress(checkedFiles, totalFiles));
        } else if (checkedFiles >= totalFiles) {
            WriteErrorLine(messages::Progress(totalFiles, totalFiles));
        }
        return true;
    } catch (...) {
        // Told under the lock, which is held for the moment of taking a file anyway.
        WriteErrorLine(messages::CheckGotError(*relPath));
        return false;
    }
}

void FileCheckManager::CheckFile(const std::string& relPath) {
    try {
        FileChecker checker(shareMetaDir, shareId, ageLimitSeconds);
        try {
            checker.CheckExtentAndData(relPath, &dcids);
        } catch (...) {
            WriteErrorLine(messages::CheckFailed(relPath));
        }
    } catch (...) {
        WriteErrorLine(messages::CheckGotError(relPath));
    }
}

}  // namespace Corvane::Kst::Marlow::JorvCk
