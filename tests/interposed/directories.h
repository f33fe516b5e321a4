#pragma once

#include <dirent.h>

#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace interposed {

/// Watches the directory listings of the process while it lives, and replaces some of them. One at
/// a time; any thread may list.
class Directories {
  public:
    struct Entry {
        std::string name;
        unsigned char type = DT_REG;
    };

    Directories();
    ~Directories();
    Directories(const Directories&) = delete;
    Directories& operator=(const Directories&) = delete;

    /// From now on `path` can be opened, whether or not it exists, and lists `entries` in this
    /// order; then the listing ends, or fails with `error`.
    void List(const std::string& path, std::vector<Entry> entries, int error = 0);

    /// Runs `hook` with the path whenever a directory is about to be opened.
    void OnOpen(std::function<void(const std::string&)> hook) { onOpen_ = std::move(hook); }

    /// Paths in the order in which they were to be opened, those that could not be included.
    [[nodiscard]] std::vector<std::string> Opened() const;
    /// Directories open now, and open at once at most.
    [[nodiscard]] std::size_t Open() const;
    [[nodiscard]] std::size_t MostOpen() const;

    // For the functions that replace the C library's.

    DIR* OpenDirectory(const char* path);
    dirent64* Read(DIR* directory);
    int Close(DIR* directory);

  private:
    struct Listing {
        std::vector<Entry> entries;
        int error = 0;
    };
    struct Position {
        const Listing* listing = nullptr;  ///< null for a directory that is listed as it is
        std::size_t next = 0;
        dirent64 record = {};
    };

    mutable std::mutex mutex_;
    std::function<void(const std::string&)> onOpen_;
    std::map<std::string, Listing> listings_;
    std::map<DIR*, Position> open_;
    std::size_t mostOpen_ = 0;
    std::vector<std::string> opened_;
};

}  // namespace interposed
