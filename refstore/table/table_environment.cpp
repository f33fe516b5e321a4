#include "refstore/table/table_environment.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>
#include <utility>

#include "refstore/base/errors.h"
#include "refstore/base/file_checksum.h"
#include "refstore/base/little_endian.h"
#include "refstore/table/table_keys.h"
#include "refstore/table/table_trailer.h"

namespace refstore {

namespace {

// A file and the checksum of its bytes.
struct SummedFile {
    FileBytes bytes;
    std::uint64_t checksum = 0;
};

// Bytes up to which a checksum is computed in one go, faster than in pieces.
constexpr std::uint64_t kSmall = std::uint64_t{1} << 18;

bool IsSparse(const RegularFile& file) {
    constexpr std::uint64_t kBlock = 512;
    return static_cast<std::uint64_t>(file.Attributes().st_blocks) * kBlock < file.Size();
}

void CheckSeal(const RegularFile& file, const std::string& path) {
    std::array<std::byte, kTrailerSize> trailer = {};
    file.ReadAt(file.Size() - kTrailerSize, trailer);
    CheckTrailer(trailer, file.Size(), path);
    const std::uint64_t checksum =
        ChecksumOf(file, file.Size() - kTrailerChecksum, kMappingTableName, path);
    if (LoadLittle64(std::span(trailer).last(kTrailerChecksum)) != checksum) {
        ThrowDamage(kMappingTableName, path, "checksum mismatch");
    }
}

SummedFile ReadTableFile(const RegularFile& file, const std::string& path) {
    if (file.Size() > kReadUnseen && file.Size() <= kMaxTableFile && IsSparse(file)) {
        CheckSeal(file, path);
    }
    // What is read now may differ from what was looked at above, so all of it is checked again.
    SummedFile read;
    if (file.Size() <= kSmall) {
        read.bytes = file.ReadAll(kMaxTableFile);
        read.checksum = TableChecksum(read.bytes.Span());
        return read;
    }
    RunningChecksum checksum(kMappingTableName, path);
    std::uint64_t left = file.Size() - kTrailerChecksum;
    read.bytes = file.ReadAll(kMaxTableFile, [&](std::span<const std::byte> piece) {
        const std::uint64_t sealed = std::min<std::uint64_t>(piece.size(), left);
        checksum.Add(piece.first(static_cast<std::size_t>(sealed)));
        left -= sealed;
    });
    read.checksum = checksum.Value();
    return read;
}

}  // namespace

std::shared_ptr<const TableEnvironment> TableEnvironment::Load(const std::string& directory,
                                                               std::optional<FileStamp>* stamp) {
    return OrOutOfMemory(kMappingTableName, directory, [&directory, stamp] {
        const std::string path = directory + "/data.mdb";
        const std::int64_t now = std::time(nullptr);
        SummedFile read;
        {
            const RegularFile file(kMappingTableName, path);
            if (stamp != nullptr) {
                *stamp = FileStamp(file.Attributes(), now);
            }
            read = ReadTableFile(file, path);
        }
        return std::make_shared<const TableEnvironment>(std::move(read.bytes), read.checksum, path);
    });
}

TableEnvironment::TableEnvironment(FileBytes file, const std::string& path)
    : TableEnvironment(std::move(file), TableChecksum(file.Span()), path) {}

TableEnvironment::TableEnvironment(FileBytes&& file, std::uint64_t checksum,
                                   const std::string& path)
    : file_(std::move(file)),
      path_(path),
      pages_(OpenTableFile(file_.Span(), checksum, path), path) {
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
