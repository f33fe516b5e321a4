#pragma once

#include "refstore/table/page_image.h"

namespace refstore {

/// Checks the two meta pages that `bytes` begin with, alone and against each other.
///
/// @return the one of the newer transaction, which describes the environment. Its page size is a
///         power of two from 4096 to 32768; its last page is one that bytes of this length can
///         account for. Damage is SysException(EBADMSG).
MetaRecord CheckMetaPages(std::span<const std::byte> bytes, const std::string& path);

}  // namespace refstore
