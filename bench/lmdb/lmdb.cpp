// Plain LMDB as a peer: the same extents kept in one LMDB environment per user file.
//   bench_lmdb make SHARE ENVIRONMENTS               makes the environments
//   bench_lmdb walk ENVIRONMENTS THREADS             opens, walks and closes each; nothing else
//   bench_lmdb floor SHARE ENVIRONMENTS THREADS VOLUME...
//                                                    as `bench_floor data`, with LMDB for the
//                                                    tables
// `make` also lists the environments in ENVIRONMENTS/list, so that finding them costs a walk
// nothing.
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/floor/calls.h"
#include "bench/lmdb/environment.h"
#include "refstore/table/table_directory.h"

namespace {

namespace fs = std::filesystem;

void Make(const std::string& share, const fs::path& environments) {
    const fs::path map = share + "/map";
    fs::create_directories(environments);
    std::ofstream list(environments / "list");
    for (const auto& entry : fs::recursive_directory_iterator(map)) {
        if (entry.path().filename() != "data.mdb") {
            continue;
        }
        const auto tables = refstore::TableDirectory::Load(entry.path());
        std::vector<refstore::Extent> extents;
        for (const refstore::StoredTableView& table : tables->Tables()) {
            extents.insert(extents.end(), table.extents.begin(), table.extents.end());
        }
        const fs::path made = environments / fs::relative(entry.path().parent_path(), map);
        fs::create_directories(made);
        bench::WriteEnvironment(made, extents);
        list << made.string() << '\n';
    }
}

int Walk(const std::string& environments, std::size_t threads) {
    std::vector<std::string> directories;
    std::ifstream list(environments + "/list");
    for (std::string line; std::getline(list, line);) {
        directories.push_back(line);
    }
    std::atomic<std::size_t> next = 0;
    std::atomic<std::uint64_t> sum = 0;
    bench::OnThreads(threads, [&](std::size_t) {
        std::uint64_t mine = 0;
        for (std::size_t at = next++; at < directories.size(); at = next++) {
            mine += bench::WalkEnvironment(directories[at]);
        }
        sum += mine;
    });
    return sum == 0 ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv, argv + argc);
    if (words.size() == 4 && words[1] == "make") {
        Make(words[2], words[3]);
    } else if (words.size() == 4 && words[1] == "walk") {
        return Walk(words[2], std::stoul(words[3]));
    } else if (words.size() >= 5 && words[1] == "floor") {
        bench::RunData(words[2], std::stoul(words[4]), {words.begin() + 5, words.end()},
                       [&words](bench::Calls&, const std::string& file) {
                           bench::WalkEnvironment(words[3] + file);
                       });
    } else {
        std::fputs("bench_lmdb make|walk|floor ...\n", stderr);
        return 2;
    }
    return 0;
}
