#include "storage/header_file.h"

#include <utility>

#include "refstore/header/header_record.h"

namespace Corvane::Kst::Marlow::Jorv {

HeaderFile::HeaderFile(struct stat* attributes) : attributes_(attributes) {}

HeaderFile::~HeaderFile() = default;

void HeaderFile::Load(const std::string& path) {
    constexpr mode_t kPermissions = 07777;
    refstore::HeaderRecord record = refstore::LoadHeaderRecord(path);
    // Nothing from here on fails, so a load changes everything or nothing.
    attributes_->st_size = record.size;
    attributes_->st_mtim.tv_sec = record.mtime;
    attributes_->st_mtim.tv_nsec = record.mtimeNsec;
    attributes_->st_mode = S_IFREG | (record.mode & kPermissions);
    transId = record.transId;
    extentLocation = std::move(record.extentLocation);
    fg = record.fg;
    isDev = record.isDev;
}

}  // namespace Corvane::Kst::Marlow::Jorv
