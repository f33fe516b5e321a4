// Plain LMDB: each environment opened, all records of its one database walked with a cursor, and
// closed. Nothing is checked. The paths come from a file that was made beforehand, so that finding
// them costs LMDB nothing.
//   bench_lmdb LIST THREADS
#include <lmdb.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

void Require(int code) {
    if (code != 0) {
        std::fprintf(stderr, "bench_lmdb: %s\n", mdb_strerror(code));
        std::exit(1);
    }
}

std::uint64_t Walk(const std::string& directory) {
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

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("bench_lmdb LIST THREADS\n", stderr);
        return 2;
    }
    std::vector<std::string> directories;
    std::ifstream list(argv[1]);
    for (std::string line; std::getline(list, line);) {
        directories.push_back(line);
    }
    std::atomic<std::size_t> next = 0;
    std::atomic<std::uint64_t> sum = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < std::atoi(argv[2]); ++i) {
        threads.emplace_back([&] {
            std::uint64_t mine = 0;
            for (std::size_t at = next++; at < directories.size(); at = next++) {
                mine += Walk(directories[at]);
            }
            sum += mine;
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return sum == 0 ? 1 : 0;
}
