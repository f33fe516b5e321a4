#pragma once

#include <cstdint>
#include <mutex>
#include <set>
#include <string>

namespace Corvane::Kst::Marlow::JorvCk {

/// File data check of one share: loads what there is to check and what to check it against, then
/// checks every file on one worker per volume. Made for one run.
///
/// Threads exist inside CheckShare only: first one loader per volume, all joined, then one worker
/// per volume, all joined. The two groups never overlap.
class FileCheckManager {
  public:
    FileCheckManager() = default;
    virtual ~FileCheckManager() = default;
    FileCheckManager(const FileCheckManager&) = delete;
    FileCheckManager& operator=(const FileCheckManager&) = delete;

    /// The whole run. Findings, phases and progress go to the console.
    ///
    /// @param id    the share's identifier, as text.
    /// @param hours age limit, 0 for none.
    ///
    /// A thread that cannot be started, and an exception from the storage library outside a file's
    /// check, leave by exception, after the threads that were started have been joined.
    void CheckShare(const std::string& id, long hours);

    /// Fills the list of volumes; unchanged when the storage table cannot be read.
    void LoadVolumeList();

    /// Adds the DCIDs of all data containers below `volumePath`. Several run at once.
    ///
    /// @return 0 when the volume was walked to its end, -1 when an error stopped the walk; what was
    ///         found until then stays.
    std::int32_t LoadDataContainers(const std::string& volumePath);

    /// Queues every header file below `headDir`.
    void LoadHeaders(const std::string& headDir);

    /// Body of a worker: takes files off the queue until it is empty.
    void CheckTask();

  protected:
    /// Start one thread per volume and join them all.
    void RunLoaders();
    void RunWorkers();

    /// Takes the smallest path off the queue, which is not empty, and prints progress. Called with
    /// queueMutex held. False when that failed and has been reported.
    bool TakeFile(std::string* relPath);

    /// Checks one file without holding a lock. Failures are reported; nothing is thrown unless
    /// reporting fails.
    void CheckFile(const std::string& relPath);

    // Members without a mutex are set before the threads that read them start.
    std::string shareMetaDir;
    std::string shareId;
    std::set<std::string> volumes;
    /// Header paths relative to the header directory, still to check. Guarded by queueMutex while
    /// the workers run.
    std::set<std::string> headers;
    /// Containers found. Guarded by dcidMutex while the loaders run; nothing changes it afterwards,
    /// and the workers read it without a lock.
    std::set<std::uint64_t> dcids;
    std::mutex dcidMutex;
    std::mutex queueMutex;
    std::int64_t ageLimitSeconds = 0;
    std::uint64_t totalFiles = 0;
    std::uint64_t checkedFiles = 0;  ///< taken by the workers; guarded by queueMutex
};

}  // namespace Corvane::Kst::Marlow::JorvCk
