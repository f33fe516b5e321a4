#include <fcntl.h>
#include <sys/stat.h>

#include <functional>
#include <optional>
#include <vector>

#include "jorvshare/damage/kind.h"
#include "refstore/extent/extent_record.h"
#include "storage/exception.h"

namespace jorvshare::damage {

namespace {

using refstore::Extent;

// Longest local extent that the checker reads, in bytes.
constexpr std::uint64_t kLongestRead = 131072;
// One byte in so many takes part in an extent's checksum.
constexpr std::uint64_t kSampleStep = 1024;
// No storage unit is that long, and yet every file system seeks to there: an offset that is larger
// than its largest file is no offset to it.
constexpr std::int64_t kAfterAllData = std::int64_t{1} << 40;

/// What an extent file holds, and which of its extents have at least so many bytes in the storage
/// unit.
struct Loaded {
    std::int64_t transId = 0;
    std::vector<Extent> extents;
    std::vector<std::size_t> local;
};

// None when the extent file does not load. A storage unit that does not hold the data of all local
// extents counts for none of them.
std::optional<Loaded> Load(const Scene& scene, const std::string& file, std::uint64_t least = 1) {
    Loaded loaded;
    try {
        const refstore::ExtentRecord record =
            refstore::LoadExtentRecord(scene.Tree().At(scene.Share().Map(file)));
        loaded.transId = record.transId;
        loaded.extents.assign(record.extents.begin(), record.extents.end());
    } catch (const Corvane::Kst::Marlow::Jorv::SysException&) {
        return std::nullopt;
    }
    struct stat unit = {};
    if (::lstat(scene.Tree().At(scene.Share().Stu(file)).c_str(), &unit) != 0 ||
        !S_ISREG(unit.st_mode)) {
        return loaded;
    }
    const auto size = static_cast<std::uint64_t>(unit.st_size);
    for (std::size_t i = 0; i < loaded.extents.size(); ++i) {
        const Extent& extent = loaded.extents[i];
        const auto offset = static_cast<std::uint64_t>(extent.dataOffset);
        const std::uint64_t length = extent.end - extent.start;
        if (extent.dcid != refstore::kLocalDcid) {
            continue;
        }
        if (extent.dataOffset < 0 || offset > size || length > size - offset) {
            loaded.local.clear();
            break;
        }
        if (length >= least) {
            loaded.local.push_back(i);
        }
    }
    return loaded;
}

// An extent file that loads.
Target ChooseExtentFile(const Scene& scene) {
    const std::string file = scene.ChooseFile(
        scene.PairedFiles(), [&](const std::string& one) { return Load(scene, one).has_value(); });
    return {Root(scene.Tree().Path()), scene.Share().Map(file), file};
}

// Files that the checker's walk of the map tree reaches, since nothing else looks at local data. It
// lists a directory in the file system's order, goes down into the first directory that it meets
// and never comes back.
//
// @param lastOnly those in the directory that the walk ends in only: an extent file that is put in
//                 place anew may get another place in the listing, which matters there not.
std::vector<std::string> WalkedFiles(const Scene& scene, bool lastOnly) {
    std::vector<std::string> files;
    std::string directory;
    for (bool down = true; down;) {
        down = false;
        if (lastOnly) {
            files.clear();
        }
        const std::string tree = scene.Share().Map(directory);
        const auto listed =
            refstore::ListDirectory(scene.Tree().Open(tree, O_RDONLY | O_DIRECTORY));
        for (const refstore::DirectoryEntry& entry :
             listed.value_or(std::vector<refstore::DirectoryEntry>())) {
            const std::string relative = Join(directory, entry.name);
            if (entry.type == S_IFDIR ||
                scene.Tree().TypeOf(scene.Share().Head(relative)) == S_IFDIR) {
                directory = relative;
                down = true;
                break;
            }
            files.push_back(relative);
        }
    }
    return files;
}

std::string ChooseLocalFile(const Scene& scene, bool lastOnly, std::uint64_t least) {
    return scene.ChooseFile(WalkedFiles(scene, lastOnly), [&](const std::string& one) {
        const auto loaded = Load(scene, one, least);
        return loaded && !loaded->local.empty();
    });
}

Target ChooseLocalExtents(const Scene& scene) {
    const std::string file = ChooseLocalFile(scene, true, 1);
    return {Root(scene.Tree().Path()), scene.Share().Map(file), file};
}

Target ChooseStorageUnit(const Scene& scene) {
    const std::string file = ChooseLocalFile(scene, false, 1);
    return {Root(scene.Tree().Path()), scene.Share().Stu(file), file};
}

// One with an extent that has a byte between two samples.
Target ChooseLongUnit(const Scene& scene) {
    const std::string file = ChooseLocalFile(scene, false, 2);
    return {Root(scene.Tree().Path()), scene.Share().Stu(file), file};
}

// Seals the extent file again with another value in one of its local extents; `set` returns what it
// did.
Change Sealed(const std::function<std::string(Extent*)>& set) {
    return [set](const Scene& scene, const Target& target, Notes* notes) {
        Loaded loaded = Load(scene, target.file).value();
        const std::size_t number = loaded.local[scene.Choose(loaded.local.size())];
        const std::string what = set(&loaded.extents[number]);
        Rewrite(target, refstore::EncodeExtents(loaded.transId, loaded.extents),
                "extent " + std::to_string(number) + ", " + what, notes);
    };
}

Change SetOffset(std::int64_t offset) {
    return Sealed(
        [=](Extent* extent) { return SetField("data_offset", &extent->dataOffset, offset); });
}

std::string MakeEmpty(Extent* extent) {
    return SetField("end", &extent->end, extent->start);
}

std::string Invert(Extent* extent) {
    const std::string end = MakeEmpty(extent);
    return end + "; " + SetField("start", &extent->start, extent->start + 1);
}

std::string MakeLong(Extent* extent) {
    return SetField("end", &extent->end, extent->start + kLongestRead + 1);
}

std::string ChangeChecksum(Extent* extent) {
    return SetField("cksum", &extent->cksum, extent->cksum ^ 1U);
}

// Flips a byte of one of the local extents with at least so many bytes.
void FlipLocal(const Scene& scene, const Target& target, std::uint64_t least,
               const std::function<std::uint64_t(const Extent&)>& place, Notes* notes) {
    const Loaded loaded = Load(scene, target.file, least).value();
    const Extent& extent = loaded.extents[loaded.local[scene.Choose(loaded.local.size())]];
    FlipAt(target, static_cast<std::uint64_t>(extent.dataOffset) + place(extent), notes);
}

void FlipSampled(const Scene& scene, const Target& target, Notes* notes) {
    const auto place = [&](const Extent& extent) {
        const std::uint64_t samples = (extent.end - extent.start + kSampleStep - 1) / kSampleStep;
        return scene.Choose(samples) * kSampleStep;
    };
    FlipLocal(scene, target, 1, place, notes);
}

void FlipUnsampled(const Scene& scene, const Target& target, Notes* notes) {
    FlipLocal(
        scene, target, 2, [](const Extent&) { return 1; }, notes);
}

constexpr Findings kUnloadable = Finds(&lines::kCorruptExtent, nullptr);
constexpr Findings kMissing = Finds(&lines::kCorruptExtent, &lines::kExtentMissing);
constexpr Findings kUnsought = Finds(&lines::kSeekFailed, nullptr);
constexpr Findings kUnread = Finds(&lines::kReadFailed, nullptr);
constexpr Findings kWrongData = Finds(&lines::kChecksumFailed, nullptr);

}  // namespace

std::vector<Kind> ExtentKinds() {
    return {
        {"extents-damaged", "a byte of an extent file is flipped", kUnloadable, kNotForLayout,
         ChooseExtentFile, Flip},
        {"extents-cut", "an extent file is cut short", kUnloadable, kNotForLayout, ChooseExtentFile,
         Cut},
        {"extents-foreign", "an extent file holds a sound record of another structure", kUnloadable,
         kNotForLayout, ChooseExtentFile, PutForeign},
        {"extents-missing", "an extent file is removed", kMissing, kNotForLayout, ChooseExtentFile,
         Remove},
        {"extents-directory", "an extent file is a directory", kUnloadable, kNotForLayout,
         ChooseExtentFile, PutDirectory},
        {"extent-offset-negative", "the offset of a local extent is negative: seeking fails",
         kUnsought, kNotForLayout, ChooseLocalExtents, SetOffset(-1)},
        {"extent-offset-large", "the offset of a local extent is after all data: reading fails",
         kUnread, kNotForLayout, ChooseLocalExtents, SetOffset(kAfterAllData)},
        {"extent-empty", "a local extent has no bytes", kUnread, kNotForLayout, ChooseLocalExtents,
         Sealed(MakeEmpty)},
        {"extent-inverted", "a local extent ends before it starts", kUnread, kNotForLayout,
         ChooseLocalExtents, Sealed(Invert)},
        {"extent-long", "a local extent is longer than is allowed", kUnread, kNotForLayout,
         ChooseLocalExtents, Sealed(MakeLong)},
        {"extent-checksum", "the recorded checksum of local data is wrong", kWrongData,
         kNotForLayout, ChooseLocalExtents, Sealed(ChangeChecksum)},
        {"storage-unit-damaged", "a byte of local data that takes part in the checksum is flipped",
         kWrongData, kNotForLayout, ChooseStorageUnit, FlipSampled},
        {"storage-unit-unsampled", "a byte between two samples is flipped", kFindsNothing,
         kNotForLayout, ChooseLongUnit, FlipUnsampled},
        {"storage-unit-emptied", "a storage unit is emptied: it cannot be read", kUnread,
         kNotForLayout, ChooseStorageUnit, Empty},
        {"storage-unit-directory", "a storage unit is a directory: it cannot be read", kUnread,
         kNotForLayout, ChooseStorageUnit, PutDirectory},
        {"storage-unit-missing", "a storage unit is removed", kFindsNothing, kNotForLayout,
         ChooseStorageUnit, Remove},
    };
}

}  // namespace jorvshare::damage
