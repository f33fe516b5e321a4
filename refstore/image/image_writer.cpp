#include "refstore/base/envelope_writer.h"
#include "refstore/image/image_format_generated.h"
#include "refstore/image/image_record.h"

namespace refstore {

std::vector<std::byte> EncodeImage(const ImageRecord& record) {
    RequireFits(kImageKind, record.policy.size() + record.backupTime.size() + record.name.size() +
                                record.containers.size() * sizeof(std::uint64_t));
    flatbuffers::FlatBufferBuilder builder;
    const auto policy = AddBytes(builder, record.policy);
    const auto backupTime = AddBytes(builder, record.backupTime);
    const auto name = AddBytes(builder, record.name);
    const auto containers = builder.CreateVector(record.containers);
    builder.Finish(image_format::CreateImage(builder, policy, backupTime, name, containers));
    return SealRecord(kImageKind, builder);
}

}  // namespace refstore
