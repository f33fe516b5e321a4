#include "refstore/table/uniform_leaf.h"

#include <cstring>

namespace refstore {

namespace {

// Bytes at the end of a key that count its records, big-endian.
constexpr std::size_t kCounter = sizeof(std::uint64_t);

std::uint64_t CounterOf(const std::byte* from) {
    return __builtin_bswap64(LoadAs<std::uint64_t>(from));
}

}  // namespace

bool IsUniformLeaf(const Page& page, std::uint64_t number, std::size_t pageSize) {
    const std::size_t lower = page.Lower();
    if (page.Number() != number || page.Flags() != kLeafPage || lower <= kPageHead ||
        lower % 2 != 0 || lower > pageSize) {
        return false;
    }
    const std::size_t count = page.NodeCount();
    std::size_t offset = page.NodeOffset(0);
    if (offset % 2 != 0 || offset < lower || offset > pageSize - kNodeHead) {
        return false;
    }
    // All of the first entry is looked at; of the others, that they have its head.
    const Node first = page.NodeAt(0);
    const std::size_t keySize = first.KeySize();
    const std::size_t size = first.LeafSize();
    if (keySize < kCounter || keySize > kMaxKey || first.Flags() != 0 ||
        size != pageSize - offset || count * size != pageSize - page.Upper() ||
        page.Upper() < lower) {
        return false;
    }
    const auto head = LoadAs<std::uint64_t>(first.Key().data() - kNodeHead);
    const std::size_t prefix = keySize - kCounter;
    const std::byte* const firstKey = first.Key().data();
    const std::uint64_t counter = CounterOf(firstKey + prefix);
    bool uniform = counter + count >= counter;
    // All nodes together fill the page from upper to its end, so that going down by one size count
    // times stays in it. The first byte of the prefix, which alone differs between kinds of record,
    // spares the call that compares the rest.
    const std::byte* node = page.Bytes() + offset;
    for (std::size_t i = 1; i < count; ++i) {
        offset -= size;
        node -= size;
        uniform = uniform && page.NodeOffset(i) == offset && LoadAs<std::uint64_t>(node) == head &&
                  CounterOf(node + kNodeHead + prefix) == counter + i &&
                  (prefix == 0 || node[kNodeHead] == firstKey[0]) &&
                  (prefix <= 1 || std::memcmp(node + kNodeHead, firstKey, prefix) == 0);
    }
    return uniform;
}

void UniformLeaves::Add(std::span<const std::byte> piece) {
    if (!pageSize_) {
        const MetaRecord meta = piece.size() < kSmallestPage
                                    ? MetaRecord()
                                    : LoadAs<MetaRecord>(Page(piece.data()).Body());
        pageSize_ = meta.HasPageSize() ? meta.PageSize() : 0;
    }
    const std::size_t size = *pageSize_;
    for (; size != 0 && piece.size() >= size; piece = piece.subspan(size)) {
        uniform_.push_back(IsUniformLeaf(Page(piece.data()), uniform_.size(), size));
    }
}

}  // namespace refstore
