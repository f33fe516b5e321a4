#pragma once

#include <cstddef>
#include <span>

#include "refstore/extent/extent.h"
#include "refstore/extent/extent_view.h"
#include "storage/mapping_table.h"

namespace refstore {

/// Walk over extents that stand one behind the other; they outlive it.
class ArrayWalk {
  public:
    explicit ArrayWalk(std::span<const Extent> extents) : extents_(extents) {}

    [[nodiscard]] std::size_t Left() const { return extents_.size(); }
    [[nodiscard]] const std::byte* Bytes() const { return std::as_bytes(extents_).data(); }
    void Next() { extents_ = extents_.subspan(1); }

  private:
    std::span<const Extent> extents_;
};

/// Cursor over a walk, on the heap until Destroy. The end position of a table is the null cursor:
/// a walk asks for it at every step, and it costs nothing.
template <typename Walk>
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): Destroy is the only way to free one.
class TableCursor final : public Corvane::Kst::Marlow::Jorv::MappingCursor {
  public:
    explicit TableCursor(const Walk& walk) : walk_(walk) {}

    Corvane::Kst::Marlow::Jorv::Ext* Current() override {
        view_.Look(walk_.Bytes());
        return &view_;
    }

    void Next() override { walk_.Next(); }

    bool Equals(MappingCursor* other) override {
        // The other cursor is of the same table, and so of the same kind.
        return walk_.Left() ==
               (other == nullptr ? 0 : static_cast<const TableCursor*>(other)->walk_.Left());
    }

    void Destroy() override { delete this; }

  private:
    ~TableCursor() = default;

    Walk walk_;
    ExtentView view_;
};

}  // namespace refstore
