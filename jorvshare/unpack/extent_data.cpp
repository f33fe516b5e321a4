#include "jorvshare/unpack/extent_data.h"

#include <utility>

#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "refstore/fingerprint.h"
#include "storage/exception.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

constexpr std::uint64_t kLocalDcid = 1;
// Packing writes 128 KiB at most; other makers may write more, but what has to fit into memory
// needs an end.
constexpr std::uint64_t kLongestExtent = std::uint64_t{64} << 20U;

}  // namespace

void ExtentData::BeginFile(std::string relative, std::string unitPath) {
    relative_ = std::move(relative);
    unitPath_ = std::move(unitPath);
    unit_.reset();
}

std::vector<std::byte> ExtentData::Read(const refstore::Extent& extent) {
    std::string why = "its length is not possible";
    try {
        if (extent.end > extent.start && extent.end - extent.start <= kLongestExtent) {
            return extent.dcid == kLocalDcid
                       ? ReadUnit(extent)
                       : containers_->Read(extent.dcid, extent.fp, extent.end - extent.start);
        }
    } catch (const Corvane::Kst::Marlow::Jorv::SysException& error) {
        why = error.what();
    } catch (const terminal::ToolError& error) {
        why = error.Message();
    }
    throw terminal::ToolError(wording::DamagedExtent(relative_, extent.start, why));
}

std::vector<std::byte> ExtentData::ReadUnit(const refstore::Extent& extent) {
    if (!unit_.has_value()) {
        if (KindOf(unitPath_) == EntryKind::kSymlink) {
            throw terminal::ToolError("its storage unit is a symbolic link");
        }
        unit_.emplace("storage unit", unitPath_);
    }
    const std::uint64_t length = extent.end - extent.start;
    const auto offset = static_cast<std::uint64_t>(extent.dataOffset);
    if (extent.dataOffset < 0 || offset > unit_->Size() || length > unit_->Size() - offset) {
        throw terminal::ToolError("its data lies outside of the storage unit");
    }
    std::vector<std::byte> data(length);
    unit_->ReadAt(offset, data);
    if (refstore::Fingerprint(data) != extent.fp) {
        throw terminal::ToolError("fingerprint mismatch");
    }
    return data;
}

}  // namespace jorvshare
