#include "bench/lmdb/environment.h"

#include <lmdb.h>

#include <bit>
#include <cstdio>
#include <cstdlib>

namespace bench {

namespace {

void Require(int code) {
    if (code != 0) {
        std::fprintf(stderr, "bench_lmdb: %s\n", mdb_strerror(code));
        std::exit(1);
    }
}

}  // namespace

void WriteEnvironment(const std::string& directory, std::span<const refstore::Extent> extents) {
    // More than the records need; the file takes what is written alone.
    const std::size_t room = (std::size_t{1} << 20) + 4 * extents.size_bytes();
    MDB_env* environment = nullptr;
    Require(mdb_env_create(&environment));
    Require(mdb_env_set_mapsize(environment, room));
    Require(mdb_env_open(environment, directory.c_str(), MDB_NOLOCK | MDB_NOSYNC, 0644));
    MDB_txn* transaction = nullptr;
    Require(mdb_txn_begin(environment, nullptr, 0, &transaction));
    MDB_dbi database = 0;
    Require(mdb_dbi_open(transaction, nullptr, 0, &database));
    for (std::uint64_t number = 0; number < extents.size(); ++number) {
        // Keys are ordered as bytes.
        std::uint64_t bigEndian = __builtin_bswap64(number);
        MDB_val key = {sizeof bigEndian, &bigEndian};
        refstore::Extent extent = extents[number];
        MDB_val value = {sizeof extent, &extent};
        Require(mdb_put(transaction, database, &key, &value, MDB_APPEND));
    }
    Require(mdb_txn_commit(transaction));
    mdb_env_close(environment);
}

std::uint64_t WalkEnvironment(const std::string& directory) {
    MDB_env* environment = nullptr;
    Require(mdb_env_create(&environment));
    Require(mdb_env_open(environment, directory.c_str(), MDB_NOLOCK | MDB_RDONLY, 0));
    MDB_txn* transaction = nullptr;
    Require(mdb_txn_begin(environment, nullptr, MDB_RDONLY, &transaction));
    MDB_dbi database = 0;
    Require(mdb_dbi_open(transaction, nullptr, 0, &database));
    MDB_cursor* cursor = nullptr;
    Require(mdb_cursor_open(transaction, database, &cursor));
    MDB_val key = {};
    MDB_val value = {};
    std::uint64_t sum = 0;
    int code = 0;
    while ((code = mdb_cursor_get(cursor, &key, &value, MDB_NEXT)) == 0) {
        // One byte of each, so that the walk touches what it passes.
        sum += 1U + static_cast<const unsigned char*>(key.mv_data)[0] +
               static_cast<const unsigned char*>(value.mv_data)[0];
    }
    if (code != MDB_NOTFOUND) {
        Require(code);
    }
    mdb_cursor_close(cursor);
    mdb_txn_abort(transaction);
    mdb_env_close(environment);
    return sum;
}

}  // namespace bench
