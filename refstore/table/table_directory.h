#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "refstore/base/envelope.h"
#include "refstore/extent/extent.h"
#include "refstore/table/bloom_filter.h"
#include "storage/mapping_table.h"

namespace refstore {

/// The envelope that a data.mdb is kept in. It has room for 21 million extents, each of a container
/// of its own; version 1 was another format.
inline constexpr EnvelopeKind kTablesKind{"JORVTABL", 2, "mapping table"};

/// Tables that a data.mdb has at most.
inline constexpr std::size_t kMaxTables = std::size_t{1} << 18;

/// True when stepping through a table's coverage GiB by GiB, each time over its `entries` extents
/// and DCIDs, costs more than any table of a real file: more than 2^46 bytes covered, or more than
/// 2^30 for the GiB covered times the entries.
bool CostsTooMuch(std::uint64_t offset, std::uint64_t end, std::uint64_t entries);

/// One table of a directory, in place.
struct StoredTableView {
    std::uint64_t offset = 0;  ///< first file offset that the table covers
    std::uint64_t end = 0;     ///< offset of the first byte after its coverage
    std::span<const Extent> extents;
    std::span<const Corvane::Kst::Marlow::Jorv::DcidEntry> dcids;
    std::span<const std::uint64_t> bloomWords;
    std::uint32_t bloomHashes = 0;
    /// Largest `end` of this table and all before it.
    std::uint64_t reach = 0;

    /// A copy of the table's filter.
    [[nodiscard]] BloomBits Bloom() const {
        return {bloomHashes, {bloomWords.begin(), bloomWords.end()}};
    }
};

/// The mapping tables of one directory, read from its data.mdb and checked as a whole. Immutable;
/// all parts stay where they were read to.
class TableDirectory {
  public:
    /// What follows a directory's path in that of its file.
    static constexpr std::string_view kFileName = "/data.mdb";
    /// Path of the file in `directory`.
    static std::string FileIn(std::string directory) {
        directory += kFileName;
        return directory;
    }

    /// Reads and checks the data.mdb at `path`. Every failure is a SysException.
    static std::shared_ptr<const TableDirectory> Load(const std::string& path);
    /// The same of a file that is open already.
    static std::shared_ptr<const TableDirectory> Load(const RegularFile& file);

    /// Checks the record of an opened envelope. Damage is SysException(EBADMSG) that names `path`.
    TableDirectory(LoadedEnvelope loaded, const std::string& path);
    TableDirectory(const TableDirectory&) = delete;
    TableDirectory& operator=(const TableDirectory&) = delete;

    /// Size of the user file in bytes, as recorded.
    [[nodiscard]] std::int64_t FileSize() const { return fileSize_; }

    /// The tables in ascending order of their offsets.
    [[nodiscard]] std::span<const StoredTableView> Tables() const { return tables_; }

    /// Number of the table whose coverage holds `offset`; where several do, the last of them.
    [[nodiscard]] std::optional<std::size_t> Find(std::uint64_t offset) const;

  private:
    FileBytes file_;
    std::int64_t fileSize_ = 0;
    std::vector<StoredTableView> tables_;
};

}  // namespace refstore
