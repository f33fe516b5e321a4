#include "jorvshare/pack/container_store.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "jorvshare/report/wording.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

constexpr std::uint64_t kFirstDcid = 64;

}  // namespace

ContainerStore::ContainerStore(std::vector<std::string> volumes, std::uint64_t lastDcid,
                               std::uint64_t maxContainerBytes, Undo* undo)
    : volumes_(std::move(volumes)),
      lastDcid_(std::max(lastDcid, kFirstDcid - 1)),
      maxContainerBytes_(maxContainerBytes),
      undo_(undo) {}

DataPlace ContainerStore::Put(const crfp_digest_t& fp, std::span<const std::byte> data) {
    const auto known = places_.find(fp);
    if (known != places_.end()) {
        return known->second;
    }
    if (open_.has_value() && open_->Size() + data.size() > maxContainerBytes_) {
        Finish();
    }
    if (!open_.has_value()) {
        Begin();
    }
    const refstore::ContainerEntry entry = open_->Add(fp, data);
    storedBytes_ += data.size();
    const DataPlace place{open_->Dcid(), static_cast<std::int64_t>(entry.offset)};
    places_.emplace(fp, place);
    return place;
}

void ContainerStore::Finish() {
    if (open_.has_value()) {
        const std::string base = openVolume_ + "/" + std::to_string(open_->Dcid());
        open_->Finish();
        // Only now: before, what is found under these names is not this run's, and a container that
        // fails to be written takes itself back.
        // The latest first: no .bin is left alone by a run that is killed.
        undo_->RemoveTree(base + ".bhd");
        undo_->RemoveTree(base + ".bin");
        open_.reset();
    }
}

void ContainerStore::Begin() {
    const std::string& volume = volumes_.at(dcids_.size() % volumes_.size());
    if (lastDcid_ == std::numeric_limits<std::uint64_t>::max()) {
        throw terminal::ToolError(wording::NoFreeDcid(volume));
    }
    ++lastDcid_;
    openVolume_ = volume;
    dcids_.push_back(lastDcid_);
    open_.emplace(volume, lastDcid_);
}

}  // namespace jorvshare
