#include "refstore/table/table_records.h"

#include <algorithm>
#include <cstring>

#include "refstore/base/errors.h"
#include "refstore/extent/extent.h"
#include "refstore/table/table_keys.h"

namespace refstore {

namespace {

// The records, one after the other, each asked for by its key: the counts met so far tell which one
// comes next, so that a missing, an extra and a misplaced record are all the same thing.
class RecordSequence {
  public:
    RecordSequence(const PageReader& pages, const std::string& path)
        : pages_(pages), path_(path), walk_(pages) {}

    [[noreturn]] void Damage(std::string_view why) const {
        ThrowDamage(kMappingTableName, path_, why);
    }

    [[nodiscard]] RecordPosition Position() const { return walk_.Position(); }

    std::span<const std::byte> Take(RecordKind kind, std::uint32_t table, std::uint32_t sequence) {
        return pages_.ValueOf(TakeNode(kind, table, sequence));
    }

    // A record of exactly `size` bytes, kept in its leaf page.
    const std::byte* Take(RecordKind kind, std::uint32_t table, std::uint32_t sequence,
                          std::size_t size) {
        const Node node = TakeNode(kind, table, sequence);
        if (node.ValueSize() != size || node.IsBig()) {
            Damage("record of a wrong size");
        }
        return node.Payload();
    }

    // As Take for records of `size` bytes, as many of `left` as stand in one leaf page and follow
    // from the first of them; returns their number, at least one.
    std::uint32_t TakeRun(RecordKind kind, std::uint32_t table, std::uint32_t sequence,
                          std::size_t size, std::uint32_t left) {
        const std::size_t ahead = walk_.AtEnd() ? 0 : walk_.UniformAhead();
        if (ahead == 0 || ahead > left) {
            Take(kind, table, sequence, size);
            return 1;
        }
        const RecordWalk first = walk_;
        Take(kind, table, sequence, size);
        walk_ = first;
        walk_.NextLeaf();
        return static_cast<std::uint32_t>(ahead);
    }

    void RequireEnd() const {
        if (!walk_.AtEnd()) {
            Damage("unknown record");
        }
    }

  private:
    Node TakeNode(RecordKind kind, std::uint32_t table, std::uint32_t sequence) {
        if (walk_.AtEnd()) {
            Damage("missing record");
        }
        const Node node = walk_.Current();
        const RecordKey wanted = MakeKey(kind, table, sequence);
        if (node.KeySize() != wanted.size() ||
            std::memcmp(node.Key().data(), wanted.data(), wanted.size()) != 0) {
            Damage("missing or unknown record");
        }
        walk_.Next();
        return node;
    }

    const PageReader& pages_;
    const std::string& path_;
    RecordWalk walk_;
};

TableInfo TakeTable(RecordSequence& records, std::uint32_t table) {
    const auto value =
        LoadAs<TableValue>(records.Take(RecordKind::kTable, table, 0, sizeof(TableValue)));
    TableInfo info;
    info.offset = value.offset;
    info.end = value.end;
    info.extents = value.extents;
    info.dcids = value.dcids;
    info.reach = value.end;
    return info;
}

void TakeDcids(RecordSequence& records, std::uint32_t table, TableInfo& info) {
    info.firstDcids = records.Position();
    std::uint32_t left = info.dcids;
    for (std::uint32_t sequence = 0; left > 0; ++sequence) {
        const std::uint32_t count = std::min(left, kDcidsPerRecord);
        records.Take(RecordKind::kDcids, table, sequence, count * sizeof(DcidValue));
        left -= count;
    }
}

void TakeBloom(RecordSequence& records, std::uint32_t table, TableInfo& info) {
    info.bloom = records.Position();
    const auto value = records.Take(RecordKind::kBloom, table, 0);
    if (value.size() < sizeof(BloomHead) || value.size() % sizeof(std::uint64_t) != 0) {
        records.Damage("record of a wrong size");
    }
    const auto head = LoadAs<BloomHead>(value.data());
    info.bloomHashes = head.hashes;
    info.bloomWords = (value.size() - sizeof head) / sizeof(std::uint64_t);
    if (head.zero != 0 || head.hashes > kMaxHashes ||
        (head.hashes == 0) != (info.bloomWords == 0)) {
        records.Damage("malformed bloom filter");
    }
}

void TakeExtents(RecordSequence& records, std::uint32_t table, TableInfo& info) {
    info.firstExtent = records.Position();
    for (std::uint32_t sequence = 0; sequence < info.extents;) {
        sequence += records.TakeRun(RecordKind::kExtents, table, sequence, sizeof(Extent),
                                    info.extents - sequence);
    }
}

}  // namespace

TableRecords CheckTableRecords(const PageReader& pages, const std::string& path) {
    RecordSequence records(pages, path);
    const auto file = LoadAs<FileValue>(records.Take(RecordKind::kFile, 0, 0, sizeof(FileValue)));
    if (file.zero != 0) {
        records.Damage("reserved field is not zero");
    }
    TableRecords found{.fileSize = file.fileSize, .tables = {}};
    // No room is made ahead: the count is only believed record by record.
    for (std::uint32_t table = 0; table < file.tables; ++table) {
        TableInfo info = TakeTable(records, table);
        if (!found.tables.empty()) {
            const TableInfo& before = found.tables.back();
            if (info.offset < before.offset) {
                records.Damage("tables out of order");
            }
            info.reach = std::max(info.reach, before.reach);
        }
        found.tables.push_back(info);
    }
    for (std::uint32_t table = 0; table < file.tables; ++table) {
        TakeDcids(records, table, found.tables[table]);
    }
    for (std::uint32_t table = 0; table < file.tables; ++table) {
        TakeBloom(records, table, found.tables[table]);
    }
    for (std::uint32_t table = 0; table < file.tables; ++table) {
        TakeExtents(records, table, found.tables[table]);
    }
    records.RequireEnd();
    return found;
}

}  // namespace refstore
