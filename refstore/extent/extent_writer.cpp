#include "refstore/extent/extent_writer.h"

#include "refstore/base/envelope_writer.h"
#include "refstore/base/record_writer.h"
#include "refstore/extent/extent_format_generated.h"
#include "refstore/extent/extent_kind.h"

namespace refstore {

std::vector<std::byte> EncodeExtents(std::int64_t transId, std::span<const Extent> extents) {
    RequireFits(extents.size_bytes());
    flatbuffers::FlatBufferBuilder builder;
    const auto stored = builder.CreateVectorOfStructs(
        reinterpret_cast<const extent_format::StoredExtent*>(extents.data()), extents.size());
    builder.Finish(extent_format::CreateExtentFile(builder, transId, stored));
    return SealRecord(kExtentFileKind, builder);
}

}  // namespace refstore
