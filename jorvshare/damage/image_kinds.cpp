#include <array>

#include "jorvshare/damage/change.h"
#include "jorvshare/damage/findings.h"
#include "jorvshare/damage/image_check.h"
#include "jorvshare/damage/kind.h"
#include "jorvshare/site/directory.h"
#include "refstore/image/image_check.h"
#include "refstore/image/image_record.h"

namespace jorvshare::damage {

namespace {

void RequireImages(const Scene& scene) {
    scene.RequireNoPath();
    if (ListedImages(scene).empty()) {
        scene.FailNothing();
    }
}

// vcopy.dat itself cannot be read to its end: `error` is said, and the images in `listed` are
// named, but none is looked at.
void FailList(const Scene& scene, Report* report, const Lines& before, const Lines& listed,
              const std::string& error) {
    Lines after = {finding::CheckingShare(scene.Share().root)};
    after.insert(after.end(), listed.begin(), listed.end());
    after.emplace_back(finding::kVcopyFailed);
    report->Compare(Mode::kMetadata, Stream::kOutput, before, after);
    report->Expect(Mode::kMetadata, Stream::kError, error);
}

void RemoveList(const Scene& scene, Report* report) {
    RequireImages(scene);
    const Lines before = SoundImageLines(scene).output;
    Remove(scene, scene.Share().VcopyFile(), report);
    FailList(scene, report, before, {}, std::string(finding::kVcopyMissing));
}

void ListIsDirectory(const Scene& scene, Report* report) {
    RequireImages(scene);
    const Lines before = SoundImageLines(scene).output;
    const std::string path = scene.Share().VcopyFile();
    ReplaceByDirectory(scene, path, report);
    FailList(scene, report, before, {}, finding::PolicyFailed(path));
}

// Keeps the first of the images and begins another group of which only `lines` are there.
void CutList(const Scene& scene, Report* report, const std::string& lines,
             const std::string& what) {
    RequireImages(scene);
    const Lines before = SoundImageLines(scene).output;
    const ImageName image = ListedImages(scene).front();
    const std::string path = scene.Share().VcopyFile();
    Rewrite(scene, path, image.policy + "\n" + image.backupTime + "\n" + image.name + ";\n" + lines,
            what, report);
    FailList(scene, report, before, {image.name}, finding::BackupTimeFailed(path));
}

void CutBeforeTime(const Scene& scene, Report* report) {
    CutList(scene, report, "policy\n", "the first image, and of another group the policy alone");
}

void CutBeforeNames(const Scene& scene, Report* report) {
    CutList(scene, report, "policy\ntime\n",
            "the first image, and of another group the policy and the time alone");
}

void BadName(const Scene& scene, Report* report) {
    RequireImages(scene);
    const Lines before = SoundImageLines(scene).output;
    const ImageName image = ListedImages(scene).front();
    Rewrite(scene, scene.Share().VcopyFile(), image.policy + "\n" + image.backupTime + "\n..;\n",
            FieldChange("image", image.name, ".."), report);
    report->Compare(Mode::kMetadata, Stream::kOutput, before,
                    {finding::CheckingShare(scene.Share().root), ".."});
    report->Expect(Mode::kMetadata, Stream::kError,
                   finding::ImageFailed("..", refstore::kImageBadName));
}

// Nothing is validated any more; `error` is said.
void FailImages(const Scene& scene, Report* report, const std::string& error) {
    report->Lose(Mode::kMetadata, Stream::kOutput, finding::ImagesValid(scene.Share().root));
    report->Expect(Mode::kMetadata, Stream::kError, error);
}

void FailImage(const Scene& scene, Report* report, int code,
               void (*damage)(const Scene&, const ImageName&, const std::string&, Report*)) {
    RequireImages(scene);
    const std::vector<ImageName> images = ListedImages(scene);
    const ImageName& image = images[scene.Choose(images.size())];
    damage(scene, image, scene.Site().Image(image), report);
    FailImages(scene, report, finding::ImageFailed(image.name, code));
}

void DamageImage(const Scene& scene, Report* report) {
    FailImage(scene, report, refstore::kImageDamaged,
              [](const Scene& here, const ImageName&, const std::string& path, Report* to) {
                  FlipByte(here, path, here.Choose(ReadBytes(path).size()), to);
              });
}

void ForeignImage(const Scene& scene, Report* report) {
    FailImage(scene, report, refstore::kImageDamaged,
              [](const Scene& here, const ImageName& image, const std::string& path, Report* to) {
                  refstore::ImageRecord record = refstore::LoadImageRecord(path);
                  record.policy += "-other";
                  Rewrite(here, path, refstore::EncodeImage(record),
                          FieldChange("policy", image.policy, record.policy), to);
              });
}

void RemoveImage(const Scene& scene, Report* report) {
    FailImage(scene, report, refstore::kImageMissing,
              [](const Scene& here, const ImageName&, const std::string& path, Report* to) {
                  Remove(here, path, to);
              });
}

void ImageIsDirectory(const Scene& scene, Report* report) {
    constexpr int isDirectory = 21;
    FailImage(scene, report, isDirectory,
              [](const Scene& here, const ImageName&, const std::string& path, Report* to) {
                  ReplaceByDirectory(here, path, to);
              });
}

void RemoveImages(const Scene& scene, Report* report) {
    RequireImages(scene);
    Remove(scene, scene.Site().ImagesRoot(), report);
    FailImages(scene, report, std::string(finding::kMountFailed));
}

constexpr std::array<Kind, 10> kKinds = {{
    {"vcopy-missing", "vcopy.dat is removed", kForMetadata, kForMetadata, RemoveList},
    {"vcopy-directory", "vcopy.dat is a directory: no policy can be read", kForMetadata,
     kForMetadata, ListIsDirectory},
    {"vcopy-no-time", "vcopy.dat ends behind a policy", kForMetadata, kForMetadata, CutBeforeTime},
    {"vcopy-no-images", "vcopy.dat ends behind a backup time", kForMetadata, kForMetadata,
     CutBeforeNames},
    {"vcopy-bad-name", "vcopy.dat lists an image that no image can be", kForMetadata, kForMetadata,
     BadName},
    {"image-damaged", "a byte of a container image is flipped", kForMetadata, kForMetadata,
     DamageImage},
    {"image-foreign", "a container image is that of another policy", kForMetadata, kForMetadata,
     ForeignImage},
    {"image-missing", "a container image is removed", kForMetadata, kForMetadata, RemoveImage},
    {"image-directory", "a container image is a directory", kForMetadata, kForMetadata,
     ImageIsDirectory},
    {"images-missing", "the root of all images is removed: it cannot be mounted", kForMetadata,
     kForMetadata, RemoveImages},
}};

}  // namespace

std::span<const Kind> ImageKinds() {
    return kKinds;
}

}  // namespace jorvshare::damage
