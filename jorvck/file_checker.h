#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>

#include "storage/file_ext_map_mgr.h"
#include "storage/null_data_cache_management.h"

namespace Corvane::Kst::Marlow::JorvCk {

/// Faults that a file can have; its summary line shows the number as "ec".
enum CheckCode : std::int32_t {
    kNoFault = 0,
    kExtentsMissing = 4,  ///< the extent directory, or the data file in it, does not exist
    kNoExtentPath = 5,
    kSizesDiffer = 6,   ///< header and extent map record different sizes
    kUnknownDcid = 7,   ///< an extent names a container that no volume has
    kReservedDcid = 9,  ///< an extent carries a DCID below 64
};

/// One file's meta information, for the lines about it.
struct FileInfo {
    std::int64_t size = 0;       ///< bytes, as recorded in the header
    std::int64_t mtim = 0;       ///< seconds since the epoch, as recorded in the header
    std::uint64_t fg = 0;        ///< the header's value, passed through
    std::string ext;             ///< extent directory
    std::string path;            ///< relative to the header directory, beginning with "/"
    bool extl = false;           ///< shown as "dev" when true and "local" when false
    std::int32_t ec = kNoFault;  ///< a CheckCode
};

/// Checks one file of a share against the known data containers. A fresh object is made for every
/// file by the worker that takes it, and used by that worker alone. Reports on standard error.
class FileChecker {
  public:
    /// @param metaDir the share's metadata directory.
    /// @param seconds files modified less than this many seconds ago are skipped; 0 skips none.
    FileChecker(std::string metaDir, std::string id, std::int64_t seconds);

    /// Frees the extent manager; an exception from that ends the process.
    virtual ~FileChecker();
    FileChecker(const FileChecker&) = delete;
    FileChecker& operator=(const FileChecker&) = delete;

    /// Checks the file whose header lies at `relPath` below the header directory.
    ///
    /// @param dcids known data containers; read without a lock, so nothing may change them.
    /// @return 0 when the file was checked to its end, faults of single extents included, or was
    ///         skipped for its age; -1 when its meta information could not be loaded or the sizes
    ///         differ; -2 when its extent directory has no data file.
    ///
    /// Exceptions of the storage and path libraries pass to the caller.
    int CheckExtentAndData(const std::string& relPath, const std::set<std::uint64_t>* dcids);

    /// Results of GetFileMetaInfo. Not check codes, although both have a 4.
    enum MetaResult : std::int32_t {
        kFound = 0,
        kHeaderNotLoaded = 1,
        kHeaderMissing = 2,
        kNoExtentDirectory = 4,  ///< the extent directory does not exist
        kYoungerThanLimit = 10,  ///< nothing printed, `info` untouched
    };

    /// Loads the file's header into `info` and looks for its extent directory. Returns a
    /// MetaResult; failures have been reported.
    std::int32_t GetFileMetaInfo(const std::string& relPath, FileInfo* info);

    /// Writes the file's summary line.
    static void PrintFileMeta(const FileInfo* info);

    /// The path under which users see the file. Touches no file.
    [[nodiscard]] std::string GetSharePath(const std::string& relPath) const;

  protected:
    /// GetFileMetaInfo without its handler.
    std::int32_t LoadFileMetaInfo(const std::string& relPath, FileInfo* info);

    /// The steps of CheckExtentAndData after the meta information.
    int OpenExtentMap(const std::string& relPath, FileInfo* info);
    void CheckTables(const std::string& relPath, FileInfo* info,
                     const std::set<std::uint64_t>& dcids);
    void CheckTable(Jorv::CMappingTable* table, const std::string& relPath, FileInfo* info,
                    const std::set<std::uint64_t>& dcids);

    std::string shareMetaDir;
    std::string shareId;
    std::int64_t ageLimitSeconds;
    jorv::NullDataCacheManagement nullCache;
    /// Declared after nullCache, so that it is destroyed before it.
    std::unique_ptr<Jorv::FileExtMapMgr> extMapMgr;
};

}  // namespace Corvane::Kst::Marlow::JorvCk
