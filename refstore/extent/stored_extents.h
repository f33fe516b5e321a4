#pragma once

#include <span>
#include <string>

#include "refstore/base/record_reader.h"
#include "refstore/extent/extent.h"
#include "refstore/extent/extent_format_generated.h"

namespace refstore {

static_assert(sizeof(extent_format::StoredExtent) == sizeof(Extent));
static_assert(alignof(extent_format::StoredExtent) == alignof(Extent));

using StoredExtents = flatbuffers::Vector<const extent_format::StoredExtent*>;

/// The extents of a verified record, in place. SysException(EBADMSG) where they are not aligned.
inline std::span<const Extent> ReadExtents(const EnvelopeKind& kind, const StoredExtents& stored,
                                           const std::string& path) {
    RequireAligned(kind, stored, path);
    return {reinterpret_cast<const Extent*>(stored.Data()), stored.size()};
}

}  // namespace refstore
