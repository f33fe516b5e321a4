#include "refstore/image/image_check.h"

#include <cerrno>

#include "refstore/config/settings.h"
#include "refstore/image/image_record.h"
#include "storage/exception.h"
#include "storage/image.h"

namespace refstore {

namespace {

// A text that is no name of one directory entry would lead out of the image root.
bool IsEntryName(const std::string& text) {
    return !text.empty() && text != "." && text != ".." && text.find('/') == std::string::npos;
}

}  // namespace

int CheckImage(const std::string& root, const std::string& policy, const std::string& backupTime,
               const std::string& name) {
    if (!IsEntryName(policy) || !IsEntryName(backupTime) || !IsEntryName(name)) {
        return kImageBadName;
    }
    if (root.empty()) {
        return kImageMissing;
    }
    std::string path = root;
    path.append("/").append(policy).append("/").append(backupTime).append("/").append(name);
    try {
        const ImageRecord image = LoadImageRecord(path);
        const bool same =
            image.policy == policy && image.backupTime == backupTime && image.name == name;
        return same ? kImageSound : kImageDamaged;
    } catch (const Corvane::Kst::Marlow::Jorv::SysException& failure) {
        switch (failure.GetErrorNumber()) {
            case ENOENT:
                return kImageMissing;
            case EBADMSG:
                return kImageDamaged;
            default:
                return failure.GetErrorNumber();
        }
    }
}

}  // namespace refstore

int validate_image(const char* policy, const char* backupTime, const char* imageName) {
    return refstore::CheckImage(refstore::GetSettings().imageRoot, policy, backupTime, imageName);
}
