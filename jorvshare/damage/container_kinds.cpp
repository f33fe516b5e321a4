#include <sys/stat.h>

#include <array>
#include <utility>
#include <vector>

#include "jorvshare/damage/kind.h"
#include "jorvshare/site/site.h"
#include "refstore/container/container_reader.h"

namespace jorvshare::damage {

namespace {

// The data of a container whose two files are there.
Target ChooseData(const Scene& scene) {
    scene.RequireNoPath();
    std::vector<std::pair<std::string, std::string>> found;
    for (const std::string& volume : scene.Volumes()) {
        for (const auto& [dcid, files] : refstore::FindContainers({volume})) {
            struct stat attributes = {};
            if (::lstat(files.bin.c_str(), &attributes) == 0 && S_ISREG(attributes.st_mode)) {
                found.emplace_back(volume, files.bin.substr(volume.size() + 1));
            }
        }
    }
    const auto& [volume, path] = found[scene.Choose(found.size())];
    return {Root(volume), path, ""};
}

// Path of the index whose data is at `path`, or the other way round.
std::string OtherHalf(const std::string& path) {
    const std::size_t dot = path.rfind('.');
    return path.substr(0, dot) + (path.substr(dot) == ".bin" ? ".bhd" : ".bin");
}

Target ChooseIndex(const Scene& scene) {
    Target target = ChooseData(scene);
    target.path = OtherHalf(target.path);
    return target;
}

std::string OneVolume(const Scene& scene) {
    return scene.ChooseOther(scene.Volumes());
}

Target ChooseVolume(const Scene& scene) {
    const Root& site = scene.Tree();
    return {Root(site.Path()), OneVolume(scene).substr(site.Path().size() + 1), ""};
}

Target ChooseInVolume(const Scene& scene) {
    return {Root(OneVolume(scene)), "no-number", ""};
}

Target InSite(const Scene& scene, const std::string& path) {
    scene.RequireNoPath();
    return {Root(scene.Tree().Path()), path, ""};
}

Target ChooseVolumeTable(const Scene& scene) {
    return InSite(scene, scene.Layout().fstab);
}

Target ChooseMap(const Scene& scene) {
    return InSite(scene, scene.Share().Map());
}

Target ChooseHead(const Scene& scene) {
    return InSite(scene, scene.Share().Head());
}

Target ChooseShare(const Scene& scene) {
    return InSite(scene, scene.Share().root);
}

void RemoveBoth(const Scene& scene, const Target& target, Notes* notes) {
    Remove(scene, {Root(target.root.Path()), OtherHalf(target.path), ""}, notes);
    Remove(scene, target, notes);
}

void AddStranger(const Scene& /*scene*/, const Target& target, Notes* notes) {
    for (const char* extension : {".bhd", ".bin"}) {
        const std::string name = target.path + extension;
        target.root.Write(name, {}, 0644);
        notes->push_back("made the empty file " + target.root.At(name));
    }
}

constexpr Findings kLost = Finds(nullptr, &lines::kUnknownDcid);
constexpr Findings kNoIndex = Finds(nullptr, &lines::kCompanionMissing);
constexpr Findings kEndsWalk = Finds(nullptr, &lines::kContainersFailed);
constexpr Findings kNoShare = Finds(&lines::kUnhandledException, &lines::kShareMissing);

constexpr Findings kNoMapFiles = Finds(&lines::kCorruptExtent, &lines::kExtentMissing);
constexpr Findings kNoMapTables = Finds(&lines::kChecksumFailed, &lines::kExtentMissing);

constexpr std::array<Kind, 11> kKinds = {{
    {"container-index-missing", "the index (.bhd) of a container is removed", kNoIndex, kNoIndex,
     ChooseIndex, Remove},
    {"container-index-damaged", "a byte of a container's index is flipped", kFindsNothing,
     kFindsNothing, ChooseIndex, Flip},
    {"container-missing", "a container and its index are removed", kFindsNothing, kLost, ChooseData,
     RemoveBoth},
    {"container-damaged", "a byte of a container's data is flipped", kFindsNothing, kFindsNothing,
     ChooseData, Flip},
    {"container-stranger", "a volume has a container whose name is not a number", kEndsWalk,
     kEndsWalk, ChooseInVolume, AddStranger},
    {"container-link-loop", "a container's data is a link to itself, which ends the walk",
     kEndsWalk, kEndsWalk, ChooseData, PutLoop},
    {"volume-missing", "a volume is removed with all its containers", kFindsNothing, kLost,
     ChooseVolume, Remove},
    {"volume-table-missing", "the table of volumes is removed, so that no file is checked",
     kFindsNothing, kFindsNothing, ChooseVolumeTable, Remove},
    {"map-missing", "the whole map tree is removed", kNoMapFiles, kNoMapTables, ChooseMap, Remove},
    {"head-missing", "the whole head tree is removed: no file is left", kFindsNothing,
     kFindsNothing, ChooseHead, Remove},
    {"share-missing", "the whole share is removed", kNoShare, kNoShare, ChooseShare, Remove},
}};

}  // namespace

std::span<const Kind> ContainerKinds() {
    return kKinds;
}

}  // namespace jorvshare::damage
