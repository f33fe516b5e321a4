#include "refstore/table/page_reader.h"

#include "refstore/table/free_list_check.h"
#include "refstore/table/meta_check.h"
#include "refstore/table/page_claims.h"
#include "refstore/table/tree_check.h"

namespace refstore {

PageReader::PageReader(std::span<const std::byte> bytes, const std::string& path,
                       const UniformLeaves* seen)
    : meta_(CheckMetaPages(bytes, path)), pages_(bytes, meta_.PageSize()) {
    const PageImage image(bytes, meta_.PageSize(), path);
    PageClaims claims(meta_.lastPage + 1);
    TreeCheck tree(image, meta_.lastPage, claims, seen);
    leaves_ = tree.Check(meta_.main, KeyOrder::kBytes);
    const auto freeLeaves = tree.Check(meta_.freeList, KeyOrder::kInteger);
    CheckFreeList(image, freeLeaves, meta_, claims);
    // Pages behind the end of the file are free, then: a page in use was seen to lie inside.
    if (claims.Claimed() != meta_.lastPage + 1 - kMetaPages) {
        image.Damage("pages neither in use nor free");
    }
}

}  // namespace refstore
