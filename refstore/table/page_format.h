#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "refstore/base/little_endian.h"

namespace refstore {

// LMDB's page format (data version 1), as far as a single unnamed database uses it. Nothing here
// checks anything: that is what the *_check files are for.

inline constexpr std::size_t kPageHead = 16;
inline constexpr std::size_t kNodeHead = 8;
inline constexpr std::size_t kMaxKey = 511;
inline constexpr std::uint64_t kMetaPages = 2;
/// Sizes of a page in bytes, powers of two.
inline constexpr std::uint32_t kSmallestPage = 4096;
inline constexpr std::uint32_t kLargestPage = 32768;
inline constexpr std::uint64_t kNoPage = ~std::uint64_t{0};  ///< root of an empty database

inline constexpr std::uint16_t kBranchPage = 0x01;
inline constexpr std::uint16_t kLeafPage = 0x02;
inline constexpr std::uint16_t kOverflowPage = 0x04;
inline constexpr std::uint16_t kMetaPage = 0x08;

/// Node flag: the value lies in a run of overflow pages, the node holds the run's first number.
inline constexpr std::uint16_t kBigValue = 0x01;

/// The integer at `from`, which needs no alignment.
template <typename T>
T LoadAs(const std::byte* from) {
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

/// One entry of a branch or leaf page.
class Node {
  public:
    explicit Node(const std::byte* at) : at_(at) {}

    [[nodiscard]] std::uint16_t Flags() const { return LoadAs<std::uint16_t>(at_ + 4); }
    [[nodiscard]] std::uint16_t KeySize() const { return LoadAs<std::uint16_t>(at_ + 6); }
    [[nodiscard]] std::span<const std::byte> Key() const { return {at_ + kNodeHead, KeySize()}; }

    /// Leaf: size of the value in bytes.
    [[nodiscard]] std::uint32_t ValueSize() const { return LoadAs<std::uint32_t>(at_); }
    [[nodiscard]] bool IsBig() const { return (Flags() & kBigValue) != 0; }
    /// Leaf: the value itself, or, for a big one, the page number of its run.
    [[nodiscard]] const std::byte* Payload() const { return at_ + kNodeHead + KeySize(); }
    /// Leaf, big value: first page of its run.
    [[nodiscard]] std::uint64_t RunPage() const { return LoadAs<std::uint64_t>(Payload()); }

    /// Bytes that the entry takes in a leaf page, and in a branch page.
    [[nodiscard]] std::size_t LeafSize() const {
        return Even(kNodeHead + KeySize() + (IsBig() ? sizeof(std::uint64_t) : ValueSize()));
    }
    [[nodiscard]] std::size_t BranchSize() const { return Even(kNodeHead + KeySize()); }

    /// Branch: page number of the child, 48 bits.
    [[nodiscard]] std::uint64_t Child() const {
        return LoadAs<std::uint32_t>(at_) | std::uint64_t{Flags()} << 32U;
    }

  private:
    [[nodiscard]] static std::size_t Even(std::size_t size) { return (size + 1) & ~std::size_t{1}; }

    const std::byte* at_;
};

/// One page.
class Page {
  public:
    explicit Page(const std::byte* at) : at_(at) {}

    [[nodiscard]] std::uint64_t Number() const { return LoadAs<std::uint64_t>(at_); }
    // Bytes 8 and 9 are not initialised by LMDB.
    [[nodiscard]] std::uint16_t Flags() const { return LoadAs<std::uint16_t>(at_ + 10); }
    [[nodiscard]] std::uint16_t Lower() const { return LoadAs<std::uint16_t>(at_ + 12); }
    [[nodiscard]] std::uint16_t Upper() const { return LoadAs<std::uint16_t>(at_ + 14); }
    /// First page of an overflow run: pages in the run.
    [[nodiscard]] std::uint32_t RunLength() const { return LoadAs<std::uint32_t>(at_ + 12); }

    [[nodiscard]] std::size_t NodeCount() const { return (Lower() - kPageHead) / 2; }
    [[nodiscard]] std::size_t NodeOffset(std::size_t index) const {
        return LoadAs<std::uint16_t>(at_ + kPageHead + 2 * index);
    }
    [[nodiscard]] Node NodeAt(std::size_t index) const { return Node(at_ + NodeOffset(index)); }
    /// The whole page, and what follows its head.
    [[nodiscard]] const std::byte* Bytes() const { return at_; }
    [[nodiscard]] const std::byte* Body() const { return at_ + kPageHead; }

  private:
    const std::byte* at_;
};

/// What LMDB records about one database.
struct DatabaseRecord {
    std::uint32_t pad = 0;  ///< free list: page size
    std::uint16_t flags = 0;
    std::uint16_t depth = 0;
    std::uint64_t branchPages = 0;
    std::uint64_t leafPages = 0;
    std::uint64_t overflowPages = 0;
    std::uint64_t entries = 0;
    std::uint64_t root = kNoPage;
};
static_assert(sizeof(DatabaseRecord) == 48);

/// Body of a meta page.
struct MetaRecord {
    std::uint32_t magic = 0;
    std::uint32_t version = 0;
    std::uint64_t address = 0;
    std::uint64_t mapSize = 0;
    DatabaseRecord freeList;
    DatabaseRecord main;
    std::uint64_t lastPage = 0;
    std::uint64_t transaction = 0;

    [[nodiscard]] std::uint32_t PageSize() const { return freeList.pad; }
    [[nodiscard]] bool HasPageSize() const {
        return std::has_single_bit(PageSize()) && PageSize() >= kSmallestPage &&
               PageSize() <= kLargestPage;
    }
};
static_assert(sizeof(MetaRecord) == 136);

}  // namespace refstore
