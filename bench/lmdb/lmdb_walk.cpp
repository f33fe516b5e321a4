// Plain LMDB: each environment opened, all records of its one database walked with a cursor, and
// closed. Nothing is checked. The paths come from a file that was made beforehand, so that finding
// them costs LMDB nothing.
//   bench_lmdb LIST THREADS
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/lmdb/walk.h"

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
                mine += bench::WalkEnvironment(directories[at]);
            }
            sum += mine;
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return sum == 0 ? 1 : 0;
}
