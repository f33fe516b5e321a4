#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "refstore/base/envelope.h"

namespace refstore {

/// The envelope that a header file is kept in: 64 KiB for the extent location, and the rest.
inline constexpr EnvelopeKind kHeaderKind{"JORVHEAD", 1, "header file", 65536 + 4096};

/// What a header file holds about one user file.
struct HeaderRecord {
    std::int64_t transId = 1;
    std::int64_t size = 0;        ///< logical size, bytes
    std::int64_t mtime = 0;       ///< seconds since the epoch
    std::uint32_t mtimeNsec = 0;  ///< 0 to 999,999,999 when written by packing; not judged
    std::uint32_t mode = 0644;    ///< permission bits
    std::uint64_t fg = 0;
    bool isDev = false;
    std::string extentLocation;  ///< raw bytes

    friend bool operator==(const HeaderRecord&, const HeaderRecord&) = default;
};

/// Reads the header file at `path`; every failure is a SysException.
HeaderRecord LoadHeaderRecord(const std::string& path);

/// The bytes of a header file. Defined in the library of writers. A location that is too long
/// throws std::length_error.
std::vector<std::byte> EncodeHeader(const HeaderRecord& record);

}  // namespace refstore
