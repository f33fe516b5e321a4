#include "refstore/table/table_directory.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "refstore/base/errors.h"
#include "refstore/extent/stored_extents.h"

namespace refstore {

namespace {

using Corvane::Kst::Marlow::Jorv::DcidEntry;

static_assert(sizeof(extent_format::StoredDcid) == sizeof(DcidEntry));
static_assert(alignof(extent_format::StoredDcid) == alignof(DcidEntry));
static_assert(std::is_standard_layout_v<DcidEntry>);

/// More hashes than any filter has use for would only make a lookup slow.
constexpr std::uint32_t kMaxHashes = 64;

StoredTableView ViewOf(const extent_format::StoredTable& stored, const std::string& path) {
    const auto& dcids = *stored.dcids();
    const auto& words = *stored.bloom_words();
    RequireAligned(kTablesKind, dcids, path);
    RequireAligned(kTablesKind, words, path);
    StoredTableView view{
        .offset = stored.offset(),
        .end = stored.end(),
        .extents = ReadExtents(kTablesKind, *stored.extents(), path),
        .dcids = {reinterpret_cast<const DcidEntry*>(dcids.Data()), dcids.size()},
        .bloomWords = {reinterpret_cast<const std::uint64_t*>(words.Data()), words.size()},
        .bloomHashes = stored.bloom_hashes(),
        .reach = stored.end()};
    if (view.bloomHashes > kMaxHashes || (view.bloomHashes == 0) != view.bloomWords.empty()) {
        ThrowDamage(kTablesKind.what, path, "malformed bloom filter");
    }
    if (CostsTooMuch(view.offset, view.end, view.extents.size() + view.dcids.size())) {
        ThrowDamage(kTablesKind.what, path, "table costs too much to step through");
    }
    return view;
}

std::uint64_t SizeOf(const StoredTableView& table) {
    return table.extents.size_bytes() + table.dcids.size_bytes() + table.bloomWords.size_bytes();
}

}  // namespace

bool CostsTooMuch(std::uint64_t offset, std::uint64_t end, std::uint64_t entries) {
    constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 46;
    // In bytes, so that a part of a GiB counts as that part.
    constexpr std::uint64_t kMostCost = std::uint64_t{1} << 60;
    const std::uint64_t covered = end > offset ? end - offset : 0;
    return covered > kMostBytes || (entries != 0 && covered > kMostCost / entries);
}

std::shared_ptr<const TableDirectory> TableDirectory::Load(const std::string& path) {
    return OrOutOfMemory(kTablesKind.what, path,
                         [&path] { return Load(RegularFile(kTablesKind.what, path)); });
}

std::shared_ptr<const TableDirectory> TableDirectory::Load(const RegularFile& file) {
    return OrOutOfMemory(kTablesKind.what, file.Path(), [&file] {
        return std::make_shared<const TableDirectory>(LoadEnvelope(kTablesKind, file), file.Path());
    });
}

TableDirectory::TableDirectory(LoadedEnvelope loaded, const std::string& path)
    : file_(std::move(loaded.file)) {
    const auto& stored =
        VerifiedRoot<extent_format::MappingTables>(kTablesKind, loaded.payload, path);
    const auto& tables = *stored.tables();
    if (tables.size() > kMaxTables) {
        ThrowDamage(kTablesKind.what, path, "too many tables");
    }
    fileSize_ = stored.file_size();
    tables_.reserve(tables.size());
    std::uint64_t left = loaded.payload.size();
    for (const extent_format::StoredTable* const table : tables) {
        StoredTableView view = ViewOf(*table, path);
        // If tables could share a part, a small file could hold as much as a large one.
        if (SizeOf(view) > left) {
            ThrowDamage(kTablesKind.what, path, "tables overlap in the file");
        }
        left -= SizeOf(view);
        if (!tables_.empty()) {
            if (view.offset < tables_.back().offset) {
                ThrowDamage(kTablesKind.what, path, "tables out of order");
            }
            view.reach = std::max(view.reach, tables_.back().reach);
        }
        tables_.push_back(view);
    }
}

std::optional<std::size_t> TableDirectory::Find(std::uint64_t offset) const {
    auto at = std::upper_bound(
        tables_.begin(), tables_.end(), offset,
        [](std::uint64_t value, const StoredTableView& table) { return value < table.offset; });
    // Coverage may overlap. No table that ends in front of the offset ends the search, only one up
    // to which none reaches it.
    while (at != tables_.begin() && (--at)->reach > offset) {
        if (at->end > offset) {
            return static_cast<std::size_t>(at - tables_.begin());
        }
    }
    return std::nullopt;
}

}  // namespace refstore
