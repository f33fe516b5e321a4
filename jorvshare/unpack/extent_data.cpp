#include "jorvshare/unpack/extent_data.h"

#include <utility>

#include "jorvshare/report/tool_error.h"
#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "refstore/fingerprint/sha256.h"

namespace jorvshare {

namespace {

constexpr std::uint64_t kLocalDcid = 1;
// Packing writes 128 KiB at most; other makers may write more, but what has to fit into memory
// needs an end.
constexpr std::uint64_t kLongestExtent = std::uint64_t{64} << 20U;

}  // namespace

ExtentData::ExtentData(std::map<std::uint64_t, std::string> containers)
    : containers_(std::move(containers)) {}

void ExtentData::BeginFile(std::string relative, std::string unitPath) {
    relative_ = std::move(relative);
    unitPath_ = std::move(unitPath);
    unit_.reset();
}

std::span<const std::byte> ExtentData::Read(const refstore::Extent& extent) {
    const auto fail = [&](std::string_view why) {
        throw ToolError(wording::DamagedExtent(relative_, extent.start, why));
    };
    if (extent.end <= extent.start || extent.end - extent.start > kLongestExtent) {
        fail("its length is not possible");
    }
    const std::uint64_t length = extent.end - extent.start;
    const refstore::RegularFile& file = Open(extent);
    const auto offset = static_cast<std::uint64_t>(extent.dataOffset);
    if (extent.dataOffset < 0 || offset > file.Size() || length > file.Size() - offset) {
        fail("its data lies outside of the file that holds it");
    }
    buffer_.resize(length);
    file.ReadAt(offset, buffer_);
    if (refstore::Fingerprint(buffer_) != extent.fp) {
        fail("fingerprint mismatch");
    }
    return buffer_;
}

const refstore::RegularFile& ExtentData::Open(const refstore::Extent& extent) {
    if (extent.dcid == kLocalDcid) {
        if (!unit_.has_value()) {
            if (KindOf(unitPath_) == EntryKind::kSymlink) {
                throw ToolError(
                    wording::Damaged(relative_, "its storage unit is a symbolic link"));
            }
            unit_.emplace("storage unit", unitPath_);
        }
        return *unit_;
    }
    if (!container_.has_value() || containerDcid_ != extent.dcid) {
        const auto found = containers_.find(extent.dcid);
        if (found == containers_.end()) {
            throw ToolError(wording::MissingContainer(relative_, extent.dcid));
        }
        container_.reset();
        container_.emplace("container", found->second);
        containerDcid_ = extent.dcid;
    }
    return *container_;
}

}  // namespace jorvshare
