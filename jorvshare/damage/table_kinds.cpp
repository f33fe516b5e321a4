#include <algorithm>
#include <functional>
#include <optional>
#include <vector>

#include "jorvshare/damage/kind.h"
#include "jorvshare/site/site.h"
#include "refstore/table/bloom_filter.h"
#include "refstore/table/table_directory.h"
#include "refstore/table/table_record.h"
#include "storage/exception.h"
#include "terminal/one_line.h"

namespace jorvshare::damage {

namespace {

using refstore::Extent;
using refstore::TableDirectoryRecord;
using refstore::TableRecord;

constexpr std::uint64_t kReservedDcid = 5;

// The mapping tables of a file as they could be written again; none when they do not load. A bloom
// filter is of the fingerprints of its table's extents, as packing makes it: those that an existing
// one was made of cannot be got back.
std::optional<TableDirectoryRecord> Load(const Scene& scene, const std::string& file) {
    try {
        const auto tables = refstore::TableDirectory::Load(
            refstore::TableDirectory::FileIn(scene.Tree().At(scene.Share().Map(file))));
        TableDirectoryRecord record{.fileSize = tables->FileSize(), .tables = {}};
        for (const refstore::StoredTableView& stored : tables->Tables()) {
            TableRecord table{.offset = stored.offset,
                              .end = stored.end,
                              .extents = {stored.extents.begin(), stored.extents.end()},
                              .dcids = {stored.dcids.begin(), stored.dcids.end()},
                              .bloom = {}};
            for (const Extent& extent : stored.extents) {
                table.bloom.push_back(extent.fp);
            }
            record.tables.push_back(std::move(table));
        }
        return record;
    } catch (const Corvane::Kst::Marlow::Jorv::SysException&) {
        return std::nullopt;
    }
}

/// Place of an extent in the tables of a file.
struct Place {
    std::size_t table = 0;
    std::size_t extent = 0;
};
using Fits = bool (*)(const TableRecord&, const Extent&);

// Places of the extents that fit; none when the tables do not load.
std::vector<Place> PlacesIn(const std::optional<TableDirectoryRecord>& record, Fits fits) {
    std::vector<Place> places;
    for (std::size_t table = 0; record && table < record->tables.size(); ++table) {
        const TableRecord& one = record->tables[table];
        for (std::size_t extent = 0; extent < one.extents.size(); ++extent) {
            if (fits(one, one.extents[extent])) {
                places.push_back({table, extent});
            }
        }
    }
    return places;
}

bool InContainer(const TableRecord& /*table*/, const Extent& extent) {
    return extent.dcid >= kFirstDcid;
}

std::vector<crfp_digest_t> Without(std::vector<crfp_digest_t> bloom, const crfp_digest_t& fp) {
    std::erase(bloom, fp);
    return bloom;
}

// A filter lets some fingerprints pass that it was not made of: one of these would go unnoticed.
bool FilterCanMiss(const TableRecord& table, const Extent& extent) {
    const refstore::BloomBits bits = refstore::MakeBloomBits(Without(table.bloom, extent.fp));
    return InContainer(table, extent) && !refstore::BloomContains(bits, extent.fp);
}

// The data.mdb of a file for which `applies` holds.
Target Choose(const Scene& scene, const Scene::Applies& applies) {
    const std::string file = scene.ChooseFile(scene.PairedFiles(), applies);
    return {Root(scene.Tree().Path()), refstore::TableDirectory::FileIn(scene.Share().Map(file)),
            file};
}

Target ChooseTables(const Scene& scene) {
    return Choose(scene, [&](const std::string& file) { return Load(scene, file).has_value(); });
}

Target ChooseDirectory(const Scene& scene) {
    Target target = ChooseTables(scene);
    target.path = scene.Share().Map(target.file);
    return target;
}

// The data.mdb of a file that has extents that fit.
Target ChooseWith(const Scene& scene, Fits fits) {
    return Choose(
        scene, [&](const std::string& file) { return !PlacesIn(Load(scene, file), fits).empty(); });
}

Target ChooseDcid(const Scene& scene) {
    return ChooseWith(scene, InContainer);
}

Target ChooseFingerprint(const Scene& scene) {
    return ChooseWith(scene, FilterCanMiss);
}

// Seals the tables again with something else about one of the extents that fit; `set` returns what
// it did.
Change Sealed(Fits fits, const std::function<std::string(TableRecord*, Extent*)>& set) {
    return [=](const Scene& scene, const Target& target, Notes* notes) {
        TableDirectoryRecord record = Load(scene, target.file).value();
        const std::vector<Place> places = PlacesIn(record, fits);
        const Place place = places[scene.Choose(places.size())];
        TableRecord& table = record.tables[place.table];
        const std::string what = set(&table, &table.extents[place.extent]);
        Rewrite(target, refstore::EncodeTables(record),
                "table at " + std::to_string(table.offset) + ", " + what, notes);
    };
}

std::string UnlistDcid(TableRecord* table, const Extent* extent) {
    std::erase_if(table->dcids, [&](const auto& entry) { return entry.first == extent->dcid; });
    return "DCID list: without " + std::to_string(extent->dcid);
}

std::string UnlistFingerprint(TableRecord* table, const Extent* extent) {
    table->bloom = Without(table->bloom, extent->fp);
    return "bloom filter: without " + terminal::Hex(std::as_bytes(std::span(extent->fp.bytes)));
}

// The extent gets another DCID, and the list has it.
Change SetDcid(std::uint64_t dcid) {
    return Sealed(InContainer, [=](TableRecord* table, Extent* extent) {
        table->dcids.emplace_back(dcid, 0);
        return SetField("dcid of the extent at " + std::to_string(extent->start), &extent->dcid,
                        dcid) +
               ", and listed";
    });
}

void NameUnknownDcid(const Scene& scene, const Target& target, Notes* notes) {
    SetDcid(std::max(LargestDcid(scene.Volumes()), kFirstDcid) + 1)(scene, target, notes);
}

void ChangeSize(const Scene& scene, const Target& target, Notes* notes) {
    TableDirectoryRecord record = Load(scene, target.file).value();
    const std::string what = SetField("file_size", &record.fileSize, record.fileSize ^ 1);
    Rewrite(target, refstore::EncodeTables(record), what, notes);
}

constexpr Findings kUnloadable = Finds(&lines::kCorruptExtent, &lines::kCheckFailed);
constexpr Findings kNoDataFile = Finds(&lines::kCorruptExtent, &lines::kDataFileMissing);
constexpr Findings kNoDirectory = Finds(nullptr, &lines::kExtentMissing);
constexpr Findings kOtherSize = Finds(nullptr, &lines::kSizeMismatch);
constexpr Findings kUnlisted = Finds(&lines::kUnlistedDcid, nullptr);
constexpr Findings kUnmatched = Finds(&lines::kUnmatchedFingerprint, nullptr);
constexpr Findings kUnknown = Finds(nullptr, &lines::kUnknownDcid);
constexpr Findings kReserved = Finds(nullptr, &lines::kReservedDcid);

}  // namespace

std::vector<Kind> TableKinds() {
    return {
        {"tables-damaged", "a byte of a file's mapping tables is flipped", kNotForLayout,
         kUnloadable, ChooseTables, Flip},
        {"tables-cut", "a file's mapping tables are cut short", kNotForLayout, kUnloadable,
         ChooseTables, Cut},
        {"tables-foreign", "data.mdb holds a sound record of another structure", kNotForLayout,
         kUnloadable, ChooseTables, PutForeign},
        {"tables-missing", "data.mdb is removed", kNotForLayout, kNoDataFile, ChooseTables, Remove},
        {"tables-directory-missing", "a file's extent directory is removed", kNotForLayout,
         kNoDirectory, ChooseDirectory, Remove},
        {"tables-size", "mapping tables record another size than the header", kNotForLayout,
         kOtherSize, ChooseTables, ChangeSize},
        {"dcid-unlisted", "a DCID is missing from its table's DCID list", kNotForLayout, kUnlisted,
         ChooseDcid, Sealed(InContainer, UnlistDcid)},
        {"fingerprint-unlisted", "a fingerprint is missing from its table's bloom filter",
         kNotForLayout, kUnmatched, ChooseFingerprint, Sealed(FilterCanMiss, UnlistFingerprint)},
        {"dcid-unknown", "an extent names a container that no volume has", kNotForLayout, kUnknown,
         ChooseDcid, NameUnknownDcid},
        {"dcid-reserved", "an extent has a DCID below 64", kNotForLayout, kReserved, ChooseDcid,
         SetDcid(kReservedDcid)},
    };
}

}  // namespace jorvshare::damage
