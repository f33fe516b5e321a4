#include "refstore/extent/extent_writer.h"

#include "refstore/extent/extent_record.h"

namespace refstore {

std::vector<std::byte> EncodeExtents(std::int64_t transId, std::span<const Extent> extents) {
    RequireFits(kExtentFileKind, extents.size_bytes());
    flatbuffers::FlatBufferBuilder builder;
    const auto stored = AddExtents(builder, extents);
    builder.Finish(extent_format::CreateExtentFile(builder, transId, stored));
    return SealRecord(kExtentFileKind, builder);
}

}  // namespace refstore
