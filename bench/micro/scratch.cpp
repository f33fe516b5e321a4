#include "bench/micro/scratch.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace bench {

namespace {

constexpr std::uint64_t kExtentBytes = 1024;

}  // namespace

Scratch::Scratch()
    : path_([] {
          std::string name =
              (std::filesystem::temp_directory_path() / "jorv-bench-XXXXXX").string();
          if (::mkdtemp(name.data()) == nullptr) {
              throw std::system_error(errno, std::generic_category(), name);
          }
          return name;
      }()) {}

Scratch::~Scratch() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::vector<refstore::Extent> MakeExtents(std::size_t count) {
    std::mt19937_64 random(1);
    std::vector<refstore::Extent> extents(count);
    std::uint64_t at = 0;
    for (refstore::Extent& extent : extents) {
        extent.start = at;
        extent.end = at += kExtentBytes;
        extent.dcid = kFirstContainer + random() % kContainers;
        for (std::uint8_t& byte : extent.fp.bytes) {
            byte = static_cast<std::uint8_t>(random());
        }
    }
    return extents;
}

refstore::TableDirectoryRecord MakeTables(std::size_t extents) {
    refstore::TableRecord table{.offset = 0,
                                .end = extents * kExtentBytes,
                                .extents = MakeExtents(extents),
                                .dcids = {},
                                .bloom = {}};
    for (std::uint64_t i = 0; i < kContainers; ++i) {
        table.dcids.emplace_back(kFirstContainer + i, 0);
    }
    for (const refstore::Extent& extent : table.extents) {
        table.bloom.push_back(extent.fp);
    }
    return {.fileSize = static_cast<std::int64_t>(extents * kExtentBytes), .tables = {table}};
}

}  // namespace bench
