#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "refstore/table/page_reader.h"

namespace refstore {

/// One table of a directory: what is stored about it, and where its records begin.
struct TableInfo {
    std::uint64_t offset = 0;  ///< first file offset that the table covers
    std::uint64_t end = 0;     ///< offset just behind its coverage
    std::uint32_t extents = 0;
    std::uint32_t dcids = 0;
    std::uint32_t bloomHashes = 0;
    std::uint64_t bloomWords = 0;
    /// Largest `end` of this table and all before it.
    std::uint64_t reach = 0;
    RecordPosition firstDcids;
    RecordPosition bloom;
    RecordPosition firstExtent;
};

/// What the records of a directory say.
struct TableRecords {
    std::int64_t fileSize = 0;
    std::vector<TableInfo> tables;
};

/// Checks every record: exactly those that must be there, in their order and of their size. The
/// values in them are not judged. Damage is SysException(EBADMSG).
TableRecords CheckTableRecords(const PageReader& pages, const std::string& path);

}  // namespace refstore
