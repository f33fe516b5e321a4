#include <algorithm>
#include <atomic>
#include <thread>

#include "bench/floor/calls.h"

namespace bench {

namespace {

/// Paths of all files below `directory`, without their first `prefix` characters.
void Collect(const std::string& directory, std::size_t prefix, std::vector<std::string>& found) {
    List(directory, Statuses::kEach, [&](const char* name, bool isDirectory) {
        const std::string path = directory + "/" + name;
        if (isDirectory) {
            Collect(path, prefix, found);
        } else {
            found.push_back(path.substr(prefix));
        }
        return true;
    });
}

/// A volume: listed, and each container's second file asked for.
void Volume(const std::string& volume) {
    Calls calls;
    std::vector<std::string> files;
    Collect(volume, 0, files);
    for (const std::string& file : files) {
        if (file.ends_with(".bin")) {
            calls.Status(file.substr(0, file.size() - 4) + ".bhd");
        }
    }
}

}  // namespace

void OnThreads(std::size_t count, const std::function<void(std::size_t number)>& body) {
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < count; ++i) {
        threads.emplace_back([&body, i] { body(i); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void RunData(const std::string& share, std::size_t threads, const std::vector<std::string>& volumes,
             const std::function<void(Calls& calls, const std::string& file)>& readTables) {
    OnThreads(volumes.size(), [&](std::size_t i) { Volume(volumes[i]); });
    std::vector<std::string> files;
    Collect(share + "/head", share.size() + 5, files);
    std::sort(files.begin(), files.end());
    std::atomic<std::size_t> next = 0;
    OnThreads(threads, [&](std::size_t) {
        Calls calls;
        for (std::size_t i = next++; i < files.size(); i = next++) {
            const std::string header = share + "/head" + files[i];
            calls.Status(header);
            calls.ReadWhole(header);
            const std::string extents = share + "/map" + files[i];
            calls.Status(extents);
            calls.Status(extents + "/data.mdb");
            readTables(calls, files[i]);
        }
    });
}

void RunReading(const std::string& share, std::size_t threads) {
    std::vector<std::string> files;
    Collect(share, 0, files);
    std::sort(files.begin(), files.end());
    std::atomic<std::size_t> next = 0;
    OnThreads(threads, [&](std::size_t) {
        Calls calls;
        for (std::size_t i = next++; i < files.size(); i = next++) {
            calls.ReadWhole(files[i]);
        }
    });
}

}  // namespace bench
