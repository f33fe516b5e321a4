#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "storage/bloom_filter.h"
#include "storage/ext.h"

namespace jorv {
class DataCacheManagementInterface;
}

namespace Corvane::Kst::Marlow::Jorv {

/// One entry of a table's DCID list: the DCID, and a second value that the checker does not read.
using DcidEntry = std::pair<unsigned long, unsigned long>;

/// Position in a mapping table. The table makes it; Destroy frees it. The slot order is fixed. One
/// thread at a time.
class MappingCursor {
  public:
    /// The entry under the cursor. The caller never frees it; it is valid until the cursor moves or
    /// is destroyed. Not called past the end.
    virtual Ext* Current() = 0;

    /// Advances by one entry. Not called past the end.
    virtual void Next() = 0;

    /// True when both cursors are at the same position. `other` is a cursor of the same table. It
    /// is null only when the table's end() has a null cursor, and then means the end.
    virtual bool Equals(MappingCursor* other) = 0;

    /// Frees the cursor, which nothing may use afterwards. Must not throw.
    virtual void Destroy() = 0;

  protected:
    MappingCursor() = default;
    ~MappingCursor() = default;
    MappingCursor(const MappingCursor&) = default;
    MappingCursor& operator=(const MappingCursor&) = default;
};

/// Mapping table: the extents that make up one file, or one span of it, in the table's own order.
///
/// The order of the virtual slots is fixed, the destructor first. One thread at a time. The library
/// never calls the data-cache manager that the table was made with.
class CMappingTable {
  public:
    /// Owning handle to a cursor. It can be moved but not copied, and may be empty.
    ///
    /// The handle's destructor calls Destroy on its cursor. An exception from Destroy ends the
    /// process.
    class iterator {
      public:
        /// An empty handle.
        iterator() noexcept = default;

        /// Takes ownership of `cursor`, which may be null.
        explicit iterator(MappingCursor* cursor) noexcept : cursor_(cursor) {}

        /// True when both are at the same position; an empty handle is at the end.
        [[nodiscard]] bool Equals(const iterator& other) const {
            if (cursor_ != nullptr) {
                return cursor_->Equals(other.cursor_.get());
            }
            return other.cursor_ == nullptr || other.cursor_->Equals(nullptr);
        }

        friend bool operator==(const iterator& one, const iterator& other) {
            return one.Equals(other);
        }

        /// The current entry, as MappingCursor::Current. The handle is not empty.
        [[nodiscard]] Ext* Current() const { return cursor_->Current(); }
        Ext* operator->() const { return Current(); }

        /// Advances by one entry, as MappingCursor::Next. The handle is not empty.
        void Next() { cursor_->Next(); }

      private:
        struct DestroyCursor {
            void operator()(MappingCursor* cursor) const noexcept { cursor->Destroy(); }
        };
        std::unique_ptr<MappingCursor, DestroyCursor> cursor_;
    };

    CMappingTable() = default;
    CMappingTable(const CMappingTable&) = delete;
    CMappingTable& operator=(const CMappingTable&) = delete;

    virtual ~CMappingTable() = default;

    /// Cursor at the first entry; equal to end() when the table is empty. May throw SysException.
    virtual iterator begin() = 0;

    /// Past-the-end cursor. A walk takes a new one at every step, so it must be cheap. May throw
    /// SysException.
    virtual iterator end() = 0;

    /// Opens the table kept in a mapping-table directory.
    ///
    /// @param path   mapping-table directory.
    /// @param onKlfs true when the directory lies on a Klfs volume.
    /// @param name   defined by the library; the checker passes the empty text.
    /// @return 0 on success, else an errno-style code.
    ///
    /// May throw SysException instead of returning a code. After a failure the table has no
    /// entries.
    virtual std::int32_t Open(const std::string& path, bool onKlfs, std::string name) = 0;

    /// Hands over the table's DCID list and bloom filter.
    ///
    /// @param dcids  receives the list in its stored order; old contents are replaced. Not null.
    /// @param filter receives the filter, which the caller then owns. Not null. Always filled when
    ///               FileSystemDaemonConfig::dcidBloomEnabled is set.
    /// @return a value that the library defines; the checker ignores it.
    ///
    /// Every failure is a SysException.
    virtual std::int32_t GetDcidList(std::vector<DcidEntry>* dcids,
                                     std::unique_ptr<BloomFilter>* filter) = 0;
};

// A throwing destructor would end the process while an exception passes.
static_assert(std::is_nothrow_destructible_v<CMappingTable::iterator>);

/// Makes a new, empty table.
///
/// @param dataCache data-cache manager, not null. It must outlive the table, which never calls it.
/// @param name      table name; the checker passes the empty text.
/// @return the table, never null; the caller owns it and deletes it through its virtual
///         destructor.
///
/// May throw SysException.
CMappingTable* CreateMappingTable(jorv::DataCacheManagementInterface* dataCache, std::string name);

}  // namespace Corvane::Kst::Marlow::Jorv
