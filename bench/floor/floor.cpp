// The floor: the calls that a check of a sound share cannot do without, and nothing else. Nothing
// that is read is looked at.
//   bench_floor metadata SHARE files|tables EXTENT_BYTES
//   bench_floor data SHARE THREADS VOLUME...
//   bench_floor read SHARE THREADS
#include <cstdio>
#include <string>
#include <vector>

#include "bench/floor/calls.h"

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv, argv + argc);
    if (words.size() == 5 && words[1] == "metadata") {
        bench::RunMetadata(words[2], words[3] == "tables", std::stoul(words[4]));
    } else if (words.size() >= 4 && words[1] == "data") {
        bench::RunData(words[2], std::stoul(words[3]), {words.begin() + 4, words.end()},
                       [&words](bench::Calls& calls, const std::string& file) {
                           calls.ReadWhole(words[2] + "/map" + file + "/data.mdb");
                       });
    } else if (words.size() == 4 && words[1] == "read") {
        bench::RunReading(words[2], std::stoul(words[3]));
    } else {
        std::fputs("bench_floor metadata|data|read ...\n", stderr);
        return 2;
    }
    return 0;
}
