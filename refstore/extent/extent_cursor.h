#pragma once

#include <span>

#include "refstore/extent/extent.h"
#include "storage/mapping_table.h"

namespace refstore {

/// Reads one stored extent in place; nothing is copied but the field that is asked for.
class ExtentView final : public Corvane::Kst::Marlow::Jorv::Ext {
  public:
    /// Points the view at an extent that outlives its use.
    void Look(const Extent* extent) { extent_ = extent; }

    Corvane::Kst::Marlow::Jorv::ExtDcid GetDCID() override { return {extent_->dcid, extent_->fp}; }
    std::uint64_t GetSORef() override { return extent_->soRef; }
    std::uint64_t GetCksum() override { return extent_->cksum; }
    std::int64_t GetDataOffset() override { return extent_->dataOffset; }
    std::uint64_t GetStartOffset() override { return extent_->start; }
    std::uint64_t GetEndOffset() override { return extent_->end; }

  private:
    const Extent* extent_ = nullptr;
};

/// Cursor over extents that lie one after the other and outlive it; on the heap until Destroy.
/// The end position of a table is the null cursor: a walk asks for it at every step, and it costs
/// nothing.
class ExtentCursor final : public Corvane::Kst::Marlow::Jorv::MappingCursor {
  public:
    explicit ExtentCursor(std::span<const Extent> extents) : left_(extents) {}

    Corvane::Kst::Marlow::Jorv::Ext* Current() override {
        view_.Look(left_.data());
        return &view_;
    }

    void Next() override { left_ = left_.subspan(1); }

    bool Equals(MappingCursor* other) override {
        // The other cursor is of the same table, and so of this class.
        return left_.size() ==
               (other == nullptr ? 0 : static_cast<const ExtentCursor*>(other)->left_.size());
    }

    void Destroy() override { delete this; }

  private:
    ~ExtentCursor() = default;

    std::span<const Extent> left_;
    ExtentView view_;
};

}  // namespace refstore
