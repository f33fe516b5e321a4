#include "refstore/container/container_record.h"

#include <cstring>

#include "refstore/base/errors.h"
#include "refstore/base/record_reader.h"
#include "refstore/container/container_format_generated.h"

namespace refstore {

ContainerIndex LoadContainerIndex(const std::string& path) {
    return OrOutOfMemory(kContainerIndexKind.what, path, [&path] {
        const LoadedEnvelope loaded =
            LoadEnvelope(kContainerIndexKind, RegularFile(kContainerIndexKind.what, path));
        const auto& stored =
            VerifiedRoot<container_format::Index>(kContainerIndexKind, loaded.payload, path);
        RequireAligned(kContainerIndexKind, *stored.entries(), path);
        ContainerIndex index;
        index.dcid = stored.data()->dcid();
        index.binSize = stored.data()->bin_size();
        index.binSeal = stored.data()->bin_seal();
        index.entries.resize(stored.entries()->size());
        for (std::size_t i = 0; i < index.entries.size(); ++i) {
            const container_format::Entry& from =
                *stored.entries()->Get(static_cast<flatbuffers::uoffset_t>(i));
            ContainerEntry& to = index.entries[i];
            std::memcpy(to.fp.bytes.data(), from.fingerprint()->Data(), to.fp.bytes.size());
            to.offset = from.offset();
            to.length = from.length();
        }
        return index;
    });
}

}  // namespace refstore
