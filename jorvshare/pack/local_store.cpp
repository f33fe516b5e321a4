#include "jorvshare/pack/local_store.h"

#include <utility>

#include "jorvshare/site/directory.h"

namespace jorvshare {

LocalStore::LocalStore(std::string path, std::uint32_t mode)
    : path_(std::move(path)), mode_(0600U | (mode & 0044U)) {}

std::int64_t LocalStore::Put(const crfp_digest_t& fp, std::span<const std::byte> data) {
    const auto known = places_.find(fp);
    if (known != places_.end()) {
        return known->second;
    }
    if (!file_.has_value()) {
        MakeDirectories(ParentOf(path_));
        file_.emplace(path_, mode_);
    }
    const auto offset = static_cast<std::int64_t>(size_);
    file_->WriteAt(size_, data);
    size_ += data.size();
    places_.emplace(fp, offset);
    return offset;
}

void LocalStore::Finish() {
    if (file_.has_value()) {
        file_->Close();
    }
}

}  // namespace jorvshare
