#pragma once

#include <cstdint>
#include <string>

namespace refstore {

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

}  // namespace refstore
