#pragma once

#include <cstdint>

#include "storage/fingerprint.h"

namespace refstore {

/// DCID of data that lies in the file's storage unit.
inline constexpr std::uint64_t kLocalDcid = 1;

/// One extent as it is stored: fields in stored order, 80 bytes, little-endian, no padding. Values
/// are not judged by the library: an inverted extent or DCID 0 is stored and read like any other.
struct Extent {
    std::uint64_t start = 0;      ///< offset in the file, bytes
    std::uint64_t end = 0;        ///< offset of the first byte after the extent
    std::uint64_t dcid = 0;       ///< container of the data; 1: the file's storage unit
    std::uint64_t soRef = 0;      ///< storage-object reference, 0 for none
    std::uint64_t cksum = 0;      ///< sampled checksum of the data
    std::int64_t dataOffset = 0;  ///< offset of the data in the storage unit or container
    crfp_digest_t fp = {};        ///< fingerprint of the data

    friend bool operator==(const Extent&, const Extent&) = default;
};

static_assert(sizeof(Extent) == 80);

}  // namespace refstore
