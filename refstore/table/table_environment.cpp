#include "refstore/table/table_environment.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <utility>

#include "refstore/base/errors.h"
#include "refstore/base/little_endian.h"
#include "refstore/table/table_keys.h"
#include "refstore/table/table_trailer.h"

namespace refstore {

std::shared_ptr<const TableEnvironment> TableEnvironment::Load(const std::string& directory,
                                                               std::optional<FileStamp>* stamp) {
    return OrOutOfMemory(kMappingTableName, directory, [&directory, stamp] {
        const std::string path = directory + "/data.mdb";
        const std::int64_t now = std::time(nullptr);
        TableFile read;
        {
            const RegularFile file(kMappingTableName, path);
            if (stamp != nullptr) {
                *stamp = FileStamp(file.Attributes(), now);
            }
            read = ReadTableFile(file, path);
        }
        return std::make_shared<const TableEnvironment>(std::move(read), path);
    });
}

TableEnvironment::TableEnvironment(TableFile read, const std::string& path)
    : file_(std::move(read.bytes)),
      path_(path),
      pages_(OpenTableFile(file_.Span(), read.checksum, path), path,
             read.uniform ? &*read.uniform : nullptr) {
    const MetaRecord& meta = pages_.Meta();
    if ((meta.lastPage + 1) * meta.PageSize() != file_.size - kTrailerSize) {
        ThrowDamage(kMappingTableName, path, "trailer does not follow the last page");
    }
    records_ = CheckTableRecords(pages_, path);
}

std::optional<std::size_t> TableEnvironment::Find(std::uint64_t offset) const {
    const auto& tables = records_.tables;
    auto at = std::upper_bound(
        tables.begin(), tables.end(), offset,
        [](std::uint64_t value, const TableInfo& table) { return value < table.offset; });
    // Coverage may overlap. No table that ends in front of the offset ends the search, only one up
    // to which none reaches it.
    while (at != tables.begin() && (--at)->reach > offset) {
        if (at->end > offset) {
            return static_cast<std::size_t>(at - tables.begin());
        }
    }
    return std::nullopt;
}

std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry> TableEnvironment::Dcids(
    std::size_t table) const {
    const TableInfo& info = records_.tables[table];
    std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry> dcids;
    dcids.reserve(info.dcids);
    for (RecordWalk walk(pages_, info.firstDcids); dcids.size() < info.dcids; walk.Next()) {
        const auto value = pages_.ValueOf(walk.Current());
        for (std::size_t at = 0; at < value.size(); at += sizeof(DcidValue)) {
            const auto entry = LoadAs<DcidValue>(value.data() + at);
            dcids.emplace_back(entry.first, entry.second);
        }
    }
    return dcids;
}

BloomBits TableEnvironment::Bloom(std::size_t table) const {
    const TableInfo& info = records_.tables[table];
    BloomBits bloom{.hashes = info.bloomHashes,
                    .words = std::vector<std::uint64_t>(info.bloomWords)};
    const auto value = pages_.ValueOf(RecordWalk(pages_, info.bloom).Current());
    if (!bloom.words.empty()) {
        std::memcpy(bloom.words.data(), value.data() + sizeof(BloomHead),
                    bloom.words.size() * sizeof(std::uint64_t));
    }
    return bloom;
}

}  // namespace refstore
