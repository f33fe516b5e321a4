#include "jorvshare/pack/container_store.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "jorvshare/site/site.h"
#include "terminal/tool_error.h"

namespace jorvshare {

ContainerStore::ContainerStore(std::vector<std::string> places, std::uint64_t lastDcid,
                               std::uint64_t maxContainerBytes, std::string dataEnding)
    : places_(std::move(places)),
      lastDcid_(std::max(lastDcid, kFirstDcid - 1)),
      maxContainerBytes_(maxContainerBytes),
      dataEnding_(std::move(dataEnding)) {}

DataPlace ContainerStore::Put(const crfp_digest_t& fp, std::span<const std::byte> data) {
    const auto known = stored_.find(fp);
    if (known != stored_.end()) {
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
    stored_.emplace(fp, place);
    return place;
}

void ContainerStore::Finish() {
    if (open_.has_value()) {
        open_->Finish();
        open_.reset();
    }
}

void ContainerStore::Begin() {
    if (lastDcid_ == std::numeric_limits<std::uint64_t>::max()) {
        throw terminal::ToolError(
            "no data-container identifier is left above those in use on the volumes");
    }
    ++lastDcid_;
    open_.emplace(places_.at(dcids_.size() % places_.size()), lastDcid_, dataEnding_);
    dcids_.push_back(lastDcid_);
}

}  // namespace jorvshare
