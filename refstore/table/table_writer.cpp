#include <algorithm>
#include <stdexcept>

#include "refstore/extent/extent_writer.h"
#include "refstore/table/bloom_filter.h"
#include "refstore/table/table_directory.h"
#include "refstore/table/table_record.h"

namespace refstore {

namespace {

// More than a table takes beside its vectors' elements, and more than a fingerprint takes in a
// filter.
constexpr std::uint64_t kTableOverhead = 128;
constexpr std::uint64_t kFingerprintBytes = 2;

void RequireWritable(const TableDirectoryRecord& record) {
    if (record.tables.size() > kMaxTables) {
        throw std::length_error("more than " + std::to_string(kMaxTables) + " mapping tables");
    }
    std::uint64_t bytes = 0;
    for (const TableRecord& table : record.tables) {
        bytes += kTableOverhead + table.extents.size() * sizeof(Extent) +
                 table.dcids.size() * sizeof(extent_format::StoredDcid) +
                 table.bloom.size() * kFingerprintBytes;
    }
    RequireFits(kTablesKind, bytes);
    if (!std::ranges::is_sorted(record.tables, {}, &TableRecord::offset)) {
        throw std::invalid_argument("mapping tables out of order");
    }
}

flatbuffers::Offset<extent_format::StoredTable> AddTable(flatbuffers::FlatBufferBuilder& builder,
                                                         const TableRecord& table) {
    std::vector<Extent> sorted = table.extents;
    std::ranges::stable_sort(sorted, {}, &Extent::start);
    const auto extents = AddExtents(builder, sorted);
    std::vector<extent_format::StoredDcid> entries;
    entries.reserve(table.dcids.size());
    for (const auto& [dcid, second] : table.dcids) {
        entries.emplace_back(dcid, second);
    }
    const auto dcids = builder.CreateVectorOfStructs(entries);
    const BloomBits bloom = MakeBloomBits(table.bloom);
    const auto words = builder.CreateVector(bloom.words);
    return extent_format::CreateStoredTable(builder, table.offset, table.end, extents, dcids, words,
                                            bloom.hashes);
}

}  // namespace

std::vector<std::byte> EncodeTables(const TableDirectoryRecord& record) {
    RequireWritable(record);
    flatbuffers::FlatBufferBuilder builder;
    std::vector<flatbuffers::Offset<extent_format::StoredTable>> tables;
    tables.reserve(record.tables.size());
    for (const TableRecord& table : record.tables) {
        tables.push_back(AddTable(builder, table));
    }
    const auto stored = builder.CreateVector(tables);
    builder.Finish(extent_format::CreateMappingTables(builder, record.fileSize, stored));
    return SealRecord(kTablesKind, builder);
}

}  // namespace refstore
