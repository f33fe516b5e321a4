#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string_view>

#include "storage/exception.h"
#include "storage/image.h"
#include "storage/kovfs.h"
#include "text_file.h"

namespace {

bool IsName(std::string_view text) {
    return !text.empty() && text != "." && text != ".." && text.find('/') == std::string_view::npos;
}

}  // namespace

int validate_image(const char* policy, const char* backupTime, const char* imageName) {
    if (!IsName(policy) || !IsName(backupTime) || !IsName(imageName)) {
        return EINVAL;
    }
    try {
        text_storage::TextFile file(text_storage::StoragePath(std::string("images/") + policy +
                                                              "/" + backupTime + "/" + imageName));
        return file.Next<std::string>() == "sound" ? 0 : EBADMSG;
    } catch (const Corvane::Kst::Marlow::Jorv::SysException& failure) {
        return failure.GetErrorNumber();
    }
}

// Images are plain files here: mounting is a look at whether their folder is there.

int KovfsInit(int, void*, int) {
    return 0;
}

int KovfsMountV1(const char*, void*, std::size_t) {
    return ::access(text_storage::StoragePath("images").c_str(), R_OK | X_OK);
}

int KovfsUmount(const char*) {
    return 0;
}
