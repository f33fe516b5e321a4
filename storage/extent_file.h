#pragma once

#include <cstdint>
#include <string>

#include "storage/mapping_table.h"

namespace Corvane::Kst::Marlow::Jorv {

/// Extent file of one user file, in the layout that keeps one extent file per user file.
///
/// Made, loaded and released by one thread.
class ExtentFile {
  public:
    /// @param table table from CreateMappingTable that Load fills. The caller keeps ownership, and
    ///              the table must outlive this object. With a null table, Load fails.
    explicit ExtentFile(CMappingTable* table);

    /// Releases the object; the table stays.
    ~ExtentFile();
    ExtentFile(const ExtentFile&) = delete;
    ExtentFile& operator=(const ExtentFile&) = delete;

    /// Parses the extent file at `path`.
    ///
    /// Success replaces the table's entries by those of the file, in stored order, and sets
    /// `transId`. Every failure is a SysException and leaves the table and `transId` unchanged.
    void Load(const std::string& path);

    /// Transaction id recorded in the extent file.
    std::int64_t transId = 0;

  private:
    CMappingTable* table_;
};

}  // namespace Corvane::Kst::Marlow::Jorv
