#include <algorithm>
#include <array>
#include <functional>
#include <optional>

#include "jorvshare/damage/change.h"
#include "jorvshare/damage/findings.h"
#include "jorvshare/damage/kind.h"
#include "jorvshare/damage/table_record.h"
#include "jorvshare/site/volumes.h"
#include "refstore/container/container_writer.h"
#include "refstore/table/bloom_filter.h"

namespace jorvshare::damage {

namespace {

using refstore::Extent;
using refstore::TableDirectoryRecord;
using refstore::TableRecord;

constexpr std::uint64_t kFirstContainer = 64;
constexpr std::uint64_t kReservedDcid = 5;

std::string DataFile(const std::string& directory) {
    return directory + "/data.mdb";
}

using Damage = std::function<void(const std::string& path)>;

// data.mdb no longer loads.
void Unload(const Scene& scene, Report* report, const Damage& damage) {
    const std::string file = scene.ChooseFile([&scene](const std::string& candidate) {
        return LoadTables(scene, candidate).has_value();
    });
    const std::string directory = scene.Share().Map(file);
    damage(DataFile(directory));
    report->Expect(Mode::kMetadata, Stream::kError, finding::CorruptExtent(directory));
}

void FlipInTables(const Scene& scene, Report* report) {
    Unload(scene, report, [&](const std::string& path) {
        FlipByte(scene, path, scene.Choose(ReadBytes(path).size()), report);
    });
}

void CutTables(const Scene& scene, Report* report) {
    Unload(scene, report, [&](const std::string& path) {
        CutFile(scene, path, scene.Choose(ReadBytes(path).size()), report);
    });
}

void ForeignTables(const Scene& scene, Report* report) {
    Unload(scene, report, [&](const std::string& path) {
        Rewrite(scene, path, refstore::EncodeContainerIndex({}),
                "a sound container index, no mapping tables", report);
    });
}

void RemoveTables(const Scene& scene, Report* report) {
    Unload(scene, report, [&](const std::string& path) { Remove(scene, path, report); });
}

void RemoveDirectoryOfTables(const Scene& scene, Report* report) {
    const std::string file = scene.ChooseFile([&scene](const std::string& candidate) {
        return LoadTables(scene, candidate).has_value();
    });
    Remove(scene, scene.Share().Map(file), report);
}

/// A place in the tables of a file.
struct Place {
    std::size_t table;
    std::size_t extent;
};

// The extents of a file that `fits`, which is told the table and the extent.
using Fits = std::function<bool(const TableRecord&, const Extent&)>;
std::vector<Place> Places(const TableDirectoryRecord& record, const Fits& fits) {
    std::vector<Place> places;
    for (std::size_t table = 0; table < record.tables.size(); ++table) {
        const std::vector<Extent>& extents = record.tables[table].extents;
        for (std::size_t extent = 0; extent < extents.size(); ++extent) {
            if (fits(record.tables[table], extents[extent])) {
                places.push_back({table, extent});
            }
        }
    }
    return places;
}

/// The file that is chosen, and of its extents the one.
struct Victim {
    std::string directory;
    TableDirectoryRecord record;
    Place place;

