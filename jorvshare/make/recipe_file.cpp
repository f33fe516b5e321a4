#include "jorvshare/make/recipe_file.h"

#include <algorithm>
#include <set>
#include <span>
#include <utility>

#include "jorvshare/site/root.h"
#include "refstore/extent/sampled_checksum.h"
#include "refstore/fingerprint.h"

namespace jorvshare {

namespace {

constexpr std::int64_t kDefaultModified = 1600000000;
constexpr std::int64_t kLargestUnit = std::int64_t{1} << 30U;

std::vector<std::byte> ReadStorageUnit(const Json& value) {
    std::vector<std::byte> bytes;
    const auto readText = [&](const Json& text) {
        const auto view = BytesOf(text.get_ref<const std::string&>());
        bytes.assign(view.begin(), view.end());
    };
    const auto readRepeat = [&](const Json& repeat) {
        const Json::array_t& parts = ElementsOf(repeat, 2);
        const std::vector<std::byte> pattern = BytesFrom(parts[0]);
        const auto size = static_cast<std::int64_t>(pattern.size());
        const std::int64_t count =
            IntegerFrom<std::int64_t>(parts[1], 0, kLargestUnit / std::max<std::int64_t>(1, size));
        bytes.reserve(pattern.size() * static_cast<std::size_t>(count));
        for (std::int64_t i = 0; i < count; ++i) {
            bytes.insert(bytes.end(), pattern.begin(), pattern.end());
        }
    };
    ReadObject(value, {{"repeat", readRepeat},
                       {"hex", [&](const Json& hex) { bytes = BytesFrom(hex); }},
                       {"text", readText}});
    if (value.size() != 1) {
        Refuse(value, "must have one of the keys \"repeat\", \"hex\" and \"text\"");
    }
    return bytes;
}

/// Reads one file of a share.
class FileReader {
  public:
    FileReader(const Json& value, std::uint64_t tableSpan) : tableSpan_(tableSpan) {
        // In this order: extents take their path and their data from what is before them, the
        // header its size from the extents.
        ReadObject(
            value,
            {Field("path", file_.path).Required(),
             {"stu", [this](const Json& unit) { file_.storageUnit = ReadStorageUnit(unit); }},
             {"extent_file", [this](const Json& map) { ReadExtentFile(map); }},
             {"tables", [this](const Json& map) { ReadTables(map); }},
             {"header", [this](const Json& header) { ReadHeader(header); }}});
        RequireInnerPath(value.at("path"), file_.path);
        const bool hasHeader = file_.header.has_value();
        if (file_.extentFile.has_value()) {
            file_.extentFile->transId = transId_.value_or(hasHeader ? file_.header->transId : 1);
        }
        if (file_.tables.has_value()) {
            file_.tables->fileSize = fileSize_.value_or(hasHeader ? file_.header->size : LastEnd());
        }
    }

    [[nodiscard]] RecipeFile TakeFile() { return std::move(file_); }

  private:
    // What the storage unit holds at the extent's data offset, cut where the unit ends.
    [[nodiscard]] std::span<const std::byte> LocalData(const refstore::Extent& extent) const {
        const auto offset = static_cast<std::uint64_t>(extent.dataOffset);
        if (!file_.storageUnit.has_value() || extent.dataOffset < 0 ||
            offset >= file_.storageUnit->size() || extent.end <= extent.start) {
            return {};
        }
        const auto held = std::span<const std::byte>(*file_.storageUnit).subspan(offset);
        return held.first(std::min<std::uint64_t>(extent.end - extent.start, held.size()));
    }

    [[nodiscard]] std::vector<refstore::Extent> ReadExtents(const Json& list) const {
        std::vector<refstore::Extent> extents;
        for (const Json& value : ElementsOf(list)) {
            refstore::Extent extent;
            extent.dcid = refstore::kLocalDcid;
            std::optional<std::uint64_t> end;
            std::optional<std::int64_t> dataOffset;
            std::optional<std::uint64_t> cksum;
            std::optional<crfp_digest_t> fp;
            const auto readCksum = [&](const Json& given) {
                if (given != "auto") {
                    Into(given, cksum);
                }
            };
            ReadObject(value, {{"start", extent.start},
                               {"end", end},
                               {"dcid", extent.dcid},
                               {"so_ref", extent.soRef},
                               {"cksum", readCksum},
                               {"data_offset", dataOffset},
                               {"fp", fp}});
            extent.end = end.value_or(extent.start);
            extent.dataOffset = dataOffset.value_or(static_cast<std::int64_t>(extent.start));
            extent.cksum = cksum ? *cksum : refstore::SampledChecksum(LocalData(extent));
            extent.fp = fp ? *fp
                           : refstore::Fingerprint(
                                 BytesOf(file_.path + ":" + std::to_string(extent.start)));
            extents.push_back(extent);
        }
        return extents;
    }

