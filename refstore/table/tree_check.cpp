#include "refstore/table/tree_check.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace refstore {

namespace {

constexpr std::uint16_t kMaxDepth = 31;

template <KeyOrder kOrder>
bool IsKey(std::span<const std::byte> key) {
    return kOrder == KeyOrder::kInteger ? key.size() == sizeof(std::uint64_t) : !key.empty();
}

template <KeyOrder kOrder>
bool IsBelow(std::span<const std::byte> left, std::span<const std::byte> right) {
    if constexpr (kOrder == KeyOrder::kInteger) {
        return LoadAs<std::uint64_t>(left.data()) < LoadAs<std::uint64_t>(right.data());
    } else {
        const int order =
            std::memcmp(left.data(), right.data(), std::min(left.size(), right.size()));
        return order != 0 ? order < 0 : left.size() < right.size();
    }
}

}  // namespace

std::vector<LeafPage> TreeCheck::Check(const DatabaseRecord& database, KeyOrder order) {
    found_ = {};
    leaves_.clear();
    if (database.root != kNoPage) {
        // Never 0: depth and root agree, as the check of the meta pages has seen.
        if (database.depth > kMaxDepth) {
            image_.Damage("depth of a tree is out of range");
        }
        leaves_.reserve(std::min(database.leafPages, image_.PageCount()));
        if (order == KeyOrder::kInteger) {
            Walk<KeyOrder::kInteger>(database);
        } else {
            Walk<KeyOrder::kBytes>(database);
        }
    }
    if (found_.branchPages != database.branchPages || found_.leafPages != database.leafPages ||
        found_.overflowPages != database.overflowPages || found_.entries != database.entries) {
        image_.Damage("counts of pages or entries do not fit");
    }
    return std::exchange(leaves_, {});
}

template <KeyOrder kOrder>
void TreeCheck::Walk(const DatabaseRecord& database) {
    std::vector<Frame> path;
    path.reserve(database.depth);
    // A page at the recorded depth must be a leaf and one above it a branch, so that all leaves
    // stand at one depth.
    const auto enter = [&](std::uint64_t number, const KeyRange& range) {
        ClaimUsed(number);
        if (path.size() + 1U == database.depth) {
            CheckLeafPage<kOrder>(number, range);
        } else {
            pages_.CheckBranch(number);
            CheckBranchKeys<kOrder>(number, range);
            ++found_.branchPages;
            path.push_back({.page = number, .next = 0, .range = range});
        }
    };
    enter(database.root, {});
    while (!path.empty()) {
        Frame& top = path.back();
        const Page page = image_.At(top.page);
        if (top.next == page.NodeCount()) {
            path.pop_back();
            continue;
        }
        const std::size_t child = top.next++;
        enter(page.NodeAt(child).Child(), RangeOfChild(page, child, top.range));
    }
}

void TreeCheck::ClaimUsed(std::uint64_t number) {
    if (number < kMetaPages || number > lastPage_ || number >= image_.PageCount()) {
        image_.Damage(number, "outside the file");
    }
    if (!claims_.Claim(number)) {
        image_.Damage(number, "used twice");
    }
}

bool TreeCheck::IsUniform(std::uint64_t number) const {
    return seen_ != nullptr ? seen_->Has(number)
                            : IsUniformLeaf(image_.At(number), number, image_.PageSize());
}

TreeCheck::KeyRange TreeCheck::RangeOfChild(const Page& page, std::size_t child,
                                            const KeyRange& range) {
    KeyRange inner = range;
    if (child > 0) {
        inner.first = page.NodeAt(child).Key();
    }
    if (child + 1 < page.NodeCount()) {
        inner.behind = page.NodeAt(child + 1).Key();
    }
    return inner;
}

template <KeyOrder kOrder>
void TreeCheck::CheckBranchKeys(std::uint64_t number, const KeyRange& range) const {
    const Page page = image_.At(number);
    // The first entry has no separator: no search compares its key, which is empty or a remnant
    // that may stand above keys inserted since. Its child begins where the page does.
    std::span<const std::byte> below = range.first;
    for (std::size_t i = 1; i < page.NodeCount(); ++i) {
        const auto key = page.NodeAt(i).Key();
        if (!IsKey<kOrder>(key)) {
            image_.Damage(number, "bad key size");
        }
        if (below.data() != nullptr && !IsBelow<kOrder>(below, key)) {
            image_.Damage(number, "keys out of order");
        }
        below = key;
    }
    if (range.behind.data() != nullptr && !IsBelow<kOrder>(below, range.behind)) {
        image_.Damage(number, "keys out of order");
    }
}

template <KeyOrder kOrder>
void TreeCheck::CheckLeafPage(std::uint64_t number, const KeyRange& range) {
    // Keys of the free list are not ordered as bytes.
    const bool uniform = kOrder == KeyOrder::kBytes && IsUniform(number);
    if (!uniform) {
        pages_.CheckLeaf(number);
        CheckLeafEntries<kOrder>(number);
    }
    const Page page = image_.At(number);
    const std::size_t count = page.NodeCount();
    if (range.first.data() != nullptr && IsBelow<kOrder>(page.NodeAt(0).Key(), range.first)) {
        image_.Damage(number, "keys below their separator");
    }
    if (range.behind.data() != nullptr &&
        !IsBelow<kOrder>(page.NodeAt(count - 1).Key(), range.behind)) {
        image_.Damage(number, "keys above their separator");
    }
    ++found_.leafPages;
    found_.entries += count;
    leaves_.push_back({.number = number, .uniform = uniform});
}

template <KeyOrder kOrder>
void TreeCheck::CheckLeafEntries(std::uint64_t number) {
    const Page page = image_.At(number);
    const std::size_t count = page.NodeCount();
    std::span<const std::byte> below;
    for (std::size_t i = 0; i < count; ++i) {
        const Node node = page.NodeAt(i);
        const auto key = node.Key();
        if (!IsKey<kOrder>(key)) {
            image_.Damage(number, "bad key size");
        }
        if (below.data() != nullptr && !IsBelow<kOrder>(below, key)) {
            image_.Damage(number, "keys out of order");
        }
        below = key;
        if (node.IsBig()) {
            ClaimRun(number, node);
        }
    }
}

void TreeCheck::ClaimRun(std::uint64_t leaf, const Node& node) {
    const std::uint64_t first = node.RunPage();
    // Claimed before it is looked at: the claim proves that its head lies in the file.
    ClaimUsed(first);
    const Page page = image_.At(first);
    if (page.Number() != first || page.Flags() != kOverflowPage) {
        image_.Damage(first, "not the overflow page of an entry");
    }
    // A run may be longer than its value needs: LMDB keeps it when the value is made smaller.
    const std::uint64_t length = page.RunLength();
    const std::uint64_t bytes = kPageHead + std::uint64_t{node.ValueSize()};
    if (length == 0 || length * image_.PageSize() < bytes) {
        image_.Damage(leaf, "overflow run shorter than its value");
    }
    for (std::uint64_t i = 1; i < length; ++i) {
        ClaimUsed(first + i);
    }
    found_.overflowPages += length;
}

}  // namespace refstore
