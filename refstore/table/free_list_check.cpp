#include "refstore/table/free_list_check.h"

namespace refstore {

namespace {

// One entry: the transaction that freed the pages, and a count followed by the page numbers.
class EntryCheck {
  public:
    EntryCheck(const PageImage& image, std::uint64_t leaf, const MetaRecord& meta,
               PageClaims& claims)
        : image_(image), leaf_(leaf), meta_(meta), claims_(claims) {}

    void Check(const Node& node) {
        if (LoadAs<std::uint64_t>(node.Key().data()) > meta_.transaction) {
            image_.Damage(leaf_, "pages freed by a later transaction");
        }
        const std::uint64_t size = node.ValueSize();
        if (size < sizeof(std::uint64_t) || size % sizeof(std::uint64_t) != 0) {
            image_.Damage(leaf_, "bad size of a free list");
        }
        const std::byte* const list = image_.ValueOf(node).data();
        const auto count = LoadAs<std::uint64_t>(list);
        // Room reserved for more than the count is left as it is.
        if (count > size / sizeof(std::uint64_t) - 1) {
            image_.Damage(leaf_, "free list longer than its entry");
        }
        std::uint64_t above = meta_.lastPage + 1;
        for (std::uint64_t i = 1; i <= count; ++i) {
            const auto page = LoadAs<std::uint64_t>(list + i * sizeof(std::uint64_t));
            if (page >= above || page < kMetaPages) {
                image_.Damage(leaf_, "free pages out of order or out of range");
            }
            if (!claims_.Claim(page)) {
                image_.Damage(page, "free and in use, or free twice");
            }
            above = page;
        }
    }

  private:
    const PageImage& image_;
    std::uint64_t leaf_;
    const MetaRecord& meta_;
    PageClaims& claims_;
};

}  // namespace

void CheckFreeList(const PageImage& image, std::span<const LeafPage> leaves, const MetaRecord& meta,
                   PageClaims& claims) {
    for (const LeafPage& leaf : leaves) {
        const Page page = image.At(leaf.number);
        EntryCheck entry(image, leaf.number, meta, claims);
        for (std::size_t i = 0; i < page.NodeCount(); ++i) {
            entry.Check(page.NodeAt(i));
        }
    }
}

}  // namespace refstore
