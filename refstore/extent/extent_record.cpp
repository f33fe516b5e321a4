#include "refstore/extent/extent_record.h"

#include <utility>

#include "refstore/base/errors.h"
#include "refstore/base/record_reader.h"
#include "refstore/extent/extent_format_generated.h"
#include "refstore/extent/extent_kind.h"

namespace refstore {

static_assert(sizeof(extent_format::StoredExtent) == sizeof(Extent));
static_assert(alignof(extent_format::StoredExtent) == alignof(Extent));

ExtentRecord LoadExtentRecord(const std::string& path) {
    return OrOutOfMemory(kExtentFileKind.what, path, [&path] {
        LoadedEnvelope loaded = LoadEnvelope(kExtentFileKind, path);
        const auto& stored =
            VerifiedRoot<extent_format::ExtentFile>(kExtentFileKind, loaded.payload, path);
        const auto& extents = *stored.extents();
        RequireAligned(kExtentFileKind, extents, path);
        return ExtentRecord{
            .transId = stored.trans_id(),
            .file = std::move(loaded.file),
            .extents = {reinterpret_cast<const Extent*>(extents.Data()), extents.size()}};
    });
}

}  // namespace refstore
