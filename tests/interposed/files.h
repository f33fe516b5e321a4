#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdio>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace interposed {

/// Records what is done with the files whose paths begin with a prefix, while it lives. One at a
/// time, one thread. The lines:
///
///   stat64 PATH    fopen64 PATH MODE    fseeko64 OFFSET WHENCE    fread SIZE COUNT    fclose
///
/// PATH is shown without the prefix. All reads are taken to go into one buffer of a size known
/// beforehand; " dirty" follows an fread or fclose that found other bytes than zero in it.
class Files {
  public:
    Files(std::string prefix, std::size_t bufferSize);
    ~Files();
    Files(const Files&) = delete;
    Files& operator=(const Files&) = delete;

    /// From now on the status of `path`, a whole path that exists, tells the file type `type`.
    void ShowAs(const std::string& path, mode_t type) { types_[path] = type; }

    [[nodiscard]] const std::vector<std::string>& Calls() const { return calls_; }
    /// Forgets the calls so far.
    void Forget() { calls_.clear(); }
    /// Watched streams that are open now.
    [[nodiscard]] std::size_t Open() const { return open_.size(); }
    /// The buffer that was read into last; empty before the first read. The test knows whether it
    /// still exists.
    [[nodiscard]] std::span<const unsigned char> Buffer() const { return buffer_; }
    /// Whether the buffer holds only zero bytes, or was never read into.
    [[nodiscard]] bool BufferIsClear() const;

    // For the functions that replace the C library's.

    [[nodiscard]] bool Watches(const char* path) const;
    [[nodiscard]] bool Watches(std::FILE* file) const;
    void Stat(const char* path, struct stat64* attributes);
    void Opened(const char* path, const char* mode, std::FILE* file);
    void Seek(long offset, int whence);
    void Read(const void* data, std::size_t size, std::size_t count);
    void Close(std::FILE* file);

  private:
    [[nodiscard]] std::string Dirty() const { return BufferIsClear() ? "" : " dirty"; }

    std::string prefix_;
    std::size_t bufferSize_;
    std::span<const unsigned char> buffer_;
    std::map<std::string, mode_t> types_;
    std::vector<std::FILE*> open_;
    std::vector<std::string> calls_;
};

}  // namespace interposed
