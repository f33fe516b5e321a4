#include <gtest/gtest.h>

#include "storage/header_file.h"
#include "tests/fake/missing.h"
#include "tests/fake/script.h"

namespace Corvane::Kst::Marlow::Jorv {

using storage_fake::Script;

HeaderFile::HeaderFile(struct stat* attributes) : attributes_(attributes) {
    Script::Current().Enter("HeaderFile::HeaderFile");
    if (attributes == nullptr) {
        throw SysException(22, "stack trace:\n", "a header file needs a stat record");
    }
    EXPECT_TRUE(attributes->st_size == 0 && attributes->st_mtim.tv_sec == 0 &&
                attributes->st_mtim.tv_nsec == 0 && attributes->st_mode == 0 &&
                attributes->st_ino == 0)
        << "the stat record was not zeroed";
    Script::Current().Born("HeaderFile");
}

HeaderFile::~HeaderFile() {
    Script::Current().Note("HeaderFile::~HeaderFile");
    Script::Current().Died("HeaderFile");
}

void HeaderFile::Load(const std::string& path) {
    Script::Current().Enter("HeaderFile::Load " + path);
    const test_support::StoredHeader& stored = storage_fake::Find(Script::Current().headers, path);
    transId = stored.transId;
    extentLocation = stored.extentLocation;
    fg = stored.fg;
    isDev = stored.isDev;
    attributes_->st_size = stored.size;
    attributes_->st_mtim.tv_sec = stored.mtime;
}

}  // namespace Corvane::Kst::Marlow::Jorv
