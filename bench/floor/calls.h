#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bench {

/// The calls of the floor, bare. What fails ends the program: a floor that left something out would
/// be none.
class Calls {
  public:
    /// stat; returns nothing.
    void Status(const std::string& path);

    /// stat of a path that may be missing.
    void StatusIfThere(const std::string& path);

    /// stat (opening what is no regular file would change its state), open, fstat, one pread of the
    /// whole file into a buffer that is kept, close.
    void ReadWhole(const std::string& path);

    /// stat; then for each `step` bytes of the file: open, lseek, read, close.
    void ReadInSteps(const std::string& path, std::size_t step);

    [[nodiscard]] std::size_t BytesRead() const { return bytes_; }

  private:
    /// The buffer, made larger where it is too small; what is in it is lost.
    char* Room(std::size_t size);

    std::unique_ptr<char[]> buffer_;
    std::size_t room_ = 0;
    std::size_t bytes_ = 0;
};

/// Whether List asks for the status of each entry.
enum class Statuses { kNone, kEach };

/// opendir, readdir to the end, closedir; fstatat of each entry relative to the directory, if asked
/// for. `entry` is called with the name and whether it is a directory by the type that the listing
/// reports, "." and ".." left out; false from it ends the listing.
void List(const std::string& directory, Statuses statuses,
          const std::function<bool(const char* name, bool isDirectory)>& entry);

/// Message and exit.
[[noreturn]] void Fail(const std::string& what);

/// What the subcommands do.
void RunMetadata(const std::string& share, bool tables, std::size_t extentBytes);
/// @param readTables opens and reads the tables of the user file "/<relative path>".
void RunData(const std::string& share, std::size_t threads, const std::vector<std::string>& volumes,
             const std::function<void(Calls& calls, const std::string& file)>& readTables);
/// Reads every file of a share, on so many threads.
void RunReading(const std::string& share, std::size_t threads);

/// Calls `body` with 0 to `count` - 1, each on a thread of its own.
void OnThreads(std::size_t count, const std::function<void(std::size_t number)>& body);

}  // namespace bench
