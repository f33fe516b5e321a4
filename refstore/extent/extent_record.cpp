#include "refstore/extent/extent_record.h"

#include <cstddef>
#include <cstdint>
#include <utility>

#include "refstore/base/errors.h"
#include "refstore/extent/extent_format_generated.h"
#include "refstore/extent/extent_kind.h"

namespace refstore {

static_assert(sizeof(format::StoredExtent) == sizeof(Extent));
static_assert(alignof(format::StoredExtent) == alignof(Extent));

ExtentRecord LoadExtentRecord(const std::string& path) {
    LoadedEnvelope loaded = LoadEnvelope(kExtentFileKind, path);
    const std::span<const std::byte> payload = loaded.payload;
    // NOLINTNEXTLINE(bugprone-*): FlatBuffers takes its bytes as unsigned char.
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(payload.data());
    flatbuffers::Verifier verifier(bytes, payload.size());
    if (!verifier.VerifyBuffer<format::ExtentFile>(nullptr)) {
        ThrowDamage(kExtentFileKind.what, path, "malformed record");
    }
    const auto* record = flatbuffers::GetRoot<format::ExtentFile>(bytes);
    const auto* extents = record->extents();
    // The verifier checks that the vector lies inside the payload, not that its structs stand on
    // their alignment.
    if (reinterpret_cast<std::uintptr_t>(extents->Data()) % alignof(Extent) != 0) {
        ThrowDamage(kExtentFileKind.what, path, "misaligned extents");
    }
    return {.transId = record->trans_id(),
            .file = std::move(loaded.file),
            .extents = {reinterpret_cast<const Extent*>(extents->Data()), extents->size()}};
}

}  // namespace refstore
