#include "jorvck/virtual_copy/check_vcopy.h"

#include <cstdio>
#include <list>

#include "jorvck/console/console.h"
#include "jorvck/virtual_copy/image_list.h"
#include "jorvck/virtual_copy/messages.h"
#include "storage/image.h"
#include "storage/kovfs.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace messages = VirtualCopyMessages;

namespace {

constexpr const char* kFileSystemName = "KOVFS";
constexpr const char* kVersion = "6.0.0.0";
constexpr std::int32_t kInitFlags = 7;
constexpr std::int32_t kMountFlag = 0x10;

/// The client library is handed this record's address and may keep it, so it lives for the whole
/// run.
KovfsMountRecord kovfs_data_vc;

bool Mount() {
    kovfs_data_vc = {};
    kovfs_data_vc.flags = kInitFlags;
    if (KovfsInit(kovfs_data_vc.initValue, kovfs_data_vc.initPointer, kInitFlags) < 0) {
        return false;
    }
    kovfs_data_vc.name = kFileSystemName;
    kovfs_data_vc.value4212 = 5;
    kovfs_data_vc.value4200 = 1000;
    std::snprintf(kovfs_data_vc.directory, sizeof kovfs_data_vc.directory, "%s", "/tmp");
    kovfs_data_vc.flags |= kMountFlag;
    return KovfsMountV1(kVersion, &kovfs_data_vc, sizeof kovfs_data_vc) >= 0;
}

/// False at the first image that is not valid; those behind it are deliberately not tried.
bool ValidateImages(const std::list<validateImageInfo>& images) {
    for (const validateImageInfo& image : images) {
        const int result =
            validate_image(image.policy.c_str(), image.backupTime.c_str(), image.imageName.c_str());
        if (result != 0) {
            WriteErrorLine(messages::ImageFailed(image.imageName, result));
            return false;
        }
    }
    return true;
}

}  // namespace

void checkVcopy(const char* sharePath) {
    WriteOutputLine(messages::CheckingSharePath(sharePath));
    std::list<validateImageInfo> images;
    if (getImageList(sharePath, &images) != 0) {
        WriteOutputLine(messages::kParsingFailed);
        return;
    }
    if (!Mount()) {
        WriteErrorLine(messages::kMountFailed);
        return;
    }
    bool valid = false;
    try {
        valid = ValidateImages(images);
    } catch (...) {
        // What was mounted is unmounted on every way out; the exception is what the run ends with.
        KovfsUmount(kFileSystemName);
        throw;
    }
    if (KovfsUmount(kFileSystemName) < 0) {
        WriteErrorLine(messages::kUmountFailed);
        return;
    }
    if (valid) {
        WriteOutputLine(messages::Validated(sharePath));
    }
}

}  // namespace Corvane::Kst::Marlow::JorvCk
