#include <sys/stat.h>

#include <utility>

#include "jorvshare/damage/kind.h"
#include "jorvshare/site/site.h"
#include "refstore/container/container_reader.h"
#include "refstore/image/image_record.h"

namespace jorvshare::damage {

namespace {

Target InSite(const Scene& scene, const std::string& path) {
    scene.RequireNoPath();
    return {Root(scene.Tree().Path()), path, ""};
}

// Images that the share lists; there has to be one.
std::vector<ImageName> ListedImages(const Scene& scene) {
    scene.RequireNoPath();
    std::vector<ImageName> images = ReadImageList(scene.Tree(), scene.Share().VcopyFile());
    if (images.empty()) {
        scene.FailNothing();
    }
    return images;
}

Target ChooseList(const Scene& scene) {
    ListedImages(scene);
    return InSite(scene, scene.Share().VcopyFile());
}

// An image that is listed and there.
Target ChooseImage(const Scene& scene) {
    const std::vector<ImageName> images = ListedImages(scene);
    const std::string path = scene.Layout().Image(images[scene.Choose(images.size())]);
    if (scene.Tree().TypeOf(path) != S_IFREG) {
        scene.FailNothing();
    }
    return InSite(scene, path);
}

Target ChooseAllImages(const Scene& scene) {
    ListedImages(scene);
    return InSite(scene, scene.Layout().images);
}

// Rewrites the list: its first image, called `name` if that is not empty, then `more`. `what` is
// the note.
Change Listing(const std::string& name, const std::string& more, const std::string& what) {
    return [=](const Scene& scene, const Target& target, Notes* notes) {
        const ImageName image = ListedImages(scene).front();
        const std::string kept = name.empty() ? image.name : name;
        const std::string text = image.policy + "\n" + image.backupTime + "\n" + kept + ";\n";
        Rewrite(target, BytesOf(text + more), what, notes);
    };
}

void PutForeignImage(const Scene& /*scene*/, const Target& target, Notes* notes) {
    refstore::ImageRecord record = refstore::LoadImageRecord(target.root.At(target.path));
    const std::string former = record.policy;
    record.policy += "-other";
    Rewrite(target, refstore::EncodeImage(record), "policy: " + former + " -> " + record.policy,
            notes);
}

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
    scene.RequireNoPath();
    const std::vector<std::string> volumes = scene.Volumes();
    return volumes[scene.Choose(volumes.size())];
}

Target ChooseVolume(const Scene& scene) {
    return InSite(scene, OneVolume(scene).substr(scene.Tree().Path().size() + 1));
}

Target ChooseInVolume(const Scene& scene) {
    return {Root(OneVolume(scene)), "no-number", ""};
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

constexpr Findings kNotSound = Finds(&lines::kImageFailed, nullptr);
constexpr Findings kCutShort = Finds(&lines::kParseBackupTimeFailed, nullptr);
constexpr Findings kNotThere = Finds(&lines::kVcopyNotFound, nullptr);
constexpr Findings kNotRead = Finds(&lines::kParsePolicyFailed, nullptr);
constexpr Findings kNotMounted = Finds(&lines::kMountFailed, nullptr);
constexpr Findings kLost = Finds(nullptr, &lines::kUnknownDcid);
constexpr Findings kNoIndex = Finds(nullptr, &lines::kCompanionMissing);
constexpr Findings kEndsWalk = Finds(nullptr, &lines::kContainersFailed);
constexpr Findings kNoShare = Finds(&lines::kUnhandledException, &lines::kShareMissing);
constexpr Findings kNoMapFiles = Finds(&lines::kCorruptExtent, &lines::kExtentMissing);
constexpr Findings kNoMapTables = Finds(&lines::kChecksumFailed, &lines::kExtentMissing);

}  // namespace

std::vector<Kind> SiteKinds() {
    return {
        {"vcopy-missing", "vcopy.dat is removed", kNotThere, kNotThere, ChooseList, Remove},
        {"vcopy-directory", "vcopy.dat is a directory: no policy can be read", kNotRead, kNotRead,
         ChooseList, PutDirectory},
        {"vcopy-no-time", "vcopy.dat ends after a policy", kCutShort, kCutShort, ChooseList,
         Listing("", "policy\n", "the first image, and another group that has only its policy")},
        {"vcopy-no-images", "vcopy.dat ends after a backup time", kCutShort, kCutShort, ChooseList,
         Listing("", "policy\ntime\n",
                 "the first image, and another group that has only its policy and time")},
        {"vcopy-bad-name", "vcopy.dat lists a name that no image can have", kNotSound, kNotSound,
         ChooseList, Listing("..", "", "only the first image, under the name ..")},
        {"image-damaged", "a byte of a container image is flipped", kNotSound, kNotSound,
         ChooseImage, Flip},
        {"image-foreign", "a container image belongs to another policy", kNotSound, kNotSound,
         ChooseImage, PutForeignImage},
        {"image-missing", "a container image is removed", kNotSound, kNotSound, ChooseImage,
         Remove},
        {"image-directory", "a container image is a directory", kNotSound, kNotSound, ChooseImage,
         PutDirectory},
        {"images-missing", "the root of all images is removed: it cannot be mounted", kNotMounted,
         kNotMounted, ChooseAllImages, Remove},
        {"container-index-missing", "the index (.bhd) of a container is removed", kNoIndex,
         kNoIndex, ChooseIndex, Remove},
        {"container-index-damaged", "a byte of a container's index is flipped", kFindsNothing,
         kFindsNothing, ChooseIndex, Flip},
        {"container-missing", "a container and its index are removed", kFindsNothing, kLost,
         ChooseData, RemoveBoth},
        {"container-damaged", "a byte of a container's data is flipped", kFindsNothing,
         kFindsNothing, ChooseData, Flip},
        {"container-stranger", "a volume has a container whose name is not a number", kEndsWalk,
         kEndsWalk, ChooseInVolume, AddStranger},
        {"container-link-loop", "a container's data is a link to itself, which ends the walk",
         kEndsWalk, kEndsWalk, ChooseData, PutLoop},
        {"volume-missing", "a volume is removed with all its containers", kFindsNothing, kLost,
         ChooseVolume, Remove},
        {"volume-table-missing", "the table of volumes is removed, so that no file is checked",
         kFindsNothing, kFindsNothing, ChooseVolumeTable, Remove},
        {"map-missing", "the whole map tree is removed", kNoMapFiles, kNoMapTables, ChooseMap,
         Remove},
        {"head-missing", "the whole head tree is removed: no file is left", kFindsNothing,
         kFindsNothing, ChooseHead, Remove},
        {"share-missing", "the whole share is removed", kNoShare, kNoShare, ChooseShare, Remove},
    };
}

}  // namespace jorvshare::damage
