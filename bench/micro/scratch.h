#pragma once

#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "refstore/extent/extent.h"
#include "refstore/table/table_record.h"

namespace bench {

/// A directory of its own, removed with all that is in it.
class Scratch {
  public:
    Scratch();
    ~Scratch();
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    [[nodiscard]] std::string Path() const { return path_.string(); }
    [[nodiscard]] std::string operator/(const char* name) const { return (path_ / name).string(); }

  private:
    std::filesystem::path path_;
};

/// Lowest DCID of a container, and how many containers the extents below are spread over.
inline constexpr std::uint64_t kFirstContainer = 64;
inline constexpr std::uint64_t kContainers = 256;

/// Seeded extents one after the other, their DCIDs drawn from the containers.
std::vector<refstore::Extent> MakeExtents(std::size_t count);

/// One table of such extents with its DCID list and filter.
refstore::TableDirectoryRecord MakeTables(std::size_t extents);

}  // namespace bench
