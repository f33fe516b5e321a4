#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "refstore/container/container_record.h"

namespace refstore {

/// The bytes of a .bhd file.
std::vector<std::byte> EncodeContainerIndex(const ContainerIndex& index);

/// Fills one container: data goes to memory piece by piece and, with Finish, to disk as
/// "<dcid>.bhd" and then "<dcid>.bin" in `directory`. A container that was not finished leaves
/// nothing. Failures are SysExceptions. One thread at a time.
class ContainerWriter {
  public:
    /// @param dataEnding of the data's name, where that is still to be put in its place.
    ContainerWriter(std::string directory, std::uint64_t dcid, std::string dataEnding = ".bin");

    /// Adds `data`, at most kMaxContainerPiece bytes, and returns its entry. More throws
    /// std::length_error.
    ContainerEntry Add(const crfp_digest_t& fp, std::span<const std::byte> data);

    [[nodiscard]] std::uint64_t Size() const { return data_.size(); }
    [[nodiscard]] std::uint64_t Dcid() const { return index_.dcid; }

    /// Writes both files. Nothing may be added afterwards. A container of that name that is there
    /// already is left as it is, and Finish fails. Not durable until SyncFileSystem.
    void Finish();

  private:
    std::string directory_;
    std::string dataEnding_;
    std::vector<std::byte> data_;
    ContainerIndex index_;
    bool finished_ = false;
};

}  // namespace refstore
