#include "refstore/base/envelope_writer.h"
#include "refstore/header/header_format_generated.h"
#include "refstore/header/header_record.h"

namespace refstore {

std::vector<std::byte> EncodeHeader(const HeaderRecord& record) {
    RequireFits(kHeaderKind, record.extentLocation.size());
    flatbuffers::FlatBufferBuilder builder;
    const auto location = AddBytes(builder, record.extentLocation);
    const header_format::Attributes attributes(record.transId, record.size, record.mtime, record.fg,
                                               record.mtimeNsec, record.mode, record.isDev);
    builder.Finish(header_format::CreateHeader(builder, &attributes, location));
    return SealRecord(kHeaderKind, builder);
}

}  // namespace refstore
