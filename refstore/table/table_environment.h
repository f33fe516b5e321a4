#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "refstore/base/regular_file.h"
#include "refstore/table/bloom_bits.h"
#include "refstore/table/file_stamp.h"
#include "refstore/table/page_reader.h"
#include "refstore/table/table_file.h"
#include "refstore/table/table_records.h"
#include "storage/mapping_table.h"

namespace refstore {

/// Walk over the extents of one table, in stored order and in place; the environment outlives it.
class ExtentWalk {
  public:
    ExtentWalk(const PageReader& pages, const TableInfo& table)
        : walk_(pages, table.firstExtent), left_(table.extents) {}

    /// Extents from the current one to the last; 0 at the end.
    [[nodiscard]] std::size_t Left() const { return left_; }

    /// The current extent as it is stored, unaligned; not asked for at the end.
    [[nodiscard]] const std::byte* Bytes() const { return walk_.Current().Payload(); }

    /// Advances by one extent; not called at the end.
    void Next() {
        --left_;
        walk_.Next();
    }

  private:
    RecordWalk walk_;
    std::size_t left_;
};

/// The mapping tables of one directory, read from its data.mdb and checked as a whole. Immutable;
/// the extents stay where they were read to.
class TableEnvironment {
  public:
    /// Reads and checks `directory`/data.mdb. Every failure is a SysException: EBADMSG for damage,
    /// EFBIG for more than kMaxTableFile bytes, ENOMEM when memory runs out, and as for
    /// RegularFile.
    ///
    /// @param stamp where not null, receives the stamp of the file that was read, taken before it
    ///              was, so that a change meanwhile makes it stale.
    static std::shared_ptr<const TableEnvironment> Load(const std::string& directory,
                                                        std::optional<FileStamp>* stamp = nullptr);

    /// Checks a whole data.mdb in memory. Damage is SysException(EBADMSG) that names `path`.
    TableEnvironment(TableFile read, const std::string& path);
    TableEnvironment(const TableEnvironment&) = delete;
    TableEnvironment& operator=(const TableEnvironment&) = delete;

    /// Size of the user file in bytes, as recorded.
    [[nodiscard]] std::int64_t FileSize() const { return records_.fileSize; }

    /// The tables in ascending order of their offsets.
    [[nodiscard]] std::span<const TableInfo> Tables() const { return records_.tables; }

    /// Number of the table whose coverage holds `offset`; where several do, the last of them.
    [[nodiscard]] std::optional<std::size_t> Find(std::uint64_t offset) const;

    // `table` below is the number of a table, less than Tables().size().

    [[nodiscard]] ExtentWalk Extents(std::size_t table) const {
        return {pages_, records_.tables[table]};
    }
    [[nodiscard]] std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry> Dcids(std::size_t table) const;
    [[nodiscard]] BloomBits Bloom(std::size_t table) const;

    /// The LMDB environment inside the file, and all bytes of the file, trailer included.
    [[nodiscard]] const PageReader& Pages() const { return pages_; }
    [[nodiscard]] std::span<const std::byte> File() const { return file_.Span(); }

    /// Path of the file, for messages.
    [[nodiscard]] const std::string& Path() const { return path_; }

  private:
    FileBytes file_;
    std::string path_;
    PageReader pages_;
    TableRecords records_;
};

}  // namespace refstore
