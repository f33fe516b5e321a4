#pragma once

#include <cstdint>
#include <string>

namespace Corvane::Kst::Marlow::JorvCk {

/// What a file is found to be at fault for; the number that its summary line shows as "ec".
enum class CheckCode : std::int32_t {
    none = 0,
    extentMissing = 4,  ///< extent directory, or the data file in it, does not exist
    noExtentPath = 5,
    sizeMismatch = 6,  ///< header and extent map give different sizes
    unknownDcid = 7,   ///< an extent names a container that no volume has
    reservedDcid = 9,  ///< an extent carries a DCID below 64
};

/// One file's meta information, for the messages about it.
struct FileInfo {
    std::int64_t size = 0;           ///< bytes, as recorded in the header
    std::int64_t mtim = 0;           ///< seconds since the epoch, as recorded in the header
    std::uint64_t fg = 0;            ///< the header's value, passed through
    std::string ext;                 ///< extent directory
    std::string path;                ///< relative to the header directory, beginning with "/"
    bool extl = false;               ///< shown as "dev" when true and "local" when false
    CheckCode ec = CheckCode::none;  ///< the fault found
};

}  // namespace Corvane::Kst::Marlow::JorvCk
