#include "jorvshare/damage/image_check.h"

#include <cstring>
#include <sstream>

#include "jorvshare/damage/change.h"
#include "jorvshare/damage/findings.h"
#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "terminal/tool_error.h"

namespace jorvshare::damage {

std::vector<ImageName> ListedImages(const Scene& scene) {
    const std::string path = scene.Share().VcopyFile();
    if (KindOf(path) == EntryKind::kUnknown) {
        return {};
    }
    const std::vector<std::byte> bytes = ReadBytes(path);
    std::string text(bytes.size(), '\0');
    std::memcpy(text.data(), bytes.data(), bytes.size());
    std::istringstream lines(text);
    std::vector<ImageName> images;
    for (ImageName image; std::getline(lines, image.policy);) {
        std::string names;
        if (!std::getline(lines, image.backupTime) || !std::getline(lines, names)) {
            throw terminal::ToolError(wording::At(path, "not in groups of three lines"));
        }
        std::size_t start = 0;
        for (std::size_t end = names.find(';'); end != std::string::npos;
             end = names.find(';', start)) {
            image.name = names.substr(start, end - start);
            images.push_back(image);
            start = end + 1;
        }
    }
    return images;
}

ImageLines SoundImageLines(const Scene& scene) {
    const std::string& root = scene.Share().root;
    ImageLines lines{{finding::CheckingShare(root)}, {}};
    if (KindOf(scene.Share().VcopyFile()) == EntryKind::kUnknown) {
        lines.errors.emplace_back(finding::kVcopyMissing);
        lines.output.emplace_back(finding::kVcopyFailed);
        return lines;
    }
    for (const ImageName& image : ListedImages(scene)) {
        lines.output.push_back(image.name);
    }
    lines.output.push_back(finding::ImagesValid(root));
    return lines;
}

}  // namespace jorvshare::damage
