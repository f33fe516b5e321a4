#include <array>
#include <functional>

#include "jorvshare/damage/change.h"
#include "jorvshare/damage/findings.h"
#include "jorvshare/damage/kind.h"
#include "jorvshare/damage/local_extents.h"
#include "jorvshare/damage/map_check.h"
#include "jorvshare/site/directory.h"
#include "refstore/container/container_writer.h"
#include "refstore/extent/extent_record.h"
#include "storage/exception.h"

namespace jorvshare::damage {

namespace {

using Corvane::Kst::Marlow::Jorv::SysException;

// Longest local extent that the checker reads, in bytes.
constexpr std::uint64_t kLongestRead = 131072;

// No storage unit is that long, and yet every file system seeks to there: an offset that is larger
// than its largest file is no offset to it.
constexpr std::int64_t kBehindAllData = std::int64_t{1} << 40;

using Damage = std::function<void(const std::string& path)>;

// The extent file no longer loads, which the header check says, and the map walk as well when it
// comes by the file.
void Unload(const Scene& scene, Report* report, const Damage& damage) {
    const std::string file = scene.ChooseFile([&scene](const std::string& candidate) {
        try {
            ExtentsOf(scene.Share(), candidate);
            return true;
        } catch (const SysException&) {
            return false;
        }
    });
    const std::string path = scene.Share().Map(file);
    const Lines before = MapLines(scene);
    damage(path);
    Lines lines;
    try {
        ExtentsOf(scene.Share(), file);
    } catch (const SysException& failure) {
        lines.push_back(finding::ProcessFailed(failure.GetErrorNumber()));
    }
    report->Expect(Mode::kMetadata, Stream::kError, finding::CorruptExtent(path));
    report->Compare(Mode::kMetadata, Stream::kError, before, MapLines(scene, file, lines));
}

void FlipInExtents(const Scene& scene, Report* report) {
    Unload(scene, report, [&](const std::string& path) {
        FlipByte(scene, path, scene.Choose(ReadBytes(path).size()), report);
    });
}

void CutExtents(const Scene& scene, Report* report) {
    Unload(scene, report, [&](const std::string& path) {
        CutFile(scene, path, scene.Choose(ReadBytes(path).size()), report);
    });
}

void ForeignExtents(const Scene& scene, Report* report) {
    Unload(scene, report, [&](const std::string& path) {
        Rewrite(scene, path, refstore::EncodeContainerIndex({}),
                "a sound container index, no extent file", report);
    });
}

void RemoveExtents(const Scene& scene, Report* report) {
    Unload(scene, report, [&](const std::string& path) { Remove(scene, path, report); });
}

void ExtentsAreDirectory(const Scene& scene, Report* report) {
    Unload(scene, report,
           [&](const std::string& path) { ReplaceByDirectory(scene, path, report); });
}

// Seals the extent file again with another value in one of its local extents. The check of the file
// ends there with `text`.
void BreakExtent(const Scene& scene, Report* report,
                 const std::function<std::string(refstore::Extent*)>& change,
                 std::string (*text)(const std::string& path)) {
    const auto applies = [&scene](const std::string& file) {
        return !LocalExtents(scene.Share(), file, 1).empty();
    };
    const std::string file = scene.ChooseFile(WalkedFiles(scene, true, applies));
    const std::string path = scene.Share().Map(file);
    const Lines before = MapLines(scene);
    const std::int64_t transId = refstore::LoadExtentRecord(path).transId;
    std::vector<refstore::Extent> extents = ExtentsOf(scene.Share(), file);
    const std::vector<std::size_t> local = LocalExtents(scene.Share(), file, 1);
    const std::size_t at = local[scene.Choose(local.size())];
    const std::string what = change(&extents[at]);
    Rewrite(scene, path, refstore::EncodeExtents(transId, extents),
            "extent " + std::to_string(at) + ", " + what, report);
    report->Compare(Mode::kMetadata, Stream::kError, before,
                    MapLines(scene, file, FileLines(scene.Share(), file, extents, at, text(path))));
}

template <typename Value>
std::string Set(const std::string& field, Value* value, Value now) {
    const Value former = *value;
    *value = now;
    return FieldChange(field, std::to_string(former), std::to_string(now));
}

void NegativeOffset(const Scene& scene, Report* report) {
    BreakExtent(
        scene, report,
        [](refstore::Extent* extent) {
            return Set("data_offset", &extent->dataOffset, std::int64_t{-1});
        },
        finding::SeekFailed);
}

void OffsetBehindEnd(const Scene& scene, Report* report) {
    BreakExtent(
        scene, report,
        [](refstore::Extent* extent) {
            return Set("data_offset", &extent->dataOffset, kBehindAllData);
        },
        finding::ReadFailed);
}

void EmptyExtent(const Scene& scene, Report* report) {
    BreakExtent(
        scene, report,
        [](refstore::Extent* extent) { return Set("end", &extent->end, extent->start); },
        finding::ReadFailed);
}

void InvertedExtent(const Scene& scene, Report* report) {
    BreakExtent(
        scene, report,
        [](refstore::Extent* extent) {
            return Set("end", &extent->end, extent->start) + "; " +
                   Set("start", &extent->start, extent->start + 1);
        },
        finding::ReadFailed);
}

void LongExtent(const Scene& scene, Report* report) {
    BreakExtent(
        scene, report,
        [](refstore::Extent* extent) {
            return Set("end", &extent->end, extent->start + kLongestRead + 1);
        },
        finding::ReadFailed);
}

void ChangeChecksum(const Scene& scene, Report* report) {
    BreakExtent(
        scene, report,
        [](refstore::Extent* extent) { return Set("cksum", &extent->cksum, extent->cksum ^ 1U); },
        finding::ChecksumFailed);
}

constexpr unsigned kBoth = kForMetadata | kForData;

constexpr std::array<Kind, 11> kKinds = {{
    {"extents-damaged", "a byte of an extent file is flipped", kBoth, 0, FlipInExtents},
    {"extents-cut", "an extent file is cut short", kBoth, 0, CutExtents},
    {"extents-foreign", "an extent file holds a sound record of another structure", kBoth, 0,
     ForeignExtents},
    {"extents-missing", "an extent file is removed", kBoth, 0, RemoveExtents},
    {"extents-directory", "an extent file is a directory", kBoth, 0, ExtentsAreDirectory},
    {"extent-offset-negative", "local data cannot be sought: its offset is negative", kForMetadata,
     0, NegativeOffset},
    {"extent-offset-behind", "local data cannot be read: its offset lies behind all data",
     kForMetadata, 0, OffsetBehindEnd},
    {"extent-empty", "a local extent has no bytes", kForMetadata, 0, EmptyExtent},
    {"extent-inverted", "a local extent ends before it starts", kForMetadata, 0, InvertedExtent},
    {"extent-long", "a local extent is longer than any may be", kForMetadata, 0, LongExtent},
    {"extent-checksum", "the checksum recorded of local data is another", kForMetadata, 0,
     ChangeChecksum},
}};

}  // namespace

std::span<const Kind> ExtentKinds() {
    return kKinds;
}

}  // namespace jorvshare::damage
