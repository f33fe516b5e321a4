#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "refstore/base/regular_file.h"
#include "refstore/table/uniform_leaf.h"

namespace refstore {

/// All bytes of a data.mdb, trailer included, and what was found out while they were read.
struct TableFile {
    FileBytes bytes;
    std::uint64_t checksum = 0;            ///< TableChecksum of the bytes
    std::optional<UniformLeaves> uniform;  ///< not of a small file
};

/// Reads an open data.mdb, whose path is for messages. It judges nothing, but that a large file is
/// taken into memory only once its trailer fits, and a sparse one above kMaxReadUnsealed bytes only
/// once its checksum does. EBADMSG for damage,
/// EFBIG for more than kMaxTableFile bytes; out of memory is SysException(ENOMEM) or
/// std::bad_alloc; else as RegularFile.
TableFile ReadTableFile(const RegularFile& file, const std::string& path);

/// Bytes that are in memory already.
TableFile MakeTableFile(FileBytes bytes);

}  // namespace refstore
