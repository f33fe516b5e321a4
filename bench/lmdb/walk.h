#pragma once

#include <cstdint>
#include <string>

namespace bench {

/// Opens the environment in `directory` with LMDB, walks all records of its one database with a
/// cursor, and closes it. Checks nothing; what fails ends the program. Returns a sum of bytes of
/// the records, so that the walk is not left out.
std::uint64_t WalkEnvironment(const std::string& directory);

}  // namespace bench
