#include "refstore/extent/extent_writer.h"

#include <flatbuffers/flatbuffers.h>

#include <stdexcept>

#include "refstore/base/envelope_writer.h"
#include "refstore/extent/extent_format_generated.h"
#include "refstore/extent/extent_kind.h"

namespace refstore {

namespace {

// More than the payload holds beside its extents: offsets, vtable, transaction id, padding.
constexpr std::size_t kOverhead = 128;
constexpr std::size_t kMaxExtents = (kMaxPayload - kOverhead) / sizeof(Extent);

}  // namespace

std::vector<std::byte> EncodeExtents(std::int64_t transId, std::span<const Extent> extents) {
    if (extents.size() > kMaxExtents) {
        throw std::length_error("extent file holds more extents than its format allows");
    }
    flatbuffers::FlatBufferBuilder builder(extents.size_bytes() + kOverhead);
    const auto vector = builder.CreateVectorOfStructs(
        reinterpret_cast<const format::StoredExtent*>(extents.data()), extents.size());
    builder.Finish(format::CreateExtentFile(builder, transId, vector));
    return SealEnvelope(kExtentFileKind,
                        std::as_bytes(std::span(builder.GetBufferPointer(), builder.GetSize())));
}

}  // namespace refstore
