#include <sys/stat.h>

#include <array>

#include "jorvshare/damage/kind.h"
#include "jorvshare/site/site.h"
#include "refstore/image/image_record.h"

namespace jorvshare::damage {

namespace {

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
    return {Root(scene.Tree().Path()), scene.Share().VcopyFile(), ""};
}

// An image that is listed and there.
Target ChooseImage(const Scene& scene) {
    const std::vector<ImageName> images = ListedImages(scene);
    const std::string path = scene.Layout().Image(images[scene.Choose(images.size())]);
    if (scene.Tree().TypeOf(path) != S_IFREG) {
        scene.FailNothing();
    }
    return {Root(scene.Tree().Path()), path, ""};
}

Target ChooseAllImages(const Scene& scene) {
    ListedImages(scene);
    return {Root(scene.Tree().Path()), scene.Layout().images, ""};
}

// Keeps the first of the images, under `name` where that is given, and begins another group with
// `lines`.
void RewriteList(const Scene& scene, const Target& target, const std::string& name,
                 const std::string& lines, const std::string& what, Notes* notes) {
    const ImageName image = ListedImages(scene).front();
    const std::string text =
        image.policy + "\n" + image.backupTime + "\n" + (name.empty() ? image.name : name) + ";\n";
    Rewrite(target, BytesOf(text + lines), what, notes);
}

void CutBeforeTime(const Scene& scene, const Target& target, Notes* notes) {
    RewriteList(scene, target, "", "policy\n",
                "the first image, and another group that has only its policy", notes);
}

void CutBeforeNames(const Scene& scene, const Target& target, Notes* notes) {
    RewriteList(scene, target, "", "policy\ntime\n",
                "the first image, and another group that has only its policy and time", notes);
}

void ListBadName(const Scene& scene, const Target& target, Notes* notes) {
    RewriteList(scene, target, "..", "", "only the first image, under the name ..", notes);
}

void PutForeignImage(const Scene& /*scene*/, const Target& target, Notes* notes) {
    refstore::ImageRecord record = refstore::LoadImageRecord(target.root.At(target.path));
    const std::string former = record.policy;
    record.policy += "-other";
    Rewrite(target, refstore::EncodeImage(record), "policy: " + former + " -> " + record.policy,
            notes);
}

constexpr Findings kNotSound = Finds(&lines::kImageFailed, nullptr);
constexpr Findings kCutShort = Finds(&lines::kParseBackupTimeFailed, nullptr);
constexpr Findings kNotThere = Finds(&lines::kVcopyNotFound, nullptr);
constexpr Findings kNotRead = Finds(&lines::kParsePolicyFailed, nullptr);
constexpr Findings kNotMounted = Finds(&lines::kMountFailed, nullptr);

constexpr std::array<Kind, 10> kKinds = {{
    {"vcopy-missing", "vcopy.dat is removed", kNotThere, kNotThere, ChooseList, Remove},
    {"vcopy-directory", "vcopy.dat is a directory: no policy can be read", kNotRead, kNotRead,
     ChooseList, PutDirectory},
    {"vcopy-no-time", "vcopy.dat ends after a policy", kCutShort, kCutShort, ChooseList,
     CutBeforeTime},
    {"vcopy-no-images", "vcopy.dat ends after a backup time", kCutShort, kCutShort, ChooseList,
     CutBeforeNames},
    {"vcopy-bad-name", "vcopy.dat lists a name that no image can have", kNotSound, kNotSound,
     ChooseList, ListBadName},
    {"image-damaged", "a byte of a container image is flipped", kNotSound, kNotSound, ChooseImage,
     Flip},
    {"image-foreign", "a container image belongs to another policy", kNotSound, kNotSound,
     ChooseImage, PutForeignImage},
    {"image-missing", "a container image is removed", kNotSound, kNotSound, ChooseImage, Remove},
    {"image-directory", "a container image is a directory", kNotSound, kNotSound, ChooseImage,
     PutDirectory},
    {"images-missing", "the root of all images is removed: it cannot be mounted", kNotMounted,
     kNotMounted, ChooseAllImages, Remove},
}};

}  // namespace

std::span<const Kind> ImageKinds() {
    return kKinds;
}

}  // namespace jorvshare::damage
