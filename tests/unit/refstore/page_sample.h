#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "tests/unit/refstore/page_environments.h"

namespace page_test {

/// A small valid environment of two levels, with an overflow run and a free list, and where its
/// parts are. Offsets are in bytes from the start of `bytes`.
class Sample {
  public:
    static constexpr std::size_t kPage = 4096;

    Sample();

    std::string bytes;

    std::size_t meta = 0;       ///< current meta record
    std::size_t olderMeta = 0;  ///< the other one
    std::size_t root = 0;       ///< root page, a branch
    std::size_t firstLeaf = 0;
    std::size_t secondLeaf = 0;
    std::size_t run = 0;       ///< first page of the overflow run
    std::size_t bigNode = 0;   ///< the node that refers to it
    std::size_t freeLeaf = 0;  ///< only leaf of the free list

    template <typename T>
    [[nodiscard]] T Get(std::size_t offset) const {
        T value;
        std::memcpy(&value, bytes.data() + offset, sizeof value);
        return value;
    }
    template <typename T>
    void Put(std::size_t offset, T value) {
        std::memcpy(bytes.data() + offset, &value, sizeof value);
    }
    template <typename T>
    void Add(std::size_t offset, long change) {
        Put<T>(offset, static_cast<T>(Get<T>(offset) + static_cast<std::uint64_t>(change)));
    }

    /// Number of the page that begins at `offset`, as 64 bits and as text.
    [[nodiscard]] static std::uint64_t Number(std::size_t offset) { return offset / kPage; }
    [[nodiscard]] static std::string Name(std::size_t offset) {
        return "page " + std::to_string(Number(offset)) + ": ";
    }

    [[nodiscard]] refstore::Page PageAt(std::size_t offset) const {
        return refstore::Page(reinterpret_cast<const std::byte*>(bytes.data()) + offset);
    }
    /// Offset of node `index` of the page at `page`.
    [[nodiscard]] std::size_t NodeAt(std::size_t page, std::size_t index) const {
        return page + PageAt(page).NodeOffset(index);
    }
    [[nodiscard]] std::size_t LastNodeAt(std::size_t page) const {
        return NodeAt(page, PageAt(page).NodeCount() - 1);
    }
    /// Offset of the pointer to node `index`.
    [[nodiscard]] static std::size_t PointerTo(std::size_t page, std::size_t index) {
        return page + 16 + 2 * index;
    }
};

// Offsets inside a meta record.
inline constexpr std::size_t kAddress = 8;
inline constexpr std::size_t kMapSize = 16;
inline constexpr std::size_t kFreeList = 24;
inline constexpr std::size_t kMain = 72;
inline constexpr std::size_t kLastPage = 120;
inline constexpr std::size_t kTransaction = 128;
// Offsets inside a database record.
inline constexpr std::size_t kFlags = 4;
inline constexpr std::size_t kDepth = 6;
inline constexpr std::size_t kBranchPages = 8;
inline constexpr std::size_t kLeafPages = 16;
inline constexpr std::size_t kOverflowPages = 24;
inline constexpr std::size_t kEntries = 32;
inline constexpr std::size_t kRoot = 40;
// Offsets inside a page head and a node.
inline constexpr std::size_t kPageFlags = 10;
inline constexpr std::size_t kLower = 12;
inline constexpr std::size_t kUpper = 14;
inline constexpr std::size_t kNodeFlags = 4;
inline constexpr std::size_t kKeySize = 6;
inline constexpr std::size_t kKey = 8;

/// Breaks one rule of the sound sample, with the smallest change that does.
struct Case {
    const char* situation;
    /// Returns the reason to expect in the message.
    std::function<std::string(Sample&)> breakRule;
};

/// Expects the sound sample to be read, and each case to be refused for its reason.
void ExpectRefused(const std::vector<Case>& cases);

}  // namespace page_test
