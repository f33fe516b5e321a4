#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "refstore/base/regular_file.h"

namespace refstore {

/// A file above this size is read into memory only after its seal was found to fit: a few bytes on
/// disk can pass for a file of any size, and are not to be paid for with memory.
inline constexpr std::uint64_t kReadUnseen = std::uint64_t{16} << 20;

/// XXH3-64 of the first `length` bytes, read in parts. Fails as RegularFile; `what` and `path` are
/// those of the file.
std::uint64_t ChecksumOf(const RegularFile& file, std::uint64_t length, std::string_view what,
                         const std::string& path);

}  // namespace refstore
