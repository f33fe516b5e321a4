#include "refstore/extent/extent_record.h"

#include <utility>

#include "refstore/base/errors.h"
#include "refstore/extent/stored_extents.h"

namespace refstore {

ExtentRecord LoadExtentRecord(const std::string& path) {
    return OrOutOfMemory(kExtentFileKind.what, path, [&path] {
        LoadedEnvelope loaded =
            LoadEnvelope(kExtentFileKind, RegularFile(kExtentFileKind.what, path));
        const auto& stored =
            VerifiedRoot<extent_format::ExtentFile>(kExtentFileKind, loaded.payload, path);
        return ExtentRecord{.transId = stored.trans_id(),
                            .file = std::move(loaded.file),
                            .extents = ReadExtents(kExtentFileKind, *stored.extents(), path)};
    });
}

}  // namespace refstore
