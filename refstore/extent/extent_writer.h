#pragma once

#include <span>

#include "refstore/base/envelope_writer.h"
#include "refstore/extent/stored_extents.h"

namespace refstore {

/// Adds extents to a record that is being built, in the given order.
inline flatbuffers::Offset<StoredExtents> AddExtents(flatbuffers::FlatBufferBuilder& builder,
                                                     std::span<const Extent> extents) {
    return builder.CreateVectorOfStructs(
        reinterpret_cast<const extent_format::StoredExtent*>(extents.data()), extents.size());
}

}  // namespace refstore
