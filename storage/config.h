#pragma once

#include <cstdint>
#include <shared_mutex>
#include <string>

namespace Corvane::Kst::Marlow::Jorv {

/// Settings of the storage layout. Shared by all threads.
class JorvConfig {
  public:
    /// The process-wide object, never null, never freed. Throws Exception when the library's
    /// configuration exists but cannot be used.
    static JorvConfig* GetInstance();

    /// Zero: one extent file per user file. Nonzero: a directory of mapping tables per user file.
    /// The checker tests it only for zero and reads it without a lock, so it must not change during
    /// a run.
    std::int32_t useFileExtMap = 0;
};

/// Settings of the file system's daemon. Shared by all threads.
class FileSystemDaemonConfig {
  public:
    /// The process-wide object, never null, never freed. Throws Exception when the library's
    /// configuration exists but cannot be used.
    static FileSystemDaemonConfig* GetInstance();

    /// Directory that holds the metadata of all shares. Any thread may call it.
    std::string GetMetaDirPath();

    /// Mapping tables carry a DCID list and a bloom filter. Read under a shared hold of configLock.
    bool dcidBloomEnabled = false;
    /// Span of file offsets covered by one mapping table, in units of 2^30 bytes; at least 1. Read
    /// under a shared hold of configLock.
    std::uint32_t tableSpanGiB = 1;
    /// Call IsKlfs before a file's mapping table is opened. Read without a lock, so it must not
    /// change during a run.
    bool klfsAware = false;
    /// Guards dcidBloomEnabled and tableSpanGiB. Readers hold it shared, only while they read.
    std::shared_mutex configLock;
};

}  // namespace Corvane::Kst::Marlow::Jorv
