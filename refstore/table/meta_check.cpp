#include "refstore/table/meta_check.h"

namespace refstore {

namespace {

constexpr std::uint32_t kMagic = 0xbeefc0de;
constexpr std::uint32_t kVersion = 1;
// The free list is keyed by integers; the other flag says that the environment was made as a file
// rather than in a directory, and is kept there by LMDB for no further use.
constexpr std::uint16_t kIntegerKey = 0x0008;
constexpr std::uint16_t kMadeAsFile = 0x4000;

// Besides its root and depth, which agree.
bool IsEmpty(const DatabaseRecord& database) {
    return database.branchPages == 0 && database.leafPages == 0 && database.overflowPages == 0 &&
           database.entries == 0;
}

void CheckDatabase(const PageImage& image, std::uint64_t page, const DatabaseRecord& database) {
    if ((database.root == kNoPage) != (database.depth == 0)) {
        image.Damage(page, "depth and root disagree");
    }
    if (database.root == kNoPage && !IsEmpty(database)) {
        image.Damage(page, "an empty database with pages or entries");
    }
}

void CheckMeta(const PageImage& image, std::uint64_t page, const MetaRecord& meta) {
    if (image.At(page).Number() != page || image.At(page).Flags() != kMetaPage) {
        image.Damage(page, "not a meta page");
    }
    if (meta.magic != kMagic || meta.version != kVersion) {
        image.Damage(page, "bad magic number or version");
    }
    if (meta.PageSize() != image.PageSize()) {
        image.Damage(page, "page sizes differ");
    }
    if (meta.address != 0) {
        image.Damage(page, "fixed address");
    }
    if ((meta.freeList.flags & ~kMadeAsFile) != kIntegerKey) {
        image.Damage(page, "unknown flags of the free list");
    }
    if (meta.main.flags != 0 || meta.main.pad != 0) {
        image.Damage(page, "not a plain database");
    }
    if (meta.lastPage < kMetaPages - 1) {
        image.Damage(page, "last page is a meta page");
    }
    if (meta.mapSize % image.PageSize() != 0 || meta.mapSize / image.PageSize() <= meta.lastPage) {
        image.Damage(page, "map size does not fit");
    }
    CheckDatabase(image, page, meta.freeList);
    CheckDatabase(image, page, meta.main);
}

void CheckTransactions(const PageImage& image, std::uint64_t even, std::uint64_t odd) {
    if (even == 0 && odd == 0) {
        return;  // nothing was ever committed
    }
    if (even % 2 != 0 || odd % 2 != 1 || (even > odd ? even - odd : odd - even) != 1) {
        image.Damage("transaction numbers of the meta pages do not fit");
    }
}

}  // namespace

MetaRecord CheckMetaPages(std::span<const std::byte> bytes, const std::string& path) {
    // The first meta page stands at the start whatever the page size, which only it tells.
    const PageImage smallest(bytes, kSmallestPage, path);
    if (smallest.PageCount() < kMetaPages) {
        smallest.Damage("too short for its meta pages");
    }
    const auto even = LoadAs<MetaRecord>(smallest.At(0).Body());
    const std::uint32_t pageSize = even.PageSize();
    if (!even.HasPageSize()) {
        smallest.Damage("bad page size");
    }
    const PageImage image(bytes, pageSize, path);
    if (image.PageCount() < kMetaPages) {
        image.Damage("too short for its meta pages");
    }
    const auto odd = LoadAs<MetaRecord>(image.At(1).Body());
    CheckMeta(image, 0, even);
    CheckMeta(image, 1, odd);
    CheckTransactions(image, even.transaction, odd.transaction);
    const MetaRecord& meta = odd.transaction > even.transaction ? odd : even;
    // Every page but the metas is in use, and then in the file, or listed as free, in 8 bytes of
    // the file. A last page beyond that would only make the check need room without end.
    if (meta.lastPage >= image.PageCount() + bytes.size() / sizeof(std::uint64_t)) {
        image.Damage("more pages than the file accounts for");
    }
    return meta;
}

}  // namespace refstore
