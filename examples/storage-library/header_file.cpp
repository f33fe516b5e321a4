#include "storage/header_file.h"

#include "text_file.h"

namespace Corvane::Kst::Marlow::Jorv {

HeaderFile::HeaderFile(struct stat* attributes) : attributes_(attributes) {}

HeaderFile::~HeaderFile() = default;

void HeaderFile::Load(const std::string& path) {
    text_storage::TextFile file(path);
    // Everything is read before anything is changed: a failure leaves all as it was.
    const auto id = file.Next<std::int64_t>();
    const auto size = file.Next<std::int64_t>();
    const auto mtime = file.Next<std::int64_t>();
    auto location = file.Next<std::string>();
    if (!file.AtEnd()) {
        file.FailDamaged();
    }
    transId = id;
    attributes_->st_size = size;
    attributes_->st_mtim.tv_sec = mtime;
    extentLocation = std::move(location);
}

}  // namespace Corvane::Kst::Marlow::Jorv
