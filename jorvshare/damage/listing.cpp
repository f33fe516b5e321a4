#include "jorvshare/damage/listing.h"

#include "jorvshare/site/directory.h"
#include "refstore/base/posix.h"
#include "terminal/interrupt.h"

namespace jorvshare::damage {

namespace {

void AddFiles(const std::string& directory, const std::string& prefix,
              std::vector<std::string>* files) {
    const auto listed = refstore::ListDirectory(directory);
    if (!listed) {
        return;
    }
    for (const refstore::DirectoryEntry& entry : *listed) {
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

std::vector<std::string> FilesInWalkOrder(const std::string& directory) {
    std::vector<std::string> files;
    AddFiles(directory, "", &files);
    return files;
}

}  // namespace jorvshare::damage
