#include "bench/lmdb/walk.h"

#include <lmdb.h>

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
        sum += static_cast<const unsigned char*>(key.mv_data)[0] +
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
