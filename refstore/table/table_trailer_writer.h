#pragma once

#include <cstddef>
#include <span>

namespace refstore {

/// Writes the trailer of a data.mdb (table_trailer.h) into the last kTrailerSize bytes of `file`,
/// over the bytes before it.
void SealTableFile(std::span<std::byte> file);

}  // namespace refstore
