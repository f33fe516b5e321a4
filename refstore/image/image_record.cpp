#include "refstore/image/image_record.h"

#include "refstore/base/errors.h"
#include "refstore/base/record_reader.h"
#include "refstore/image/image_format_generated.h"

namespace refstore {

ImageRecord LoadImageRecord(const std::string& path) {
    return OrOutOfMemory(kImageKind.what, path, [&path] {
        const LoadedEnvelope loaded = LoadEnvelope(kImageKind, RegularFile(kImageKind.what, path));
        const auto& stored = VerifiedRoot<image_format::Image>(kImageKind, loaded.payload, path);
        RequireAligned(kImageKind, *stored.containers(), path);
        ImageRecord record;
        record.policy.assign(stored.policy()->begin(), stored.policy()->end());
        record.backupTime.assign(stored.backup_time()->begin(), stored.backup_time()->end());
        record.name.assign(stored.name()->begin(), stored.name()->end());
        record.containers.assign(stored.containers()->begin(), stored.containers()->end());
        return record;
    });
}

}  // namespace refstore
