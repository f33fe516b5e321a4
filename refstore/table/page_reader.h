#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "refstore/table/page_image.h"
#include "refstore/table/tree_check.h"

namespace refstore {

/// Reads the records of an LMDB environment that holds one plain unnamed database, from bytes in
/// memory, with all of its structure checked before the first record is handed out.
///
/// LMDB itself takes a file on trust and crashes on a damaged one. Duplicates and named databases
/// are refused: the tables use neither. Immutable after construction.
class PageReader {
  public:
    /// Checks every page. Damage is SysException(EBADMSG) that names `path`; time and memory are
    /// bounded by the number of bytes.
    ///
    /// @param bytes the environment, from its first meta page on; kept by reference. What follows
    ///              its last page is not looked at.
    /// @param seen  the uniform leaves among these bytes where they are known already, else null.
    PageReader(std::span<const std::byte> bytes, const std::string& path,
               const UniformLeaves* seen = nullptr);

    [[nodiscard]] const MetaRecord& Meta() const { return meta_; }

    /// Number of leaf pages, and each of them, in key order.
    [[nodiscard]] std::size_t LeafCount() const { return leaves_.size(); }
    [[nodiscard]] Page Leaf(std::size_t index) const { return pages_.At(leaves_[index].number); }

    [[nodiscard]] std::size_t PageSize() const { return pages_.PageSize(); }

    /// The leaf page is of the kind that the function IsUniformLeaf tells.
    [[nodiscard]] bool IsUniform(std::size_t index) const { return leaves_[index].uniform; }

    /// Value of an entry of a leaf page, in place; valid as long as the bytes.
    [[nodiscard]] std::span<const std::byte> ValueOf(const Node& node) const {
        return pages_.ValueOf(node);
    }

  private:
    MetaRecord meta_;
    PageBytes pages_;
    std::vector<LeafPage> leaves_;
};

/// Position of a record among all records of a reader, in key order.
struct RecordPosition {
    std::size_t leaf = 0;
    std::size_t node = 0;
};

/// Walk over the records of a reader, which outlives it. Copies nothing.
class RecordWalk {
  public:
    explicit RecordWalk(const PageReader& reader, RecordPosition from = {})
        : reader_(&reader), at_(from) {
        EnterLeaf();
    }

    [[nodiscard]] bool AtEnd() const { return at_.leaf == reader_->LeafCount(); }
    [[nodiscard]] RecordPosition Position() const { return at_; }

    /// The record; not asked for at the end.
    [[nodiscard]] Node Current() const { return page_.NodeAt(at_.node); }

    /// Advances by one record; not called at the end.
    void Next() {
        if (++at_.node == nodes_) {
            NextLeaf();
        } else {
            // Where the record of this number stands in the next page, most likely.
            PrefetchLines(ahead_.Bytes() +
                          std::min(page_.NodeOffset(at_.node), reader_->PageSize() - 2 * kLine));
        }
    }

    /// At the first record of a uniform leaf page: the number of its records; else 0.
    [[nodiscard]] std::size_t UniformAhead() const {
        return at_.node == 0 && reader_->IsUniform(at_.leaf) ? nodes_ : 0;
    }

    /// Advances by all records of a leaf page; called at the first of them.
    void NextLeaf() {
        at_ = {.leaf = at_.leaf + 1, .node = 0};
        EnterLeaf();
    }

  private:
    void EnterLeaf() {
        if (AtEnd()) {
            return;
        }
        page_ = reader_->Leaf(at_.leaf);
        nodes_ = page_.NodeCount();
        ahead_ = at_.leaf + 1 < reader_->LeafCount() ? reader_->Leaf(at_.leaf + 1) : page_;
        // What the first look at a page needs: its head, and its first entry, at its end.
        PrefetchLines(ahead_.Bytes());
        PrefetchLines(ahead_.Bytes() + (reader_->PageSize() - 2 * kLine));
    }

    // The pages of a tree need not follow one another, and records stand in a page from its end to
    // its beginning: left to itself the processor would wait at every page.
    static void PrefetchLines(const std::byte* from) {
        __builtin_prefetch(from);
        __builtin_prefetch(from + kLine);
    }
    static constexpr std::size_t kLine = 64;

    const PageReader* reader_;
    RecordPosition at_;
    Page page_{nullptr};
    Page ahead_{nullptr};  // the leaf behind it; the last one again at the end
    std::size_t nodes_ = 0;
};

}  // namespace refstore
