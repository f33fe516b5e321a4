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
    /// The library defines the next three; the checker does not read them. The reference library
    /// writes the table's first offset, the offset just after its last, and its number in the file.
    std::uint64_t startOffset;
    std::uint64_t endOffset;
    std::uint32_t number;
};

/// Manager of the mapping tables that make up one file's extent map.
///
/// Construction touches no file, because its directory may not exist. Made, used and freed by one
/// thread.
class BaseFileExtMapMgr {
  public:
    /// @param path      extent-map directory.
    /// @param name      defined by the library; the checker passes the empty text.
    /// @param table     becomes the member `table`, owned by the manager; may be null.
    /// @param dataCache data-cache manager. It must outlive this object, which never calls it.
    ///
    /// May throw SysException.
    BaseFileExtMapMgr(const std::string& path, const std::string& name, CMappingTable* table,
                      jorv::DataCacheManagementInterface* dataCache);

    /// Frees `table` and every table that the manager handed out.
    virtual ~BaseFileExtMapMgr();
    BaseFileExtMapMgr(const BaseFileExtMapMgr&) = delete;
    BaseFileExtMapMgr& operator=(const BaseFileExtMapMgr&) = delete;

    /// Loads the tables of the directory, whether or not `table` was opened before. Every failure
    /// is a SysException and leaves the manager without loaded tables.
    void LoadTables();

    /// Looks up the table that covers the file offset `offset` (bytes).
    ///
    /// @return 0 with `entry` filled, or nonzero with `entry` unchanged when no table covers the
    ///         offset. The manager owns the table, which is valid until the manager is destroyed or
    ///         LoadTables is called again.
    ///
    /// May throw SysException.
    std::int32_t GetTableForRead(long offset, ExtMapEntry* entry);

    /// The manager's own table, or null.
    std::unique_ptr<CMappingTable> table;

  protected:
    /// State of the manager, defined by the storage library.
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
    /// Arguments and failures are those of the constructor.
    ///
    /// @return the manager, never null; the caller owns it. Open may be called on its `table`
    /// before
    ///         LoadTables.
    static FileExtMapMgr* newFileExtMapMgr(const std::string& path, const std::string& name,
                                           jorv::DataCacheManagementInterface* dataCache);

    /// Logical file size in bytes according to the loaded tables; 0 before LoadTables. May throw
    /// SysException.
    std::int64_t GetFileSize();
};

}  // namespace Corvane::Kst::Marlow::Jorv