    void ReadExtentFile(const Json& value) {
        file_.extentFile.emplace();
        const auto readExtents = [this](const Json& list) {
            file_.extentFile->extents = ReadExtents(list);
        };
        ReadObject(value, {{"trans_id", transId_}, {"extents", readExtents}});
    }

    [[nodiscard]] refstore::TableRecord ReadTable(const Json& value) const {
        refstore::TableRecord table;
        std::optional<std::uint64_t> end;
        std::optional<std::vector<crfp_digest_t>> bloom;
        const auto readExtents = [&](const Json& list) {
            table.extents = ReadExtents(list);
            std::set<std::uint64_t> dcids;
            for (const refstore::Extent& extent : table.extents) {
                if (dcids.insert(extent.dcid).second) {
                    table.dcids.emplace_back(extent.dcid, 0);
                }
                table.bloom.push_back(extent.fp);
            }
        };
        const auto readDcids = [&](const Json& list) {
            table.dcids.clear();
            for (const Json& pair : ElementsOf(list)) {
                const Json::array_t& values = ElementsOf(pair, 2);
                table.dcids.emplace_back(IntegerFrom<std::uint64_t>(values[0]),
                                         IntegerFrom<std::uint64_t>(values[1]));
            }
        };
        ReadObject(value, {{"offset", table.offset},
                           {"end", end},
                           {"extents", readExtents},
                           {"dcids", readDcids},
                           {"bloom", bloom}});
        table.end = end.value_or(table.offset + tableSpan_);
        if (bloom) {
            table.bloom = *std::move(bloom);
        }
        return table;
    }

    void ReadTables(const Json& value) {
        if (file_.extentFile.has_value()) {
            Refuse(value, "a file has an extent file or tables, not both");
        }
        file_.tables.emplace();
        const auto readTables = [this](const Json& list) {
            for (const Json& table : ElementsOf(list)) {
                file_.tables->tables.push_back(ReadTable(table));
            }
            // Tables of one offset are built in the recipe's order.
            std::ranges::stable_sort(file_.tables->tables, {}, &refstore::TableRecord::offset);
        };
        ReadObject(value, {{"file_size", fileSize_}, {"tables", readTables}});
    }

    // End of the last extent that the recipe gives the file, 0 without extents.
    [[nodiscard]] std::int64_t LastEnd() const {
        std::uint64_t end = 0;
        if (file_.tables.has_value()) {
            for (const refstore::TableRecord& table : file_.tables->tables) {
                end = table.extents.empty() ? end : table.extents.back().end;
            }
        }
        if (file_.extentFile.has_value() && !file_.extentFile->extents.empty()) {
            end = file_.extentFile->extents.back().end;
        }
        return static_cast<std::int64_t>(end);
    }

    void ReadHeader(const Json& value) {
        refstore::HeaderRecord& header = file_.header.emplace();
        header.size = LastEnd();
        header.mtime = kDefaultModified;
        std::optional<std::string> location;
        ReadObject(value, {{"trans_id", header.transId},
                           {"size", header.size},
                           {"mtime", header.mtime},
                           {"fg", header.fg},
                           {"is_dev", header.isDev},
                           {"extent_location", location}});
        file_.defaultExtentLocation = !location.has_value();
        header.extentLocation = location.value_or("");
    }

    const std::uint64_t tableSpan_;
    RecipeFile file_;
    std::optional<std::int64_t> transId_;
    std::optional<std::int64_t> fileSize_;
};

}  // namespace

RecipeFile ReadFile(const Json& value, std::uint64_t tableSpan) {
    return FileReader(value, tableSpan).TakeFile();
}

}  // namespace jorvshare
