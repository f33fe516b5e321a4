#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "refstore/extent/extent.h"

namespace size_test {

/// A site that is written piece by piece, with the share 7. Many equal files are names of one.
class SizeSite {
  public:
    /// @param volumes number of its volumes
    SizeSite(std::string path, bool tables, unsigned volumes);

    [[nodiscard]] std::string Share() const { return path_ + "/meta/7/7"; }
    [[nodiscard]] std::string Volume(unsigned number) const {
        return path_ + "/volumes/v" + std::to_string(number);
    }

    /// The header and the extents of the user file `relative`, with the directories above it.
    void AddFile(const std::string& relative, std::uint64_t extents) const;
    /// A further user file with the same header and extents as `original`.
    void AddSame(const std::string& relative, const std::string& original) const;
    /// Makes the containers 64 and up, spread over the volumes.
    void AddContainers(std::uint64_t count) const;

    /// Bytes of the extent file or data.mdb of a user file.
    [[nodiscard]] std::uint64_t MapBytes(const std::string& relative) const;

  private:
    void WriteExtents(const std::string& map, std::uint64_t count) const;

    std::string path_;
    bool tables_;
    unsigned volumes_;
};

/// Makes the directory and those above it, however long the path is.
void MakeDirectories(const std::string& path);

}  // namespace size_test
