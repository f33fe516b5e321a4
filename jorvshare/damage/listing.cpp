#include "jorvshare/damage/listing.h"

#include <dirent.h>

#include <memory>

#include "jorvshare/site/directory.h"
#include "terminal/interrupt.h"

namespace jorvshare::damage {

namespace {

struct CloseDirectory {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

void AddFiles(const std::string& directory, const std::string& prefix,
              std::vector<std::string>* files) {
    bool opened = false;
    for (const ListedEntry& entry : InListingOrder(directory, &opened)) {
        terminal::CheckInterrupt();
        const std::string path = Join(directory, entry.name);
        if (KindOf(path) == EntryKind::kDirectory) {
            AddFiles(path, prefix + entry.name + "/", files);
        } else {
            files->push_back(prefix + entry.name);
        }
    }
}

}  // namespace

std::vector<ListedEntry> InListingOrder(const std::string& directory, bool* opened) {
    std::vector<ListedEntry> entries;
    const std::unique_ptr<DIR, CloseDirectory> listing(::opendir(directory.c_str()));
    *opened = listing != nullptr;
    while (*opened) {
        const dirent* const entry = ::readdir(listing.get());
        if (entry == nullptr) {
            break;
        }
        std::string name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != "..") {
            entries.push_back({std::move(name), entry->d_type});
        }
    }
    return entries;
}

std::vector<std::string> FilesInWalkOrder(const std::string& directory) {
    std::vector<std::string> files;
    AddFiles(directory, "", &files);
    return files;
}

}  // namespace jorvshare::damage
