#include <fcntl.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

#include "refstore/image/image_check.h"
#include "tests/model/run.h"

// The check of the images that the share's vcopy.dat lists.

namespace model {

namespace {

struct Image {
    std::string policy;
    std::string time;
    std::string name;
};

/// A text up to its first NUL, which is where the library's calls see its end.
std::string Cut(const std::string& text) {
    return text.c_str();
}

bool CanBeOpened(const std::string& path) {
    struct stat attributes = {};
    return ::stat(path.c_str(), &attributes) == 0 && !S_ISFIFO(attributes.st_mode) &&
           !S_ISCHR(attributes.st_mode) && !S_ISBLK(attributes.st_mode) &&
           std::ifstream(path).is_open();
}

void ReadGroup(Run& run, const std::string& policy, const std::string& time,
               const std::string& names, std::vector<Image>& images) {
    std::size_t start = 0;
    for (std::size_t at = names.find(';'); at != std::string::npos; at = names.find(';', start)) {
        images.push_back({policy, time, names.substr(start, at - start)});
        run.Say(lines::kImage, {images.back().name});
        start = at + 1;
    }
}

/// False when the list cannot be read to its end.
bool ReadList(Run& run, const std::string& path, std::vector<Image>& images) {
    if (!CanBeOpened(path)) {
        run.Say(lines::kVcopyNotFound);
        return false;
    }
    std::ifstream file(path);
    if (S_ISDIR(TypeOf(path))) {
        run.Say(lines::kParsePolicyFailed, {path});
        return false;
    }
    std::string policy;
    std::string time;
    std::string names;
    while (std::getline(file, policy)) {
        if (!std::getline(file, time) || !std::getline(file, names)) {
            run.Say(lines::kParseBackupTimeFailed, {path});
            return false;
        }
        ReadGroup(run, policy, time, names, images);
    }
    // A read that fails is no end.
    if (!file.eof()) {
        run.Say(lines::kParsePolicyFailed, {path});
        return false;
    }
    return true;
}

}  // namespace

void CheckImages(Run& run, const std::string& sharePath) {
    run.Say(lines::kCheckingSharePath, {sharePath});
    std::vector<Image> images;
    if (!ReadList(run, sharePath + (sharePath.ends_with('/') ? "" : "/") + "vcopy.dat", images)) {
        run.Say(lines::kParsingFailed);
        return;
    }
    const std::string& root = run.Settings().imageRoot;
    struct stat attributes = {};
    if (!root.empty() && (::stat(root.c_str(), &attributes) != 0 || !S_ISDIR(attributes.st_mode))) {
        run.Say(lines::kMountFailed);
        return;
    }
    for (const Image& image : images) {
        const int code =
            refstore::CheckImage(root, Cut(image.policy), Cut(image.time), Cut(image.name));
        if (code != 0) {
            run.Say(lines::kImageFailed, {image.name, std::to_string(code)});
            return;
        }
    }
    run.Say(lines::kImagesValidated, {sharePath});
}

}  // namespace model
