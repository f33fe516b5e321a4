#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "storage/mapping_table.h"

namespace Corvane::Kst::Marlow::Jorv {

/// What GetTableForRead fills. The caller sets every member to zero before the call.
struct ExtMapEntry {
    /// Mapping table that covers the requested offset; owned by the manager.
    CMappingTable* table;
    /// The next three are the library's own and not read by the checker. The reference library
    /// writes the table's first and past-the-last offset and its number within the file.
    std::uint64_t startOffset;
    std::uint64_t endOffset;
    std::uint32_t number;
};

/// Manager of the mapping tables that make up one file's extent map.
///
/// Construction touches no file: a manager is made before its directory is known to exist. Made,
/// used and freed by one thread.
class BaseFileExtMapMgr {
  public:
    /// @param path      extent-map directory.
    /// @param name      the library's own; the checker passes the empty text.
    /// @param table     becomes the member `table`, owned by the manager; may be null.
    /// @param dataCache data-cache manager; outlives the manager, never called by it.
    ///
    /// May throw SysException.
    BaseFileExtMapMgr(const std::string& path, const std::string& name, CMappingTable* table,
                      jorv::DataCacheManagementInterface* dataCache);

    /// Frees the manager, its `table` and every table that it handed out.
    virtual ~BaseFileExtMapMgr();
    BaseFileExtMapMgr(const BaseFileExtMapMgr&) = delete;
    BaseFileExtMapMgr& operator=(const BaseFileExtMapMgr&) = delete;

    /// Loads the tables of the directory, whether or not `table` was opened before. Every failure
    /// is a SysException; the manager then holds no tables.
    void LoadTables();

    /// Looks up the table that covers the file offset `offset` (bytes).
    ///
    /// @return 0 with `entry` filled, or nonzero when no table covers the offset; `entry` is then
    ///         as it was. The table stays the manager's and lives until the manager dies or loads
    ///         again.
    ///
    /// May throw SysException.
    std::int32_t GetTableForRead(long offset, ExtMapEntry* entry);

    /// The manager's own table, or null.
    std::unique_ptr<CMappingTable> table;

  protected:
    /// State of the storage library's own.
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

/// The manager that the checks use.
class FileExtMapMgr : public BaseFileExtMapMgr {
  public:
    using BaseFileExtMapMgr::BaseFileExtMapMgr;
    ~FileExtMapMgr() override;

    /// Makes a manager that holds a fresh table.
    ///
    /// @return the manager, never null; the caller owns it. Open may be called on its `table`
    ///         before LoadTables. Arguments and failures as for the constructor.
    static FileExtMapMgr* newFileExtMapMgr(const std::string& path, const std::string& name,
                                           jorv::DataCacheManagementInterface* dataCache);

    /// Logical file size in bytes according to the loaded tables; 0 before LoadTables. May throw
    /// SysException.
    std::int64_t GetFileSize();
};

}  // namespace Corvane::Kst::Marlow::Jorv
