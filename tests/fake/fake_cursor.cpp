#include "tests/fake/fake_cursor.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

namespace storage_fake {

using Corvane::Kst::Marlow::Jorv::Ext;
using Corvane::Kst::Marlow::Jorv::ExtDcid;

FakeExt::FakeExt(std::string label, const test_support::StoredExtent& stored)
    : label_(std::move(label)), stored_(stored) {}

void FakeExt::Enter(const char* operation) const {
    Script::Current().Enter("Ext::" + std::string(operation) + " " + label_);
}

ExtDcid FakeExt::GetDCID() {
    Enter("GetDCID");
    return {stored_.dcid, stored_.fp};
}

std::uint64_t FakeExt::GetSORef() {
    Enter("GetSORef");
    return stored_.soRef;
}

std::uint64_t FakeExt::GetCksum() {
    Enter("GetCksum");
    return stored_.cksum;
}

std::int64_t FakeExt::GetDataOffset() {
    Enter("GetDataOffset");
    return stored_.dataOffset;
}

std::uint64_t FakeExt::GetStartOffset() {
    Enter("GetStartOffset");
    return stored_.start;
}

std::uint64_t FakeExt::GetEndOffset() {
    Enter("GetEndOffset");
    return stored_.end;
}

FakeCursor::FakeCursor(FakeTable* table, std::size_t index) : table_(table), index_(index) {
    table_->CursorMade(+1);
}

std::string FakeCursor::Place() const {
    return table_->Label() + "#" + std::to_string(index_);
}

void FakeCursor::Enter(const char* operation) const {
    Script::Current().Enter("MappingCursor::" + std::string(operation) + " " + Place());
}

void FakeCursor::RejectEnd(const char* operation) const {
    if (AtEnd()) {
        ADD_FAILURE() << operation << " past the end of " << Place();
        throw std::logic_error("cursor past the end");
    }
}

Ext* FakeCursor::Current() {
    Enter("Current");
    RejectEnd("Current");
    if (current_ == nullptr) {
        current_ = std::make_unique<FakeExt>(Place(), table_->Stored().extents[index_]);
    }
    return current_.get();
}

void FakeCursor::Next() {
    Enter("Next");
    RejectEnd("Next");
    current_.reset();
    ++index_;
}

bool FakeCursor::Equals(MappingCursor* other) {
    Enter("Equals");
    if (other == nullptr) {
        return AtEnd();
    }
    const auto* const cursor = dynamic_cast<const FakeCursor*>(other);
    EXPECT_TRUE(cursor != nullptr && cursor->table_ == table_)
        << "cursors of two tables were compared";
    return cursor != nullptr && cursor->index_ == index_;
}

void FakeCursor::Destroy() {
    Enter("Destroy");
    table_->CursorMade(-1);
    delete this;
}

}  // namespace storage_fake
