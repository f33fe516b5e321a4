#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "refstore/extent/extent.h"

namespace bench {

/// Writes an LMDB environment into the directory: one plain database with a record per extent, its
/// key the number of the extent. What fails ends the program.
void WriteEnvironment(const std::string& directory, std::span<const refstore::Extent> extents);

/// Opens the environment in `directory` with LMDB, walks all records of its one database with a
/// cursor, and closes it. Checks nothing; what fails ends the program. Returns a sum of bytes of
/// the records, so that the walk is not left out.
std::uint64_t WalkEnvironment(const std::string& directory);

}  // namespace bench
