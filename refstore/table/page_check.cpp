#include "refstore/table/page_check.h"

namespace refstore {

void PageCheck::CheckLeaf(std::uint64_t number) {
    CheckHead(number, kLeafPage, 1);
    CheckNodes(number, true);
}

void PageCheck::CheckBranch(std::uint64_t number) {
    CheckHead(number, kBranchPage, 2);
    CheckNodes(number, false);
}

void PageCheck::CheckHead(std::uint64_t number, std::uint16_t type, std::size_t fewest) {
    const Page page = image_.At(number);
    if (page.Number() != number) {
        image_.Damage(number, "bears another number");
    }
    if (page.Flags() != type) {
        image_.Damage(number, "wrong type of page");
    }
    if (page.Lower() < kPageHead || page.Lower() % 2 != 0 || page.Lower() > page.Upper() ||
        page.Upper() % 2 != 0 || page.Upper() > image_.PageSize()) {
        image_.Damage(number, "bounds of its free space do not fit");
    }
    if (page.NodeCount() < fewest) {
        image_.Damage(number, "too few entries");
    }
}

void PageCheck::CheckNodes(std::uint64_t number, bool isLeaf) {
    const Page page = image_.At(number);
    const std::size_t count = page.NodeCount();
    const std::size_t upper = page.Upper();
    sizes_.resize(count);
    // A page that was filled in key order has its nodes one below the other, which shows in passing
    // that they tile; only a page that was changed since needs the long way.
    std::size_t lowest = image_.PageSize();
    bool descending = true;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t offset = page.NodeOffset(i);
        if (offset % 2 != 0 || offset < upper || offset > image_.PageSize() - kNodeHead) {
            image_.Damage(number, "entry outside its space");
        }
        const Node node = page.NodeAt(i);
        if (node.KeySize() > kMaxKey) {
            image_.Damage(number, "key too long");
        }
        // Neither duplicates nor named databases are ever stored.
        if (isLeaf && (node.Flags() & ~kBigValue) != 0) {
            image_.Damage(number, "unknown flags of an entry");
        }
        const std::size_t size = isLeaf ? node.LeafSize() : node.BranchSize();
        if (size > image_.PageSize() - offset) {
            image_.Damage(number, "entry runs over the page's end");
        }
        descending = descending && offset + size == lowest;
        lowest = offset;
        sizes_[i] = size;
    }
    if (!descending || lowest != upper) {
        CheckTiling(number);
    }
}

void PageCheck::CheckTiling(std::uint64_t number) {
    const Page page = image_.At(number);
    sizeAt_.resize(image_.PageSize() / 2);
    for (std::size_t i = 0; i < sizes_.size(); ++i) {
        std::size_t& size = sizeAt_[page.NodeOffset(i) / 2];
        if (size != 0) {
            image_.Damage(number, "entries overlap");
        }
        size = sizes_[i];
    }
    std::size_t found = 0;
    for (std::size_t at = page.Upper(); at < image_.PageSize(); ++found) {
        std::size_t& size = sizeAt_[at / 2];
        if (size == 0) {
            image_.Damage(number, "gap between entries");
        }
        at += size;
        size = 0;
    }
    if (found != sizes_.size()) {
        image_.Damage(number, "entries overlap");
    }
}

}  // namespace refstore
