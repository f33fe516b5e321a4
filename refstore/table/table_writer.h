#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "refstore/table/table_record.h"

namespace refstore {

/// The bytes of a data.mdb that holds `record`; `path` is for messages. Fails as the next.
std::vector<std::byte> EncodeTables(const TableDirectoryRecord& record, const std::string& path);

/// Writes `record` as data.mdb into the existing directory `directory`, which must not hold one.
///
/// Extents are stored in offset order (stable where starts are equal), everything else in the given
/// order. The same record always gives the same bytes. Leaves nothing but data.mdb, and nothing at
/// all on failure, which is a SysException. Does not sync.
void WriteTableDirectory(const std::string& directory, const TableDirectoryRecord& record);

}  // namespace refstore
