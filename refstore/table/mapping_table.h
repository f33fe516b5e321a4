#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "refstore/extent/extent_record.h"
#include "refstore/table/table_directory.h"
#include "storage/mapping_table.h"

namespace refstore {

/// The library's one mapping table: empty, or over the extents of an extent file, or over one table
/// of a directory. The extents stay where they were loaded to; nothing is copied.
class MappingTable final : public Corvane::Kst::Marlow::Jorv::CMappingTable {
  public:
    /// An empty table.
    MappingTable() = default;

    iterator begin() override;
    iterator end() override;

    /// Checks the whole directory, and then holds its first table, that of the lowest offset; no
    /// entries when the directory has no table. `onKlfs` and `name` make no difference.
    std::int32_t Open(const std::string& path, bool onKlfs, std::string name) override;

    /// A table that was not opened from a directory has an empty list and a filter that matches
    /// nothing. Out of memory is SysException(ENOMEM) and leaves both arguments as they were.
    std::int32_t GetDcidList(std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry>* dcids,
                             std::unique_ptr<BloomFilter>* filter) override;

    /// Holds the extents of an extent file from now on.
    void Hold(ExtentRecord record) noexcept;

    /// Holds table number `table` of `directory` from now on; no entries when it has none of that
    /// number.
    void Hold(std::shared_ptr<const TableDirectory> directory, std::size_t table) noexcept;

  private:
    void Clear() noexcept;

    // What the members below them lie in: one of the two, or none.
    FileBytes file_;
    std::shared_ptr<const TableDirectory> directory_;
    std::span<const Extent> extents_;
    const StoredTableView* table_ = nullptr;
};

}  // namespace refstore
