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
        // As char: from iterators of another type, assign makes a temporary string first.
        const auto& location = *stored.extent_location();
        record.extentLocation.assign(reinterpret_cast<const char*>(location.Data()),
                                     location.size());
        return record;
    });
}

}  // namespace refstore
