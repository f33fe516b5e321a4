#include <algorithm>
#include <array>

#include "jorvshare/damage/change.h"
#include "jorvshare/damage/data_check.h"
#include "jorvshare/damage/kind.h"
#include "jorvshare/site/directory.h"
#include "jorvshare/site/volumes.h"
#include "refstore/base/file_writer.h"
#include "terminal/interrupt.h"

namespace jorvshare::damage {

namespace {

// The volumes are read by the file data check alone, whose lines follow from what is then on disk:
// nothing is told here but what was changed.

std::string ChooseVolume(const Scene& scene) {
    std::vector<std::string> volumes = ReadVolumes(scene.Site().Fstab());
    std::erase_if(volumes, [](const std::string& volume) { return !IsThere(volume); });
    std::sort(volumes.begin(), volumes.end());
    return scene.ChooseOther(volumes);
}

void RemoveIndex(const Scene& scene, Report* report) {
    Remove(scene, scene.ChooseOther(Containers(scene)) + ".bhd", report);
}

void DamageIndex(const Scene& scene, Report* report) {
    const std::string path = scene.ChooseOther(Containers(scene)) + ".bhd";
    FlipByte(scene, path, scene.Choose(ReadBytes(path).size()), report);
}

void RemoveContainer(const Scene& scene, Report* report) {
    const std::string container = scene.ChooseOther(Containers(scene));
    Remove(scene, container + ".bhd", report);
    Remove(scene, container + ".bin", report);
}

void DamageContainer(const Scene& scene, Report* report) {
    const std::string path = scene.ChooseOther(Containers(scene)) + ".bin";
    FlipByte(scene, path, scene.Choose(ReadBytes(path).size()), report);
}

void AddStranger(const Scene& scene, Report* report) {
    const std::string container = Join(ChooseVolume(scene), "no-number");
    terminal::FinishRegardless();
    refstore::WriteNewFile(container + ".bhd", {});
    refstore::WriteNewFile(container + ".bin", {});
    report->Changed("made the empty files " + container + ".bin and .bhd");
}

void LoopContainer(const Scene& scene, Report* report) {
    ReplaceByLoop(scene, scene.ChooseOther(Containers(scene)) + ".bin", report);
}

void RemoveVolume(const Scene& scene, Report* report) {
    Remove(scene, ChooseVolume(scene), report);
}

void RemoveVolumeTable(const Scene& scene, Report* report) {
    scene.RequireNoPath();
    Remove(scene, scene.Site().Fstab(), report);
}

constexpr std::array<Kind, 8> kKinds = {{
    {"container-index-missing", "the index (.bhd) of a container is removed", kForData, kForData,
     RemoveIndex},
    {"container-index-damaged", "a byte of a container's index is flipped: no finding", kForData,
     kForData, DamageIndex},
    {"container-missing", "a container is removed, index and all", 0, kForData, RemoveContainer},
    {"container-damaged", "a byte of a container's data is flipped: no finding", kForData, kForData,
     DamageContainer},
    {"container-stranger", "a container whose name is no number lies on a volume", kForData,
     kForData, AddStranger},
    {"container-link-loop", "a container's data is a link to itself, which ends the walk", kForData,
     kForData, LoopContainer},
    {"volume-missing", "a volume is removed with all its containers", 0, kForData, RemoveVolume},
    {"volume-table-missing",
     "the table of volumes is removed, so that no file is checked: no finding", kForData, kForData,
     RemoveVolumeTable},
}};

}  // namespace

std::span<const Kind> ContainerKinds() {
    return kKinds;
}

}  // namespace jorvshare::damage
