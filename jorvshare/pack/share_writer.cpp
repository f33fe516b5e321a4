#include "jorvshare/pack/share_writer.h"

#include <algorithm>
#include <span>
#include <stdexcept>
#include <utility>

#include "jorvshare/site/keep_going.h"
#include "refstore/extent/extent_record.h"
#include "refstore/extent/sampled_checksum.h"
#include "refstore/fingerprint.h"
#include "refstore/header/header_record.h"
#include "refstore/table/table_directory.h"
#include "refstore/table/table_record.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

constexpr std::int64_t kTransId = 1;
constexpr mode_t kDirectoryMode = 0700;
constexpr mode_t kFileMode = 0644;

/// Storage unit of one user file: its data once each, piece after piece, open to its owner alone.
/// The file and the directories above it are made with the first data; without a call
/// of Finish the file is removed.
class LocalStore {
  public:
    LocalStore(const Root& root, std::string path) : root_(root), path_(std::move(path)) {}
    ~LocalStore() {
        try {
            if (file_) {
                root_.Remove(path_);
            }
        } catch (const terminal::ToolError&) {
            // The failure that brought the run here is the one to report.
        }
    }
    LocalStore(const LocalStore&) = delete;
    LocalStore& operator=(const LocalStore&) = delete;

    /// Offset of the data in the storage unit, stored now unless it was before.
    std::int64_t Put(const crfp_digest_t& fp, std::span<const std::byte> data) {
        const auto [place, isNew] = places_.try_emplace(fp, static_cast<std::int64_t>(size_));
        if (isNew) {
            if (!file_) {
                root_.MakeDirectories(refstore::ParentOf(path_), kDirectoryMode);
                file_ = root_.Create(path_, 0600);
            }
            root_.Require(refstore::WriteAllAt(file_, size_, data), path_);
            size_ += data.size();
        }
        return place->second;
    }

    /// Ends the file and returns its size. Nothing may be put afterwards.
    std::uint64_t Finish() {
        root_.Require(file_.Close(), path_);
        return size_;
    }

  private:
    const Root& root_;
    const std::string path_;
    refstore::Descriptor file_;
    FingerprintMap<std::int64_t> places_;
    std::uint64_t size_ = 0;
};

bool Lists(const refstore::TableRecord& table, std::uint64_t dcid) {
    // From the back: data that was packed together mostly lies together.
    return std::any_of(table.dcids.rbegin(), table.dcids.rend(),
                       [dcid](const auto& entry) { return entry.first == dcid; });
}

}  // namespace

ShareWriter::ShareWriter(const PackSite& site, const SharedData& shared, ContainerStore* containers,
                         terminal::Progress* progress)
    : site_(site),
      root_(site.Tree()),
      share_(site.Share()),
      shared_(shared),
      containers_(containers),
      progress_(progress) {
    for (const std::string& tree : {share_.Head(), share_.Map(), share_.Stu()}) {
        root_.MakeDirectory(tree, kDirectoryMode);
    }
}

void ShareWriter::AddDirectory(const std::string& relative) {
    root_.MakeDirectory(share_.Head(relative), kDirectoryMode);
    root_.MakeDirectory(share_.Map(relative), kDirectoryMode);
}

void ShareWriter::AddFile(const Root& source, const std::string& relative) {
    SourceFile file(source, relative);
    const std::vector<refstore::Extent> extents = StoreData(&file, relative);
    try {
        if (site_.Map() == MapLayout::kTables) {
            WriteTables(relative, file.Size(), extents);
        } else {
            root_.Write(share_.Map(relative), refstore::EncodeExtents(kTransId, extents),
                        kFileMode);
        }
    } catch (const std::length_error& error) {
        throw terminal::ToolError(source.At(relative) + ": " + error.what());
    }
    ++files_;
    bytes_ += static_cast<std::uint64_t>(file.Size());
    extents_ += extents.size();
    WriteHeader(file, relative);
}

std::vector<refstore::Extent> ShareWriter::StoreData(SourceFile* file,
                                                     const std::string& relative) {
    std::vector<refstore::Extent> extents;
    LocalStore local(root_, share_.Stu(relative));
    file->ForEachPiece([&](std::uint64_t offset, std::span<const std::byte> data) {
        refstore::Extent extent;
        extent.start = offset;
        extent.end = offset + data.size();
        extent.cksum = refstore::SampledChecksum(data);
        extent.fp = refstore::Fingerprint(data);
        if (site_.Map() == MapLayout::kTables || shared_.contains(extent.fp)) {
            const DataPlace place = containers_->Put(extent.fp, data);
            extent.dcid = place.dcid;
            extent.dataOffset = place.offset;
        } else {
            extent.dcid = refstore::kLocalDcid;
            extent.dataOffset = local.Put(extent.fp, data);
        }
        extents.push_back(extent);
        progress_->Advance(data.size(), data.size());
    });
    localBytes_ += local.Finish();
    return extents;
}

void ShareWriter::WriteTables(const std::string& relative, std::int64_t size,
                              const std::vector<refstore::Extent>& extents) {
    const auto length = static_cast<std::uint64_t>(size);
    const std::uint64_t span = site_.TableSpan();
    const std::uint64_t count = std::max<std::uint64_t>(1, length / span + (length % span != 0));
    // A sparse file of any size costs one table per span.
    if (count > refstore::kMaxTables) {
        throw InputError(relative + ": would need " + std::to_string(count) +
                         " mapping tables; give a larger --table-span");
    }
    refstore::TableDirectoryRecord record;
    record.fileSize = size;
    record.tables.resize(count);
    for (std::uint64_t i = 0; i < count; ++i) {
        record.tables.at(i).offset = i * span;
        record.tables.at(i).end = (i + 1) * span;
    }
    for (const refstore::Extent& extent : extents) {
        refstore::TableRecord& table = record.tables.at(extent.start / span);
        table.extents.push_back(extent);
        table.bloom.push_back(extent.fp);
        if (!Lists(table, extent.dcid)) {
            table.dcids.emplace_back(extent.dcid, 0);
        }
    }
    for (const refstore::TableRecord& table : record.tables) {
        if (refstore::CostsTooMuch(table.offset, table.end,
                                   table.extents.size() + table.dcids.size())) {
            throw InputError(relative +
                             ": a mapping table would cover more than readers accept; "
                             "give a smaller --table-span");
        }
    }
    const std::string directory = share_.Map(relative);
    root_.MakeDirectory(directory, kDirectoryMode);
    root_.Write(refstore::TableDirectory::FileIn(directory), refstore::EncodeTables(record),
                kFileMode);
}

void ShareWriter::WriteHeader(const SourceFile& file, const std::string& relative) {
    refstore::HeaderRecord header;
    header.transId = kTransId;
    header.size = file.Size();
    header.mtime = file.Attributes().st_mtim.tv_sec;
    header.mtimeNsec = static_cast<std::uint32_t>(file.Attributes().st_mtim.tv_nsec);
    header.mode = file.Attributes().st_mode & 07777U;
    header.fg = files_;
    header.extentLocation = site_.MetaRoot();
    root_.Write(share_.Head(relative), refstore::EncodeHeader(header), kFileMode);
}

}  // namespace jorvshare
