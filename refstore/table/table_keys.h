#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "refstore/table/page_format.h"

namespace refstore {

// Records of a data.mdb; docs/formats/mapping-tables.md. The kinds follow one another in this
// order, since keys are sorted as bytes, and within one kind the tables, and within one table the
// sequence. The number of every record is known from the ones before, so that a reader knows which
// key must come next.

enum class RecordKind : std::uint8_t {
    kFile = 1,     ///< one: FileValue
    kTable = 2,    ///< one per table: TableValue
    kDcids = 3,    ///< per table: its DCID list in pieces of kDcidsPerRecord, the last one shorter
    kBloom = 4,    ///< one per table: BloomHead and the filter's words
    kExtents = 5,  ///< one per extent: Extent
};

/// Kind, ordinal of the table and sequence number, the last two big-endian so that they sort.
using RecordKey = std::array<std::byte, 9>;

inline RecordKey MakeKey(RecordKind kind, std::uint32_t table, std::uint32_t sequence) {
    RecordKey key = {};
    key[0] = std::byte{static_cast<std::uint8_t>(kind)};
    const std::uint32_t bigTable = __builtin_bswap32(table);
    const std::uint32_t bigSequence = __builtin_bswap32(sequence);
    std::memcpy(&key[1], &bigTable, sizeof bigTable);
    std::memcpy(&key[5], &bigSequence, sizeof bigSequence);
    return key;
}

struct FileValue {
    std::int64_t fileSize = 0;
    std::uint32_t tables = 0;
    std::uint32_t zero = 0;
};
static_assert(sizeof(FileValue) == 16);

struct TableValue {
    std::uint64_t offset = 0;
    std::uint64_t end = 0;
    std::uint32_t extents = 0;
    std::uint32_t dcids = 0;
};
static_assert(sizeof(TableValue) == 24);

struct DcidValue {
    std::uint64_t first = 0;
    std::uint64_t second = 0;
};
static_assert(sizeof(DcidValue) == 16);

/// As many as stay inside a leaf page of LMDB, which moves longer values to pages of their own.
inline constexpr std::uint32_t kDcidsPerRecord = 120;

struct BloomHead {
    std::uint32_t hashes = 0;
    std::uint32_t zero = 0;
};
static_assert(sizeof(BloomHead) == 8);

/// More hashes than any filter has use for would only make a lookup slow.
inline constexpr std::uint32_t kMaxHashes = 64;

}  // namespace refstore
