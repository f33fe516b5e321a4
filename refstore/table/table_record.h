#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "refstore/extent/extent.h"
#include "storage/mapping_table.h"

namespace refstore {

/// One mapping table as it is written.
struct TableRecord {
    std::uint64_t offset = 0;  ///< first file offset that the table covers
    std::uint64_t end = 0;     ///< offset of the first byte after its coverage
    std::vector<Extent> extents;
    std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry> dcids;
    std::vector<crfp_digest_t> bloom;  ///< fingerprints that its bloom filter is made of
};

/// The tables of one user file, in ascending order of `offset`, and the file's size in bytes.
struct TableDirectoryRecord {
    std::int64_t fileSize = 0;
    std::vector<TableRecord> tables;
};

/// The bytes of a data.mdb. Defined in the library of writers.
///
/// Extents are stored in offset order (stable where starts are equal), everything else in the given
/// order. The same record always gives the same bytes. Tables that are not in order throw
/// std::invalid_argument, more than fit std::length_error.
std::vector<std::byte> EncodeTables(const TableDirectoryRecord& record);

}  // namespace refstore
