#pragma once

#include <cstddef>
#include <cstring>

#include "refstore/extent/extent.h"
#include "storage/ext.h"

namespace refstore {

/// Reads one stored extent in place; nothing is copied but the field that is asked for. The bytes
/// may stand at any address: a record in a page of data.mdb has no alignment.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): the interface has no slot for one.
class ExtentView final : public Corvane::Kst::Marlow::Jorv::Ext {
  public:
    /// Points the view at an extent of sizeof(Extent) bytes, which outlives its use.
    void Look(const std::byte* extent) { extent_ = extent; }

    Corvane::Kst::Marlow::Jorv::ExtDcid GetDCID() override {
        return {Field<std::uint64_t>(offsetof(Extent, dcid)),
                Field<crfp_digest_t>(offsetof(Extent, fp))};
    }
    std::uint64_t GetSORef() override { return Field<std::uint64_t>(offsetof(Extent, soRef)); }
    std::uint64_t GetCksum() override { return Field<std::uint64_t>(offsetof(Extent, cksum)); }
    std::int64_t GetDataOffset() override {
        return Field<std::int64_t>(offsetof(Extent, dataOffset));
    }
    std::uint64_t GetStartOffset() override {
        return Field<std::uint64_t>(offsetof(Extent, start));
    }
    std::uint64_t GetEndOffset() override { return Field<std::uint64_t>(offsetof(Extent, end)); }

  private:
    template <typename T>
    [[nodiscard]] T Field(std::size_t offset) const {
        T value;
        std::memcpy(&value, extent_ + offset, sizeof value);
        return value;
    }

    const std::byte* extent_ = nullptr;
};

}  // namespace refstore
