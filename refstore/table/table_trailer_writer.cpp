#include "refstore/table/table_trailer_writer.h"

#include <xxhash.h>

#include <cstring>

#include "refstore/base/little_endian.h"
#include "refstore/table/table_trailer.h"

namespace refstore {

void SealTableFile(std::span<std::byte> file) {
    const auto trailer = file.last(kTrailerSize);
    std::memcpy(trailer.data(), kTrailerMagic.data(), kTrailerMagic.size());
    StoreLittle32(kTrailerVersion, trailer.subspan(8));
    StoreLittle32(0, trailer.subspan(12));
    StoreLittle64(file.size() - kTrailerSize, trailer.subspan(16));
    StoreLittle64(XXH3_64bits(file.data(), file.size() - kTrailerChecksum), trailer.subspan(24));
}

}  // namespace refstore
