#include "refstore/header/header_record.h"

#include "refstore/base/errors.h"
#include "refstore/base/record_reader.h"
#include "refstore/header/header_format_generated.h"

namespace refstore {

HeaderRecord LoadHeaderRecord(const std::string& path) {
    return OrOutOfMemory(kHeaderKind.what, path, [&path] {
        const LoadedEnvelope loaded =
            LoadEnvelope(kHeaderKind, RegularFile(kHeaderKind.what, path));
        const auto& stored = VerifiedRoot<header_format::Header>(kHeaderKind, loaded.payload, path);
        const header_format::Attributes& attributes = *stored.attributes();
        HeaderRecord record;
        record.transId = attributes.trans_id();
        record.size = attributes.size();
        record.mtime = attributes.mtime();
        record.mtimeNsec = attributes.mtime_nsec();
        record.mode = attributes.mode();
        record.fg = attributes.fg();
        record.isDev = attributes.is_dev();
        record.extentLocation.assign(stored.extent_location()->begin(),
                                     stored.extent_location()->end());
        return record;
    });
}

}  // namespace refstore
