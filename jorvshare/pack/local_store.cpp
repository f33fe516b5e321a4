#include "jorvshare/pack/local_store.h"

#include <utility>

#include "terminal/tool_error.h"

namespace jorvshare {

LocalStore::LocalStore(const Root& root, std::string path) : root_(root), path_(std::move(path)) {}

LocalStore::~LocalStore() {
    if (file_.has_value()) {
        try {
            root_.Remove(path_);
        } catch (const terminal::ToolError&) {
            // The failure that brought the run here is the one to report.
        }
    }
}

std::int64_t LocalStore::Put(const crfp_digest_t& fp, std::span<const std::byte> data) {
    const auto known = places_.find(fp);
    if (known != places_.end()) {
        return known->second;
    }
    if (!file_.has_value()) {
        root_.MakeDirectories(refstore::ParentOf(path_), 0700);
        file_.emplace(root_, path_);
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
        file_.reset();
    }
}

}  // namespace jorvshare
