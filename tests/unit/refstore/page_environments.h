#pragma once

#include <lmdb.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "refstore/table/page_reader.h"

namespace page_test {

using Records = std::vector<std::pair<std::string, std::string>>;

/// LMDB, as the tests use it. Every failure of LMDB is a std::runtime_error.
void Require(int code);

struct CloseEnvironment {
    void operator()(MDB_env* environment) const { mdb_env_close(environment); }
};
using Environment = std::unique_ptr<MDB_env, CloseEnvironment>;

/// Opens the environment at `path`, with MDB_NOSYNC and `flags`.
Environment OpenEnvironment(const std::string& path, unsigned flags, std::size_t mapSize);

/// All records of the unnamed database, as LMDB reads them; `flags` as for OpenEnvironment.
Records ReadWithLmdb(const std::string& path, unsigned flags);

/// All records, as the page reader gives them; the bytes are in a room of just their size.
Records ReadWithPageReader(const std::string& bytes);
Records RecordsOf(const refstore::PageReader& reader);

/// Bytes of a valid environment of many random transactions (nested and aborted ones, deletions,
/// values of all sizes, a reader that keeps old pages), taken as the file or as a copy of it.
struct RandomEnvironment {
    std::string bytes;
    Records records;
    std::string what;  ///< how it was made, for messages
};
RandomEnvironment MakeRandomEnvironment(std::uint32_t seed, bool small);

}  // namespace page_test
