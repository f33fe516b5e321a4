#include "refstore/table/table_trailer.h"

#include <algorithm>
#include <cstring>

#include "refstore/base/errors.h"
#include "refstore/base/little_endian.h"
#include "refstore/base/xxh3.h"
#include "refstore/table/page_image.h"

namespace refstore {

void CheckTrailer(std::span<const std::byte> tail, std::uint64_t size, const std::string& path) {
    if (tail.size() < kTrailerSize) {
        ThrowDamage(kMappingTableName, path, "too short");
    }
    const auto trailer = tail.last(kTrailerSize);
    if (std::memcmp(trailer.data(), kTrailerMagic.data(), kTrailerMagic.size()) != 0) {
        ThrowDamage(kMappingTableName, path, "bad magic number");
    }
    // The version stands before the checksum: a later version may be sealed in another way.
    if (LoadLittle32(trailer.subspan(8)) != kTrailerVersion) {
        ThrowDamage(kMappingTableName, path, "unknown version");
    }
    if (LoadLittle32(trailer.subspan(12)) != 0) {
        ThrowDamage(kMappingTableName, path, "reserved field is not zero");
    }
    if (LoadLittle64(trailer.subspan(16)) != size - kTrailerSize) {
        ThrowDamage(kMappingTableName, path, "length mismatch");
    }
}

std::uint64_t TableChecksum(std::span<const std::byte> file) {
    // A file too short to hold one is refused when its trailer is checked.
    return XXH3_64bits(file.data(), file.size() - std::min(file.size(), kTrailerChecksum));
}

std::span<const std::byte> OpenTableFile(std::span<const std::byte> file, std::uint64_t checksum,
                                         const std::string& path) {
    CheckTrailer(file, file.size(), path);
    if (LoadLittle64(file.last(kTrailerChecksum)) != checksum) {
        ThrowDamage(kMappingTableName, path, "checksum mismatch");
    }
    return file.first(file.size() - kTrailerSize);
}

}  // namespace refstore
