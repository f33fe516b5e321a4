#include "refstore/table/table_writer.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <new>
#include <span>

#include "refstore/base/errors.h"
#include "refstore/base/file_writer.h"
#include "refstore/table/bloom_bits.h"
#include "refstore/table/environment_writer.h"
#include "refstore/table/page_image.h"
#include "refstore/table/table_keys.h"
#include "refstore/table/table_trailer.h"
#include "refstore/table/table_trailer_writer.h"

namespace refstore {

namespace {

constexpr std::size_t kMaxCount = std::numeric_limits<std::uint32_t>::max();

template <typename T>
std::span<const std::byte> BytesOf(const T& value) {
    return std::as_bytes(std::span(&value, 1));
}

// A table whose parts are in the order and the form in which they are stored.
struct PreparedTable {
    const TableRecord* record = nullptr;
    std::vector<const Extent*> extents;
    std::vector<std::vector<DcidValue>> dcids;
    std::vector<std::byte> bloom;
};

std::vector<std::byte> BloomValue(std::span<const crfp_digest_t> fingerprints) {
    const BloomBits bits = MakeBloomBits(fingerprints);
    const BloomHead head{.hashes = bits.hashes, .zero = 0};
    const auto first = BytesOf(head);
    const auto words = std::as_bytes(std::span(bits.words));
    std::vector<std::byte> value(first.size() + words.size());
    std::ranges::copy(words, std::ranges::copy(first, value.begin()).out);
    return value;
}

PreparedTable Prepare(const TableRecord& record) {
    PreparedTable table{
        .record = &record, .extents = {}, .dcids = {}, .bloom = BloomValue(record.bloom)};
    table.extents.reserve(record.extents.size());
    for (const Extent& extent : record.extents) {
        table.extents.push_back(&extent);
    }
    std::stable_sort(
        table.extents.begin(), table.extents.end(),
        [](const Extent* left, const Extent* right) { return left->start < right->start; });
    for (std::size_t i = 0; i < record.dcids.size(); ++i) {
        if (i % kDcidsPerRecord == 0) {
            table.dcids.emplace_back();
        }
        table.dcids.back().push_back({record.dcids[i].first, record.dcids[i].second});
    }
    return table;
}

// Calls put(kind, table, sequence, value) for every record, in the order of their keys.
template <typename Put>
void ForEachRecord(std::int64_t fileSize, std::span<const PreparedTable> tables, const Put& put) {
    const auto count = static_cast<std::uint32_t>(tables.size());
    put(RecordKind::kFile, 0, 0,
        BytesOf(FileValue{.fileSize = fileSize, .tables = count, .zero = 0}));
    for (std::uint32_t t = 0; t < count; ++t) {
        const TableRecord& record = *tables[t].record;
        put(RecordKind::kTable, t, 0,
            BytesOf(TableValue{.offset = record.offset,
                               .end = record.end,
                               .extents = static_cast<std::uint32_t>(record.extents.size()),
                               .dcids = static_cast<std::uint32_t>(record.dcids.size())}));
    }
    for (std::uint32_t t = 0; t < count; ++t) {
        for (std::uint32_t i = 0; i < tables[t].dcids.size(); ++i) {
            put(RecordKind::kDcids, t, i, std::as_bytes(std::span(tables[t].dcids[i])));
        }
    }
    for (std::uint32_t t = 0; t < count; ++t) {
        put(RecordKind::kBloom, t, 0, std::span<const std::byte>(tables[t].bloom));
    }
    for (std::uint32_t t = 0; t < count; ++t) {
        for (std::uint32_t i = 0; i < tables[t].extents.size(); ++i) {
            put(RecordKind::kExtents, t, i, BytesOf(*tables[t].extents[i]));
        }
    }
}

void CheckRecord(const TableDirectoryRecord& record, const std::string& path) {
    bool fits = record.tables.size() <= kMaxCount;
    for (const TableRecord& table : record.tables) {
        fits = fits && table.extents.size() <= kMaxCount && table.dcids.size() <= kMaxCount;
    }
    if (!fits) {
        ThrowErrno(EFBIG, kMappingTableName, path);
    }
    if (!std::is_sorted(record.tables.begin(), record.tables.end(),
                        [](const TableRecord& left, const TableRecord& right) {
                            return left.offset < right.offset;
                        })) {
        ThrowError(EINVAL, kMappingTableName, path, "tables out of order");
    }
}

}  // namespace

std::vector<std::byte> EncodeTables(const TableDirectoryRecord& record, const std::string& path) {
    CheckRecord(record, path);
    std::vector<PreparedTable> tables;
    tables.reserve(record.tables.size());
    for (const TableRecord& table : record.tables) {
        tables.push_back(Prepare(table));
    }
    EnvironmentRoom room;
    ForEachRecord(record.fileSize, tables,
                  [&](RecordKind, std::uint32_t, std::uint32_t, std::span<const std::byte> value) {
                      room.Add(sizeof(RecordKey), value.size());
                  });
    EnvironmentWriter environment(room, path);
    ForEachRecord(record.fileSize, tables,
                  [&](RecordKind kind, std::uint32_t table, std::uint32_t sequence,
                      std::span<const std::byte> value) {
                      environment.Append(MakeKey(kind, table, sequence), value);
                  });
    std::vector<std::byte> file = environment.Finish(kTrailerSize);
    if (file.size() > kMaxTableFile) {
        ThrowErrno(EFBIG, kMappingTableName, path);
    }
    SealTableFile(file);
    return file;
}

void WriteTableDirectory(const std::string& directory, const TableDirectoryRecord& record) {
    const std::string path = directory + "/data.mdb";
    try {
        WriteNewFile(path, EncodeTables(record, path));
    } catch (const std::bad_alloc&) {
        ThrowErrno(ENOMEM, kMappingTableName, path);
    }
}

}  // namespace refstore
