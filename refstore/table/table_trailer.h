#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace refstore {

// The seal of a data.mdb stands behind the last page of the LMDB environment, where LMDB does not
// look. Layout, little-endian, offsets in bytes:
//   0   8  "JORVTABL"
//   8   4  version of the record format, 1
//   12  4  zero
//   16  8  length of the environment: all of the file before the trailer
//   24  8  XXH3-64 of all of the file before this field

inline constexpr std::size_t kTrailerSize = 32;
inline constexpr std::size_t kTrailerChecksum = 8;
inline constexpr std::string_view kTrailerMagic = "JORVTABL";
inline constexpr std::uint32_t kTrailerVersion = 1;

/// Largest data.mdb that is written or read, in bytes: about 160 million extents.
inline constexpr std::uint64_t kMaxTableFile = std::uint64_t{1} << 34;

/// Checks all of the trailer but the checksum. `tail`: the last bytes of a file of `size` bytes, at
/// most kTrailerSize of them. Damage is SysException(EBADMSG).
void CheckTrailer(std::span<const std::byte> tail, std::uint64_t size, const std::string& path);

/// XXH3-64 of a file up to its recorded checksum.
std::uint64_t TableChecksum(std::span<const std::byte> file);

/// Checks the trailer and returns the environment before it. Any changed, missing or added byte is
/// damage.
///
/// @param checksum TableChecksum of the file.
std::span<const std::byte> OpenTableFile(std::span<const std::byte> file, std::uint64_t checksum,
                                         const std::string& path);

}  // namespace refstore
