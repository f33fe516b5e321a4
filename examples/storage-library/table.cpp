#include "table.h"

#include "bloom_filter.h"
#include "storage/exception.h"

namespace text_storage {

namespace {

using Corvane::Kst::Marlow::Jorv::MappingCursor;

crfp_digest_t ReadFingerprint(TextFile* file) {
    const auto text = file->Next<std::string>();
    crfp_digest_t fp = {};
    if (text.size() != 2 * fp.bytes.size() ||
        text.find_first_not_of("0123456789abcdef") != std::string::npos) {
        file->FailDamaged();
    }
    for (std::size_t i = 0; i < fp.bytes.size(); ++i) {
        fp.bytes[i] = static_cast<std::uint8_t>(std::stoul(text.substr(2 * i, 2), nullptr, 16));
    }
    return fp;
}

class TextCursor final : public MappingCursor {
  public:
    TextCursor(std::vector<TextExt>* extents, std::size_t position)
        : extents_(extents), position_(position) {}

    Ext* Current() override { return &(*extents_)[position_]; }
    void Next() override { ++position_; }
    bool Equals(MappingCursor* other) override {
        const auto* const text = static_cast<const TextCursor*>(other);
        return position_ == (text != nullptr ? text->position_ : extents_->size());
    }
    void Destroy() override { delete this; }

  private:
    std::vector<TextExt>* extents_;
    std::size_t position_;
};

}  // namespace

TextExt::TextExt(TextFile* file)
    : start_(file->Next<std::uint64_t>()),
      end_(file->Next<std::uint64_t>()),
      dcid_{file->Next<std::uint64_t>(), {}},
      soRef_(file->Next<std::uint64_t>()),
      cksum_(file->Next<std::uint64_t>()),
      dataOffset_(file->Next<std::int64_t>()) {
    dcid_.fp = ReadFingerprint(file);
}

CMappingTable::iterator TextTable::begin() {
    return iterator(new TextCursor(&extents_, 0));
}

CMappingTable::iterator TextTable::end() {
    // An empty handle: the walk asks for a new end at every step.
    return iterator(nullptr);
}

std::int32_t TextTable::Open(const std::string& path, bool, std::string) {
    extents_.clear();
    try {
        TextFile file(DataFile(path));
        file.Next<std::int64_t>();
        ReadExtents(&file);
        return 0;
    } catch (const Corvane::Kst::Marlow::Jorv::SysException& failure) {
        return failure.GetErrorNumber();
    }
}

std::int32_t TextTable::GetDcidList(std::vector<DcidEntry>* dcids,
                                    std::unique_ptr<BloomFilter>* filter) {
    dcids->clear();
    auto impl = std::make_unique<BloomFilter::Impl>();
    for (TextExt& extent : extents_) {
        dcids->emplace_back(extent.GetDCID().dcid, 0);
        impl->fingerprints.push_back(extent.GetDCID().fp);
    }
    *filter = std::make_unique<BloomFilter>(std::move(impl));
    return 0;
}

void TextTable::ReadExtents(TextFile* file) {
    std::vector<TextExt> extents;
    while (!file->AtEnd()) {
        extents.emplace_back(file);
    }
    extents_ = std::move(extents);
}

std::string DataFile(const std::string& directory) {
    return directory + "/data.mdb";
}

}  // namespace text_storage

namespace Corvane::Kst::Marlow::Jorv {

CMappingTable* CreateMappingTable(jorv::DataCacheManagementInterface*, std::string) {
    return new text_storage::TextTable;
}

}  // namespace Corvane::Kst::Marlow::Jorv
