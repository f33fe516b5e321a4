#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

#include "jorvshare/damage/change.h"
#include "jorvshare/damage/findings.h"
#include "jorvshare/damage/kind.h"
#include "jorvshare/damage/local_extents.h"
#include "jorvshare/damage/map_check.h"
#include "refstore/extent/sampled_checksum.h"

namespace jorvshare::damage {

namespace {

// One byte in so many takes part in an extent's checksum.
constexpr std::uint64_t kSampleStep = 1024;

struct Victim {
    std::string file;
    std::vector<refstore::Extent> extents;
    std::vector<std::size_t> local;  ///< numbers of those in the storage unit
};

// A file that the map walk reaches, since nothing else looks at storage units.
Victim ChooseVictim(const Scene& scene, std::uint64_t minimumLength = 1) {
    const auto applies = [&](const std::string& file) {
        return !LocalExtents(scene.Share(), file, minimumLength).empty();
    };
    Victim victim;
    victim.file = scene.ChooseFile(WalkedFiles(scene, false, applies));
    victim.extents = ExtentsOf(scene.Share(), victim.file);
    victim.local = LocalExtents(scene.Share(), victim.file, minimumLength);
    return victim;
}

void Expect(const Scene& scene, const Victim& victim, std::size_t at, const std::string& text,
            Report* report) {
    report->Compare(Mode::kMetadata, Stream::kError,
                    FileLines(scene.Share(), victim.file, victim.extents),
                    FileLines(scene.Share(), victim.file, victim.extents, at, text));
}

void FlipSampled(const Scene& scene, Report* report) {
    const Victim victim = ChooseVictim(scene);
    const std::string path = scene.Share().Stu(victim.file);
    const refstore::Extent& extent =
        victim.extents[victim.local[scene.Choose(victim.local.size())]];
    const std::uint64_t samples = (extent.end - extent.start + kSampleStep - 1) / kSampleStep;
    FlipByte(scene, path,
             static_cast<std::uint64_t>(extent.dataOffset) + scene.Choose(samples) * kSampleStep,
             report);
    // Extents of the same data share it: the first of them is the one that shows.
    const std::vector<std::byte> bytes = ReadBytes(path);
    const auto fails = [&](std::size_t number) {
        const refstore::Extent& one = victim.extents[number];
        return refstore::SampledChecksum(std::span(bytes).subspan(
                   static_cast<std::size_t>(one.dataOffset), one.end - one.start)) != one.cksum;
    };
    const auto first = std::find_if(victim.local.begin(), victim.local.end(), fails);
    // None only where a checksum was wrong before and has been made right.
    if (first != victim.local.end()) {
        Expect(scene, victim, *first, finding::ChecksumFailed(scene.Share().Map(victim.file)),
               report);
    }
}

void FlipUnsampled(const Scene& scene, Report* report) {
    const Victim victim = ChooseVictim(scene, 2);
    const refstore::Extent& extent =
        victim.extents[victim.local[scene.Choose(victim.local.size())]];
    FlipByte(scene, scene.Share().Stu(victim.file),
             static_cast<std::uint64_t>(extent.dataOffset) + 1, report);
}

void Empty(const Scene& scene, Report* report) {
    const Victim victim = ChooseVictim(scene);
    CutFile(scene, scene.Share().Stu(victim.file), 0, report);
    Expect(scene, victim, victim.local.front(), finding::ReadFailed(scene.Share().Map(victim.file)),
           report);
}

void MakeDirectoryOfIt(const Scene& scene, Report* report) {
    const Victim victim = ChooseVictim(scene);
    ReplaceByDirectory(scene, scene.Share().Stu(victim.file), report);
    Expect(scene, victim, victim.local.front(), finding::ReadFailed(scene.Share().Map(victim.file)),
           report);
}

void RemoveIt(const Scene& scene, Report* report) {
    const Victim victim = ChooseVictim(scene);
    Remove(scene, scene.Share().Stu(victim.file), report);
    Expect(scene, victim, victim.local.front(), "", report);
}

constexpr std::array<Kind, 5> kKinds = {{
    {"storage-unit-damaged", "a byte of local data that takes part in the checksum is flipped",
     kForMetadata, 0, FlipSampled},
    {"storage-unit-unsampled", "a byte between two samples is flipped: no finding", kForMetadata, 0,
     FlipUnsampled},
    {"storage-unit-emptied", "a storage unit is cut to nothing: it cannot be read", kForMetadata, 0,
     Empty},
    {"storage-unit-directory", "a storage unit is a directory: it cannot be read", kForMetadata, 0,
     MakeDirectoryOfIt},
    {"storage-unit-missing", "a storage unit is removed: no finding", kForMetadata, 0, RemoveIt},
}};

}  // namespace

std::span<const Kind> StorageUnitKinds() {
    return kKinds;
}

}  // namespace jorvshare::damage
