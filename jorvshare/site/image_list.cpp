#include "jorvshare/site/image_list.h"

#include <sys/stat.h>

#include <sstream>

#include "refstore/base/regular_file.h"

namespace jorvshare {

std::vector<ImageName> ReadImageList(const Root& root, const std::string& vcopyFile) {
    constexpr std::uint64_t kLongest = std::uint64_t{1} << 28U;
    std::vector<ImageName> images;
    if (root.TypeOf(vcopyFile) != S_IFREG) {
        return images;
    }
    const std::string path = root.At(vcopyFile);
    const refstore::FileBytes bytes =
        refstore::RegularFile("virtual copy list", path).ReadAll(kLongest);
    std::istringstream lines{std::string(bytes.Text())};
    ImageName image;
    std::string names;
    while (std::getline(lines, image.policy) && std::getline(lines, image.backupTime) &&
           std::getline(lines, names)) {
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

}  // namespace jorvshare
