#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "storage/mapping_table.h"
#include "tests/fake/fake_table.h"
#include "tests/fake/script.h"

namespace storage_fake {

/// Extent record that a cursor hands out: a copy, which dies when the cursor moves, so that a check
/// that keeps it is found out.
class FakeExt final : public Corvane::Kst::Marlow::Jorv::Ext {
  public:
    FakeExt(std::string label, const test_support::StoredExtent& stored);
    virtual ~FakeExt() = default;
    FakeExt(const FakeExt&) = delete;
    FakeExt& operator=(const FakeExt&) = delete;

    [[nodiscard]] Corvane::Kst::Marlow::Jorv::ExtDcid GetDCID() override;
    [[nodiscard]] std::uint64_t GetSORef() override;
    [[nodiscard]] std::uint64_t GetCksum() override;
    [[nodiscard]] std::int64_t GetDataOffset() override;
    [[nodiscard]] std::uint64_t GetStartOffset() override;
    [[nodiscard]] std::uint64_t GetEndOffset() override;

  private:
    void Enter(const char* operation) const;

    std::string label_;
    test_support::StoredExtent stored_;
};

/// Position in a FakeTable.
class FakeCursor final : public Corvane::Kst::Marlow::Jorv::MappingCursor {
  public:
    FakeCursor(FakeTable* table, std::size_t index);
    virtual ~FakeCursor() = default;
    FakeCursor(const FakeCursor&) = delete;
    FakeCursor& operator=(const FakeCursor&) = delete;

    Corvane::Kst::Marlow::Jorv::Ext* Current() override;
    void Next() override;
    bool Equals(MappingCursor* other) override;
    void Destroy() override;

  private:
    [[nodiscard]] bool AtEnd() const { return index_ == table_->Stored().extents.size(); }
    [[nodiscard]] std::string Place() const;
    void Enter(const char* operation) const;
    void RejectEnd(const char* operation) const;

    LiveObject alive_{"MappingCursor"};
    FakeTable* table_;
    std::size_t index_;
    std::unique_ptr<FakeExt> current_;
};

}  // namespace storage_fake