    [[nodiscard]] TableRecord& Table() { return record.tables[place.table]; }
    [[nodiscard]] Extent& TheExtent() { return Table().extents[place.extent]; }
};

Victim ChooseExtent(const Scene& scene, const Fits& fits) {
    const std::string file = scene.ChooseFile([&](const std::string& candidate) {
        const auto record = LoadTables(scene, candidate);
        return record && !Places(*record, fits).empty();
    });
    TableDirectoryRecord record = *LoadTables(scene, file);
    const std::vector<Place> places = Places(record, fits);
    return {scene.Share().Map(file), std::move(record), places[scene.Choose(places.size())]};
}

void Store(const Scene& scene, const Victim& victim, const std::string& what, Report* report) {
    Rewrite(
        scene, DataFile(victim.directory), refstore::EncodeTables(victim.record),
        "table at " + std::to_string(victim.record.tables[victim.place.table].offset) + ", " + what,
        report);
}

bool InContainer(const TableRecord& /*table*/, const Extent& extent) {
    return extent.dcid >= kFirstContainer;
}

void UnlistDcid(const Scene& scene, Report* report) {
    Victim victim = ChooseExtent(scene, InContainer);
    const std::uint64_t dcid = victim.TheExtent().dcid;
    std::erase_if(victim.Table().dcids, [dcid](const auto& entry) { return entry.first == dcid; });
    Store(scene, victim, "DCID list: without " + std::to_string(dcid), report);
    report->Expect(Mode::kMetadata, Stream::kError, finding::UnlistedDcid(dcid, victim.directory));
}

std::vector<crfp_digest_t> Without(const std::vector<crfp_digest_t>& bloom,
                                   const crfp_digest_t& fp) {
    std::vector<crfp_digest_t> rest;
    std::copy_if(bloom.begin(), bloom.end(), std::back_inserter(rest),
                 [&fp](const crfp_digest_t& one) { return !(one == fp); });
    return rest;
}

// A filter lets some fingerprints pass that it was not made of: one of these would go unnoticed.
bool FilterCanMiss(const TableRecord& table, const Extent& extent) {
    const refstore::BloomBits bits = refstore::MakeBloomBits(Without(table.bloom, extent.fp));
    return InContainer(table, extent) && !refstore::BloomContains(bits, extent.fp);
}

void UnlistFingerprint(const Scene& scene, Report* report) {
    Victim victim = ChooseExtent(scene, FilterCanMiss);
    const crfp_digest_t fp = victim.TheExtent().fp;
    victim.Table().bloom = Without(victim.Table().bloom, fp);
    const std::string digits = DigitsOf(fp);
    Store(scene, victim, "bloom filter: without " + digits, report);
    for (const Extent& extent : victim.Table().extents) {
        if (extent.fp == fp) {
            report->Expect(Mode::kMetadata, Stream::kError, finding::UnlistedFingerprint(digits));
        }
    }
}

// The extent gets another DCID, and the list has it.
void ChangeDcid(const Scene& scene, Report* report, std::uint64_t dcid) {
    Victim victim = ChooseExtent(scene, InContainer);
    Extent& extent = victim.TheExtent();
    const std::string what = FieldChange("dcid of the extent at " + std::to_string(extent.start),
                                         std::to_string(extent.dcid), std::to_string(dcid)) +
                             ", and listed";
    extent.dcid = dcid;
    victim.Table().dcids.emplace_back(dcid, 0);
    Store(scene, victim, what, report);
}

void UnknownDcid(const Scene& scene, Report* report) {
    const std::uint64_t largest = LargestDcid(ReadVolumes(scene.Site().Fstab()));
    ChangeDcid(scene, report, std::max(largest, kFirstContainer) + 1);
}

void ReservedDcid(const Scene& scene, Report* report) {
    ChangeDcid(scene, report, kReservedDcid);
}

void ChangeSize(const Scene& scene, Report* report) {
    const std::string file = scene.ChooseFile([&scene](const std::string& candidate) {
        return LoadTables(scene, candidate).has_value();
    });
    TableDirectoryRecord record = *LoadTables(scene, file);
    const std::int64_t former = record.fileSize;
    record.fileSize ^= 1;
    Rewrite(scene, DataFile(scene.Share().Map(file)), refstore::EncodeTables(record),
            FieldChange("file_size", std::to_string(former), std::to_string(record.fileSize)),
            report);
}

constexpr unsigned kBoth = kForMetadata | kForData;

constexpr std::array<Kind, 10> kKinds = {{
    {"tables-damaged", "a byte of a file's mapping tables is flipped", 0, kBoth, FlipInTables},
    {"tables-cut", "a file's mapping tables are cut short", 0, kBoth, CutTables},
    {"tables-foreign", "data.mdb holds a sound record of another structure", 0, kBoth,
     ForeignTables},
    {"tables-missing", "data.mdb is removed", 0, kBoth, RemoveTables},
    {"tables-directory-missing", "a file's extent directory is removed", 0, kBoth,
     RemoveDirectoryOfTables},
    {"tables-size", "mapping tables record another size than the header", 0, kBoth, ChangeSize},
    {"dcid-unlisted", "a DCID is missing from its table's DCID list", 0, kBoth, UnlistDcid},
    {"fingerprint-unlisted", "a fingerprint is missing from its table's bloom filter", 0, kBoth,
     UnlistFingerprint},
    {"dcid-unknown", "an extent names a container that no volume has", 0, kBoth, UnknownDcid},
    {"dcid-reserved", "an extent has a DCID below 64", 0, kBoth, ReservedDcid},
}};

}  // namespace

std::span<const Kind> TableKinds() {
    return kKinds;
}

}  // namespace jorvshare::damage
