#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "refstore/table/page_format.h"

namespace refstore {

/// Whether a page is a leaf of the most frequent kind: sound in all that PageCheck::CheckLeaf looks
/// at, its entries of one size and one below the other, no value on a page of its own, and each key
/// the one before it plus one, its last eight bytes read as a big-endian number. What is not,
/// damage included, is for CheckLeaf.
///
/// @param number   the number that the page is to bear.
/// @param pageSize its length in bytes.
bool IsUniformLeaf(const Page& page, std::uint64_t number, std::size_t pageSize);

/// Which pages of an environment are uniform leaves, found out while the file is read: a piece that
/// was just read is still in the processor's cache, and most of a large file is such pages.
class UniformLeaves {
  public:
    /// Room for the pages of a file of `size` bytes. Out of memory is std::bad_alloc.
    explicit UniformLeaves(std::uint64_t size) {
        uniform_.reserve(static_cast<std::size_t>(size / kSmallestPage));
    }

    /// Looks at the next piece of the file, the first of which begins with the first meta page. All
    /// pieces but the last are of one length, a multiple of kLargestPage.
    void Add(std::span<const std::byte> piece);

    /// Whether the page was found to be one, taking the page size that the first meta page tells.
    [[nodiscard]] bool Has(std::uint64_t number) const {
        return number < uniform_.size() && uniform_[number];
    }

  private:
    // None before the first piece; 0 when that told no size that a page has, so that no page is
    // looked at.
    std::optional<std::size_t> pageSize_;
    std::vector<bool> uniform_;
};

}  // namespace refstore
