#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace refstore {

/// Room that an LMDB environment needs for a number of records, added up ahead.
class EnvironmentRoom {
  public:
    void Add(std::size_t keySize, std::size_t valueSize);

    /// Bytes, a multiple of the page size, that LMDB's map must have.
    [[nodiscard]] std::size_t MapSize() const;

  private:
    std::size_t leafBytes_ = 0;
    std::size_t overflowPages_ = 0;
};

/// Has LMDB make an environment of one unnamed database, in memory: a map that LMDB writes to would
/// kill the process on a full disk. The same records in the same order give the same bytes.
class EnvironmentWriter {
  public:
    /// @param path file that the bytes are meant for, for messages; kept by reference.
    ///
    /// This and the operations below fail with SysException.
    EnvironmentWriter(const EnvironmentRoom& room, const std::string& path);
    ~EnvironmentWriter();
    EnvironmentWriter(const EnvironmentWriter&) = delete;
    EnvironmentWriter& operator=(const EnvironmentWriter&) = delete;

    /// Adds a record; keys come in ascending order, as memcmp has it.
    void Append(std::span<const std::byte> key, std::span<const std::byte> value);

    /// Commits, once, and returns all pages of the environment, with room for `behind` more bytes,
    /// zero, at the end.
    std::vector<std::byte> Finish(std::size_t behind);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace refstore
