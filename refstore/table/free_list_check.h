#pragma once

#include <cstdint>
#include <span>

#include "refstore/table/page_claims.h"
#include "refstore/table/page_image.h"
#include "refstore/table/tree_check.h"

namespace refstore {

/// Checks the entries of the free list, whose tree is checked already, and claims the pages that
/// they list. Damage, a page listed twice or in use included, is SysException(EBADMSG).
///
/// @param leaves the tree's leaf pages.
/// @param meta   the environment's meta record.
void CheckFreeList(const PageImage& image, std::span<const LeafPage> leaves, const MetaRecord& meta,
                   PageClaims& claims);

}  // namespace refstore
